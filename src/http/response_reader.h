// http/response_reader.h : reads one response after another from a connection, strictly framed.
//
// Role:      between a session's bytes and the rest of the room. The head is parsed by
//            ResponseHead; the body's end is found by RFC 9112, section 6.3, and proven: a body
//            that the peer cut short is an error, never a short success.
// Threads:   one worker only.
// Errors:    readHead: Poco::Net::NoMessageException when the connection ends before the first
//            byte; Poco::Net::MessageException when the head is malformed, too large or cut.
//            readBody: com::orvex::StreamException "Error processing response stream: I/O error"
//            when the framing is invalid or the connection ends inside the body (framingError
//            tells which). Both pass on what the source throws: resets, time-outs.
//            After any error the connection must be closed and clear called.
// Limits:    one head as ResponseHead says; kInterimBytesMax for all interim heads of an answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "http/response_head.h"

namespace com::corvane::connectivity::plugins {

/// Where the bytes come from.
class ByteSource {
 public:
  /// What is received from now on is one head, interim ones ahead of it included.
  virtual void beginHead() {}

  /// What is received from now on is a body.
  virtual void beginBody() {}

  /// Waits for bytes and stores up to `length` of them. Returns their number, 0 at the end.
  virtual std::size_t receive(char* buffer, std::size_t length) = 0;

 protected:
  ~ByteSource() = default;
};

class ResponseReader {
 public:
  static constexpr std::size_t kInterimBytesMax = ResponseHead::kHeadBytesMax;

  explicit ResponseReader(ByteSource& source);

  /// Reads the next head that is no interim one (1xx other than 101) and settles how its body is
  /// framed. `toHead` tells that the request's method was HEAD.
  void readHead(ResponseHead& head, bool toHead);

  /// Stores up to `length` bytes of the body. Returns their number, 0 at the proven end of the
  /// body. REQUIRES: length > 0, readHead has returned.
  std::size_t readBody(char* buffer, std::size_t length);

  /// The body's length when it is known before it is read, else 0.
  std::uint64_t expectedBytes() const { return framing_ == Framing::Length ? remaining_ : 0; }

  /// Reads and drops the rest of the body, up to `bytesMax` bytes. Returns whether its end was
  /// reached.
  bool drain(std::size_t bytesMax);

  /// True when the body was read to its proven end, the peer keeps the connection open and nothing
  /// follows: the connection may carry the next request.
  bool reusable() const;

  /// True when bytes have been received that belong to no head and no body so far.
  bool hasLeftOver() const { return begin_ != end_; }

  /// Makes reusable false for this answer, whatever else it says.
  void forbidReuse();

  /// True once the body's end has been proven.
  bool isComplete() const { return complete_; }

  /// What was wrong with the framing after readBody threw a StreamException; "" before.
  const char* framingError() const { return framingError_; }

  /// Forgets every byte and state: the connection is a new one.
  void clear();

 private:
  enum class Framing { None, Length, Chunked, UntilClose };

  void collectHead(ResponseHead& head, std::size_t bytesMax);
  std::size_t bufferedHeadBytes() const;
  void settleFraming(const ResponseHead& head, bool toHead);
  void settleLength(const ResponseHead& head);
  std::size_t readBytes(char* buffer, std::size_t length);
  std::size_t readChunked(char* buffer, std::size_t length);
  void readChunkSize();
  void readTrailers();
  std::string_view readLine(std::size_t bytesMax);
  bool fill();
  [[noreturn]] void fail(const char* reason);

  ByteSource& source_;
  // Not cleared: of what is never received in it, no memory is taken.
  const std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // unread bytes: [begin_, end_) of the buffer
  std::size_t end_ = 0;
  std::string line_;
  Framing framing_ = Framing::None;
  std::uint64_t remaining_ = 0;  // of the body (Length) or of the chunk (Chunked)
  bool firstChunk_ = true;
  bool complete_ = false;
  bool keepsOpen_ = false;
  const char* framingError_ = "";
};

}  // namespace com::corvane::connectivity::plugins
