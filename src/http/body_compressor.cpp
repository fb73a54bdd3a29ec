#include "http/body_compressor.h"

#include <Poco/DeflatingStream.h>
#include <Poco/Exception.h>
#include <zlib.h>

#include <istream>
#include <new>

#include "http/body_buffer.h"
#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {
namespace {

using Poco::DeflatingStreamBuf;

constexpr std::streamsize kInputPieceBytes = 102400;
constexpr int kDefaultLevel = -1;

[[noreturn]] void failCompressing() {
  throw orvex::StreamException("Error processing request stream: Serious I/O error");
}

void compressTo(BodyBuffer& target, std::istream& body, DeflatingStreamBuf::StreamType format) {
  Poco::DeflatingInputStream stream(body, format, kDefaultLevel);
  while (stream.good()) {
    stream.read(target.room(kInputPieceBytes), kInputPieceBytes);
    target.add(static_cast<std::size_t>(stream.gcount()));
  }
  // The compressing stream takes a body that breaks off for one that ends.
  if (stream.bad() || body.bad()) failCompressing();
}

}  // namespace

buffer_t compress(std::istream& body, ContentCoding coding) {
  const bool isGzip = coding == ContentCoding::Gzip;
  BodyBuffer compressed;
  try {
    compressTo(compressed, body,
               isGzip ? DeflatingStreamBuf::STREAM_GZIP : DeflatingStreamBuf::STREAM_ZLIB);
  } catch (const Poco::Exception& failure) {  // the stream could not be set up
    if (failure.message() == zError(Z_MEM_ERROR)) throw std::bad_alloc();
    failCompressing();
  }
  return buffer_t::copyOf(compressed.view().data(), compressed.size());
}

}  // namespace com::corvane::connectivity::plugins
