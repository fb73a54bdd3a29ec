// http/response_head.h : the status line and header fields of one response, as received.
//
// Role:      ResponseReader fills it from the wire; framing, decoding and mapping read it.
// Threads:   one worker only.
// Ownership: the texts live in the head's own byte buffer, which is used again for the next
//            response: views are valid until the next parse or clear.
// Errors:    Poco::Net::MessageException with a message that names what is malformed.
// Invariants: each text of a field is followed by a NUL byte in the buffer, holds none itself, and
//            is free of line breaks.
// Source:    RFC 9112, sections 2.2, 4 and 5.
// Limits:    kFieldsMax fields, kFieldBytesMax bytes a field line, kHeadBytesMax bytes a head,
//            kFoldsMax folded lines a head.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace com::corvane::connectivity::plugins {

struct HeaderField {
  std::string_view name;   // as received
  std::string_view value;  // without blanks at its ends; folded lines joined by a blank
};

class ResponseHead {
 public:
  static constexpr std::size_t kFieldsMax = 1000;
  static constexpr std::size_t kFieldBytesMax = 64 * 1024;
  static constexpr std::size_t kHeadBytesMax = 1024 * 1024;
  static constexpr std::size_t kFoldsMax = 1000;

  int status() const { return status_; }
  /// The reason phrase as received, blanks at its end included; possibly empty.
  std::string_view reason() const { return reason_; }
  /// 0 for HTTP/1.0, 1 for HTTP/1.1.
  int minorVersion() const { return minorVersion_; }
  /// In the order received.
  const std::vector<HeaderField>& fields() const { return fields_; }

  /// The value of the first field of that name, without regard to case; null data when absent.
  std::string_view find(std::string_view name) const;
  bool has(std::string_view name) const { return find(name).data() != nullptr; }

  /// Where the reader puts the bytes of the head before parse; clear empties it.
  std::string& bytes() { return bytes_; }
  void clear();

  /// Parses bytes(), which end with the empty line that ends the head. Changes the bytes.
  void parse();

 private:
  void parseStatusLine(std::string_view line);
  void parseFields(std::size_t position);
  std::size_t unfold(std::size_t feed);
  void addField(char* begin, char* end);
  void terminate(std::string_view text);

  std::string bytes_;
  int status_ = 0;
  int minorVersion_ = 1;
  std::size_t folds_ = 0;
  std::string_view reason_;
  std::vector<HeaderField> fields_;
};

}  // namespace com::corvane::connectivity::plugins
