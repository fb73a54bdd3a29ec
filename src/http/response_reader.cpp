#include "http/response_reader.h"

#include <Poco/Net/NetException.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "http/ascii.h"
#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {

using Poco::Net::MessageException;
using Poco::Net::NoMessageException;

namespace {

constexpr std::size_t kBufferBytes = 16 * 1024;
constexpr std::size_t kChunkLineBytesMax = 4096;
constexpr std::size_t kTrailerBytesMax = 64 * 1024;

// Calls `visit` for each element of a comma-separated field value.
template <class Visit>
void forEachElement(std::string_view list, Visit visit) {
  while (true) {
    const std::size_t comma = list.find(',');
    visit(ascii::trimmed(list.substr(0, comma)));
    if (comma == std::string_view::npos) return;
    list.remove_prefix(comma + 1);
  }
}

// A count of bytes: one or more digits of the base, nothing else, within 63 bits.
std::optional<std::uint64_t> parseCount(std::string_view digits, unsigned base) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max();
  std::uint64_t value = 0;
  if (digits.empty()) return std::nullopt;
  for (char c : digits) {
    const char lower = ascii::toLower(c);
    unsigned digit = base;
    if (ascii::isDigit(c)) digit = static_cast<unsigned>(c - '0');
    if (lower >= 'a' && lower <= 'f') digit = static_cast<unsigned>(lower - 'a') + 10;
    if (digit >= base || value > (kMax - digit) / base) return std::nullopt;
    value = value * base + digit;
  }
  return value;
}

bool staysOpen(const ResponseHead& head) {
  bool close = false;
  bool keepAlive = false;
  for (const HeaderField& field : head.fields()) {
    if (!ascii::equalsIgnoringCase(field.name, "connection")) continue;
    forEachElement(field.value, [&](std::string_view option) {
      close |= ascii::equalsIgnoringCase(option, "close");
      keepAlive |= ascii::equalsIgnoringCase(option, "keep-alive");
    });
  }
  return !close && (head.minorVersion() >= 1 || keepAlive);
}

}  // namespace

ResponseReader::ResponseReader(ByteSource& source)
    : source_(source), buffer_(std::make_unique_for_overwrite<char[]>(kBufferBytes)) {}

void ResponseReader::clear() {
  begin_ = end_ = 0;
  complete_ = false;
  keepsOpen_ = false;
}

void ResponseReader::fail(const char* reason) {
  framingError_ = reason;
  throw orvex::StreamException("Error processing response stream: I/O error");
}

// Waits for more bytes. REQUIRES: the buffer holds none.
bool ResponseReader::fill() {
  begin_ = 0;
  end_ = source_.receive(buffer_.get(), kBufferBytes);
  return end_ > 0;
}

void ResponseReader::readHead(ResponseHead& head, bool toHead) {
  complete_ = false;
  keepsOpen_ = false;
  framing_ = Framing::None;
  framingError_ = "";
  std::size_t interimBytes = 0;
  source_.beginHead();
  while (true) {
    head.clear();
    collectHead(head, ResponseHead::kHeadBytesMax);
    interimBytes += head.bytes().size();
    head.parse();
    if (head.status() >= 200 || head.status() == 101) break;
    if (interimBytes > kInterimBytesMax) throw MessageException("Too many interim responses");
  }
  source_.beginBody();
  settleFraming(head, toHead);
}

// The number of bytes up to the end of the head, if the buffer has all of it; else 0.
std::size_t ResponseReader::bufferedHeadBytes() const {
  const char* const first = buffer_.get() + begin_;
  const char* const last = buffer_.get() + end_;
  for (const char* line = first; line != last;) {
    const bool isEmptyLine =
        *line == '\n' || (*line == '\r' && line + 1 != last && line[1] == '\n');
    if (isEmptyLine && line == first) return 0;  // before the head
    if (isEmptyLine) return static_cast<std::size_t>(line - first) + (*line == '\n' ? 1 : 2);
    const auto length = static_cast<std::size_t>(last - line);
    const auto* const feed = static_cast<const char*>(std::memchr(line, '\n', length));
    if (feed == nullptr) return 0;
    line = feed + 1;
  }
  return 0;
}

// Appends bytes up to and including the empty line that ends the head.
void ResponseReader::collectHead(ResponseHead& head, std::size_t bytesMax) {
  std::string& bytes = head.bytes();
  std::size_t lineStart = 0;  // of the line that is being collected
  std::size_t skipped = 0;    // empty lines before the status line
  while (true) {
    if (begin_ == end_ && !fill()) {
      if (bytes.empty()) throw NoMessageException();
      throw MessageException("Connection closed inside the response head");
    }
    const std::size_t whole = bytes.empty() && skipped == 0 ? bufferedHeadBytes() : 0;
    if (whole > 0) {
      bytes.assign(buffer_.get() + begin_, whole);
      begin_ += whole;
      return;
    }
    const char* const first = buffer_.get() + begin_;
    const auto* const feed = static_cast<const char*>(std::memchr(first, '\n', end_ - begin_));
    const std::size_t taken = feed ? static_cast<std::size_t>(feed - first) + 1 : end_ - begin_;
    if (skipped + bytes.size() + taken > bytesMax)
      throw MessageException("Response head too large");
    bytes.append(first, taken);
    begin_ += taken;
    if (!feed) continue;
    const std::size_t length = bytes.size() - lineStart;
    const bool isEmptyLine = length == 1 || (length == 2 && bytes[lineStart] == '\r');
    if (isEmptyLine && lineStart == 0) {
      skipped += length;  // the end of an earlier body, sent once too often
      bytes.clear();
    } else if (isEmptyLine) {
      return;
    }
    lineStart = bytes.size();
  }
}

