// http/request_body.h : the body of one request on its way to the session, in chunks or as it is.
//
// Role:      RequestWriter writes into it, behind the head. Small pieces are gathered, so that head
//            and body leave together; large ones are sent from where they stand.
// Threads:   one worker only.
// Ownership: borrows the session and the buffer.
// Errors:    what the session throws; std::bad_alloc.
#pragma once

#include <cstddef>
#include <exception>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "http/client_session.h"

namespace com::corvane::connectivity::plugins {

class RequestBody {
 public:
  /// Up to so many bytes are gathered before they are sent.
  static constexpr std::size_t kGatheredBytesMax = 16 * 1024;

  /// What a chunk holds, the last one apart.
  static constexpr std::size_t kChunkBytes = 4096;

  /// `buffer` begins with the request's head; it is used for more.
  RequestBody(ClientSession& session, std::string& buffer, bool chunked)
      : session_(session), buffer_(buffer), chunked_(chunked) {}

  void write(std::string_view bytes);

  /// Sends what is left. The body is whole.
  void finish();

 private:
  void writeChunked(std::string_view bytes);
  void addChunk(std::string_view bytes);
  void send(std::string_view bytes);

  ClientSession& session_;
  std::string& buffer_;
  const bool chunked_;
  std::string chunk_;  // the beginning of one
};

/// For what writes to streams. A stream keeps to itself what fails below it.
class RequestBodyStream final : private std::streambuf, public std::ostream {
 public:
  explicit RequestBodyStream(RequestBody& body)
      : std::ostream(static_cast<std::streambuf*>(this)), body_(body) {}

  /// Throws what went wrong in the body, or com::orvex::StreamException "Error processing request
  /// stream: Serious I/O error" when something went wrong elsewhere.
  void requireWhole() const;

 private:
  std::streamsize xsputn(const char* bytes, std::streamsize length) override;
  std::streambuf::int_type overflow(std::streambuf::int_type byte) override;

  RequestBody& body_;
  std::exception_ptr failure_;
};

}  // namespace com::corvane::connectivity::plugins
