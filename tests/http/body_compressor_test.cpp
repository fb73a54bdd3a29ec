#include "http/body_compressor.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <istream>
#include <new>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>

#include "http/decompressed.h"
#include "runtime/exception.h"

namespace {

int refusal = Z_OK;

}  // namespace

// Stands in front of zlib's own function for everybody in this program.
extern "C" __attribute__((visibility("default"))) int deflateInit2_(z_streamp stream, int level,
                                                                    int method, int windowBits,
                                                                    int memLevel, int strategy,
                                                                    const char* version,
                                                                    int streamBytes) {
  if (refusal != Z_OK) return refusal;
  static const auto original =
      reinterpret_cast<decltype(&deflateInit2_)>(dlsym(RTLD_NEXT, "deflateInit2_"));
  return original(stream, level, method, windowBits, memLevel, strategy, version, streamBytes);
}

namespace com::corvane::connectivity::plugins {
namespace {

std::string compressedText(const std::string& text, ContentCoding coding) {
  std::istringstream body(text);
  return std::string(compress(body, coding).view());
}

std::string failure(std::istream& body) {
  try {
    compress(body, ContentCoding::Gzip);
  } catch (const orvex::StreamException& failed) {
    return failed.what();
  }
  return "compressed";
}

// Gives some bytes, then fails.
class BrokenSource final : public std::streambuf {
  int_type underflow() override {
    if (given_) throw std::runtime_error("broken");
    given_ = true;
    setg(text_, text_, text_ + sizeof(text_));
    return traits_type::to_int_type(text_[0]);
  }

  char text_[4] = {'h', 'a', 'l', 'f'};
  bool given_ = false;
};

// Lets no compression begin while it lives.
struct Refusal {
  explicit Refusal(int code) { refusal = code; }
  ~Refusal() { refusal = Z_OK; }
};

constexpr char kFailure[] = "Error processing request stream: Serious I/O error";

TEST(BodyCompressorTest, WritesTheGzipFormatForGzip) {
  EXPECT_EQ(decompressed(compressedText("hello", ContentCoding::Gzip), kGzipWindow), "hello");
}

TEST(BodyCompressorTest, WritesTheZlibFormatForDeflate) {
  EXPECT_EQ(decompressed(compressedText("hello", ContentCoding::Deflate), kZlibWindow), "hello");
}

TEST(BodyCompressorTest, UsesTheDefaultLevel) {
  // The two bytes before a zlib stream tell the level: 0x9C stands for zlib's default one.
  EXPECT_EQ(compressedText("hello", ContentCoding::Deflate).substr(0, 2), "\x78\x9C");
}

TEST(BodyCompressorTest, WritesAWholeFrameForAnEmptyBody) {
  EXPECT_EQ(decompressed(compressedText("", ContentCoding::Gzip), kGzipWindow), "");
  EXPECT_EQ(decompressed(compressedText("", ContentCoding::Deflate), kZlibWindow), "");
}

TEST(BodyCompressorTest, CompressesBodiesOfManyPieces) {
  const std::string repeating(5'000'000, 'x');
  std::string random(1'000'000, '\0');
  std::mt19937 engine(7);
  for (char& byte : random) byte = static_cast<char>(engine());

  for (const std::string& body : {repeating, random}) {
    const std::string bytes = compressedText(body, ContentCoding::Gzip);
    EXPECT_TRUE(decompressed(bytes, kGzipWindow) == body) << "of " << bytes.size() << " bytes";
  }
  EXPECT_LT(compressedText(repeating, ContentCoding::Gzip).size(), 10'000u);
}

TEST(BodyCompressorTest, FailsForABodyThatBreaksOff) {
  BrokenSource source;
  std::istream body(&source);

  EXPECT_EQ(failure(body), kFailure);
}

TEST(BodyCompressorTest, FailsWhenReadingTheBodyThrows) {
  BrokenSource source;
  std::istream body(&source);
  body.exceptions(std::ios::badbit);

  EXPECT_EQ(failure(body), kFailure);
}

TEST(BodyCompressorTest, FailsWhenTheCompressionCannotBegin) {
  std::istringstream body("hello");
  const Refusal refused(Z_STREAM_ERROR);

  EXPECT_EQ(failure(body), kFailure);
}

TEST(BodyCompressorTest, TellsWhenThereIsNoMemoryToBegin) {
  std::istringstream body("hello");
  const Refusal refused(Z_MEM_ERROR);

  EXPECT_THROW(compress(body, ContentCoding::Gzip), std::bad_alloc);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