void ResponseReader::settleFraming(const ResponseHead& head, bool toHead) {
  keepsOpen_ = staysOpen(head);
  remaining_ = 0;
  firstChunk_ = true;
  const int status = head.status();
  if (toHead || status == 204 || status == 304 || status == 101) {
    framing_ = Framing::None;
    complete_ = true;
    // A 204 that announces a body may be followed by one.
    const bool announcesBody =
        status == 204 && (head.has("content-length") || head.has("transfer-encoding"));
    keepsOpen_ = keepsOpen_ && status != 101 && !announcesBody;
    return;
  }
  const std::string_view coding = head.find("transfer-encoding");
  if (coding.data() == nullptr) {
    settleLength(head);
    return;
  }
  // A length beside it is void, and a reason not to trust what follows (RFC 9112, section 6.1).
  keepsOpen_ = keepsOpen_ && !head.has("content-length") && head.minorVersion() >= 1;
  framing_ = Framing::Chunked;
  std::size_t codings = 0;
  for (const HeaderField& field : head.fields()) {
    if (!ascii::equalsIgnoringCase(field.name, "transfer-encoding")) continue;
    forEachElement(field.value, [&](std::string_view) { ++codings; });
  }
  if (codings != 1 || !ascii::equalsIgnoringCase(coding, "chunked")) {
    framingError_ = "unsupported Transfer-Encoding";
  }
}

void ResponseReader::settleLength(const ResponseHead& head) {
  framing_ = Framing::UntilClose;
  std::optional<std::uint64_t> length;
  for (const HeaderField& field : head.fields()) {
    if (!ascii::equalsIgnoringCase(field.name, "content-length")) continue;
    framing_ = Framing::Length;
    forEachElement(field.value, [&](std::string_view element) {
      const auto count = parseCount(element, 10);
      if (!count || (length && *length != *count)) framingError_ = "invalid Content-Length";
      length = count;
    });
  }
  remaining_ = length.value_or(0);
  complete_ = framing_ == Framing::Length && remaining_ == 0 && framingError_[0] == '\0';
}

std::size_t ResponseReader::readBody(char* buffer, std::size_t length) {
  if (framingError_[0] != '\0') fail(framingError_);
  if (complete_) return 0;
  switch (framing_) {
    case Framing::None:
      return 0;
    case Framing::UntilClose: {
      const std::size_t count = readBytes(buffer, length);
      complete_ = count == 0;
      keepsOpen_ = false;
      return count;
    }
    case Framing::Chunked:
      return readChunked(buffer, length);
    case Framing::Length:
      break;
  }
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, remaining_));
  const std::size_t count = readBytes(buffer, wanted);
  if (count == 0) fail("connection closed inside the body");
  remaining_ -= count;
  complete_ = remaining_ == 0;
  return count;
}

// Large reads go past the buffer, straight to where the bytes belong.
std::size_t ResponseReader::readBytes(char* buffer, std::size_t length) {
  if (begin_ == end_) {
    if (length >= kBufferBytes) return source_.receive(buffer, length);
    if (!fill()) return 0;
  }
  const std::size_t count = std::min(length, end_ - begin_);
  std::memcpy(buffer, buffer_.get() + begin_, count);
  begin_ += count;
  return count;
}

std::size_t ResponseReader::readChunked(char* buffer, std::size_t length) {
  if (remaining_ == 0) readChunkSize();
  if (remaining_ == 0) {
    readTrailers();
    complete_ = true;
    return 0;
  }
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, remaining_));
  const std::size_t count = readBytes(buffer, wanted);
  if (count == 0) fail("connection closed inside a chunk");
  remaining_ -= count;
  return count;
}

// The line of the next chunk's size, behind the line end that closes the chunk before it.
void ResponseReader::readChunkSize() {
  if (!firstChunk_ && !readLine(kChunkLineBytesMax).empty()) fail("chunk longer than its size");
  firstChunk_ = false;
  const std::string_view line = readLine(kChunkLineBytesMax);
  const auto size = parseCount(ascii::trimmed(line.substr(0, line.find(';'))), 16);
  if (!size) fail("invalid chunk size");
  remaining_ = *size;
}

void ResponseReader::readTrailers() {
  std::size_t bytes = 0;
  while (true) {
    const std::size_t length = readLine(kTrailerBytesMax).size();
    if (length == 0) return;
    bytes += length;
    if (bytes > kTrailerBytesMax) fail("trailers too large");
  }
}

// The next line without its end; valid until the next call.
std::string_view ResponseReader::readLine(std::size_t bytesMax) {
  line_.clear();
  while (true) {
    if (begin_ == end_ && !fill()) fail("connection closed inside the chunked framing");
    const char* const first = buffer_.get() + begin_;
    const auto* const feed = static_cast<const char*>(std::memchr(first, '\n', end_ - begin_));
    const std::size_t taken = feed ? static_cast<std::size_t>(feed - first) : end_ - begin_;
    line_.append(first, taken);
    begin_ += taken + (feed ? 1 : 0);
    if (line_.size() > bytesMax) fail("line too long in the chunked framing");
    if (!feed) continue;
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    return line_;
  }
}

bool ResponseReader::drain(std::size_t bytesMax) {
  char scratch[1024];
  std::size_t bytes = 0;
  while (!complete_ && bytes <= bytesMax) {
    const std::size_t count = readBody(scratch, sizeof(scratch));
    bytes += count;
    if (count == 0) break;
  }
  return complete_;
}

void ResponseReader::forbidReuse() { keepsOpen_ = false; }

bool ResponseReader::reusable() const { return complete_ && keepsOpen_ && !hasLeftOver(); }

}  // namespace com::corvane::connectivity::plugins
