#include "http/response_body.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "http/content_coding.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::size_t kUnknownLengthPieceBytes = 102400;
// A peer may announce any length; memory is only taken for what has been seen to come.
constexpr std::uint64_t kReservedBytesMax = 8 * 1024 * 1024;

}  // namespace

void ResponseBody::read(const ResponseHead& head, bool hasBody, ResponseReader& reader) {
  drop();
  if (!hasBody) return;
  try {
    readDecoded(head, reader);
  } catch (...) {
    drop();  // what is said about the failure may need the memory
    throw;
  }
}

void ResponseBody::drop() {
  body_.clear();
  if (isDirect_) direct_ = buffer_t();
  isDirect_ = false;
}

void ResponseBody::readDecoded(const ResponseHead& head, ResponseReader& reader) {
  const std::string_view header = head.find("content-encoding");
  const std::string_view name = header.data() == nullptr ? "empty" : header;
  const auto coding = responseCoding(name);
  if (!coding) {
    replaceUnsupported(name, reader);
  } else if (*coding == ContentCoding::Identity) {
    readPlain(reader);
  } else {
    readInflated(*coding, reader);
  }
}

void ResponseBody::readInflated(ContentCoding coding, ResponseReader& reader) {
  if (!input_) input_ = std::make_unique_for_overwrite<Inflater::Input>();
  Inflater(coding, reader, *input_).inflateTo(body_);
  // What follows the coded stream belongs to the body as well, and its end has to be seen.
  reader.drain(kDrainBytesMax);
}

buffer_t ResponseBody::take() {
  if (isDirect_) {
    isDirect_ = false;
    return std::move(direct_);
  }
  try {
    buffer_t result(body_.size());
    body_.moveTo(result.data());
    return result;
  } catch (...) {
    body_.clear();
    throw;
  }
}

void ResponseBody::readDirect(ResponseReader& reader) {
  direct_ = buffer_t(reader.expectedBytes());
  isDirect_ = true;
  auto* const bytes = reinterpret_cast<char*>(direct_.data());
  const auto length = static_cast<std::size_t>(direct_.size());
  for (std::size_t at = 0; !reader.isComplete();) at += reader.readBody(bytes + at, length - at);
}

void ResponseBody::readPlain(ResponseReader& reader) {
  const std::uint64_t announced = reader.expectedBytes();
  if (announced > 0 && announced <= kDirectBytesMax) return readDirect(reader);
  while (!reader.isComplete()) {
    const std::uint64_t expected = reader.expectedBytes();
    const auto piece = static_cast<std::size_t>(expected > 0 ? std::min(expected, kReservedBytesMax)
                                                             : kUnknownLengthPieceBytes);
    body_.add(reader.readBody(body_.room(piece), piece));
  }
}

void ResponseBody::replaceUnsupported(std::string_view coding, ResponseReader& reader) {
  const std::string text = "Unsupported Media Type: " + std::string(coding);
  logger_.log(LogLevel::Warn, "%s", text);
  std::memcpy(body_.room(text.size()), text.data(), text.size());
  body_.add(text.size());
  try {
    reader.drain(kDrainBytesMax);
  } catch (const std::exception&) {
    // None of the body is delivered, so that its loss only costs the connection.
  }
}

}  // namespace com::corvane::connectivity::plugins
