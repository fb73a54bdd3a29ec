#include "http/inflater.h"

#include <cstring>
#include <new>

#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::size_t kOutputPieceBytes = 102400;
constexpr int kGzipWindow = 15 + 16;  // the largest window; 16 asks for the gzip format
constexpr int kZlibWindow = 15;
constexpr int kRawWindow = -15;  // negative asks for no format around the stream

[[noreturn]] void failInflating() {
  throw orvex::StreamException("Error processing response stream: Serious I/O error");
}

// RFC 1950, section 2.2: method 8, and the two bytes together are a multiple of 31.
bool isZlibHeader(const unsigned char* bytes) {
  return (bytes[0] & 0x0F) == 8 && (bytes[0] * 256 + bytes[1]) % 31 == 0;
}

}  // namespace

Inflater::Inflater(ContentCoding coding, ResponseReader& source, Input& input)
    : coding_(coding), source_(source), input_(input) {
  stream_.next_in = input_.data();
}

Inflater::~Inflater() {
  if (initialised_) inflateEnd(&stream_);
}

// Reads until `bytes` bytes of input are at hand. Returns false when the body ends before.
bool Inflater::need(std::size_t bytes) {
  while (stream_.avail_in < bytes) {
    std::memmove(input_.data(), stream_.next_in, stream_.avail_in);
    stream_.next_in = input_.data();
    auto* const end = reinterpret_cast<char*>(input_.data()) + stream_.avail_in;
    const std::size_t count = source_.readBody(end, input_.size() - stream_.avail_in);
    if (count == 0) return false;
    stream_.avail_in += static_cast<uInt>(count);
  }
  return true;
}

void Inflater::begin() {
  int window = kGzipWindow;
  if (coding_ == ContentCoding::Deflate) {
    window = need(2) && isZlibHeader(stream_.next_in) ? kZlibWindow : kRawWindow;
  }
  if (inflateInit2(&stream_, window) != Z_OK) throw std::bad_alloc();
  initialised_ = true;
}

bool Inflater::beginsAnotherMember() {
  return coding_ == ContentCoding::Gzip && need(2) && stream_.next_in[0] == 0x1F &&
         stream_.next_in[1] == 0x8B;
}

void Inflater::inflateStream(BodyBuffer& target) {
  while (true) {
    const bool hasInput = need(1);
    stream_.next_out = reinterpret_cast<unsigned char*>(target.room(kOutputPieceBytes));
    stream_.avail_out = kOutputPieceBytes;
    const int result = inflate(&stream_, Z_NO_FLUSH);
    target.add(kOutputPieceBytes - stream_.avail_out);
    if (result == Z_STREAM_END) return;
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    // Without input, only output that zlib still holds is progress.
    const bool progressed = result == Z_OK && (hasInput || stream_.avail_out == 0);
    if (!progressed) failInflating();
  }
}

void Inflater::inflateTo(BodyBuffer& target) {
  if (!need(1)) return;
  begin();
  inflateStream(target);
  while (beginsAnotherMember()) {
    if (inflateReset(&stream_) != Z_OK) failInflating();
    inflateStream(target);
  }
}

}  // namespace com::corvane::connectivity::plugins
