#include "http/request_body.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {

void RequestBody::write(std::string_view bytes) {
  if (chunked_) {
    writeChunked(bytes);
  } else if (buffer_.size() + bytes.size() <= kGatheredBytesMax) {
    buffer_.append(bytes);
  } else {
    send(bytes);
  }
}

void RequestBody::send(std::string_view bytes) {
  session_.send(buffer_, bytes);
  buffer_.clear();
}

void RequestBody::writeChunked(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = std::min(kChunkBytes - chunk_.size(), bytes.size());
    const std::string_view piece = bytes.substr(0, length);
    bytes.remove_prefix(length);
    if (length == kChunkBytes) {
      addChunk(piece);
      continue;
    }
    chunk_.append(piece);
    if (chunk_.size() < kChunkBytes) return;
    addChunk(chunk_);
    chunk_.clear();
  }
}

// RFC 9112, section 7.1.
void RequestBody::addChunk(std::string_view bytes) {
  std::array<char, 16> digits;
  const auto written =
      std::to_chars(digits.data(), digits.data() + digits.size(), bytes.size(), 16);
  std::transform(digits.data(), written.ptr, digits.data(),
                 [](char digit) { return static_cast<char>(digit >= 'a' ? digit - 32 : digit); });
  buffer_.append(digits.data(), written.ptr).append("\r\n").append(bytes).append("\r\n");
  if (buffer_.size() >= kGatheredBytesMax) send({});
}

void RequestBody::finish() {
  if (chunked_) {
    if (!chunk_.empty()) addChunk(chunk_);
    buffer_.append("0\r\n\r\n");
  }
  if (!buffer_.empty()) send({});
}

void RequestBodyStream::requireWhole() const {
  if (failure_) std::rethrow_exception(failure_);
  if (bad()) throw orvex::StreamException("Error processing request stream: Serious I/O error");
}

std::streamsize RequestBodyStream::xsputn(const char* bytes, std::streamsize length) {
  try {
    body_.write({bytes, static_cast<std::size_t>(length)});
    return length;
  } catch (...) {
    failure_ = std::current_exception();
    return 0;
  }
}

std::streambuf::int_type RequestBodyStream::overflow(std::streambuf::int_type byte) {
  using Traits = std::streambuf::traits_type;
  const char written = Traits::to_char_type(byte);
  return xsputn(&written, 1) == 1 ? byte : Traits::eof();
}

}  // namespace com::corvane::connectivity::plugins
