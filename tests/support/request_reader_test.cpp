#include "support/request_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// A stream of the given bytes, `pieceBytes` at a time.
RequestReader readerOf(std::string bytes, std::size_t pieceBytes = 4096) {
  return RequestReader([bytes = std::move(bytes), pieceBytes]() mutable {
    std::string piece = bytes.substr(0, pieceBytes);
    bytes.erase(0, piece.size());
    return piece;
  });
}

HttpRequest readWhole(const std::string& bytes, std::size_t pieceBytes = 4096) {
  RequestReader reader = readerOf(bytes, pieceBytes);
  std::optional<HttpRequest> request = reader.readHead();
  if (!request) {
    throw std::logic_error("no request in the stream");
  }
  reader.readBody(*request);
  return *request;
}

TEST(RequestReaderTest, ReadsLineHeadersInOrderAndBodyByLength) {
  const std::string bytes =
      "POST /a?b=c HTTP/1.1\r\nHost:  h \r\nX-One: 1\r\ncontent-length: 4\r\nX-One:\r\n\r\n";

  const HttpRequest request = readWhole(bytes + std::string("\0\r\n.", 4));

  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/a?b=c");
  EXPECT_EQ(request.version, "HTTP/1.1");
  EXPECT_THAT(request.headers, ElementsAre(Pair("Host", "h"), Pair("X-One", "1"),
                                           Pair("content-length", "4"), Pair("X-One", "")));
  EXPECT_EQ(request.body, std::string("\0\r\n.", 4));
  EXPECT_EQ(request.raw, bytes + std::string("\0\r\n.", 4));
}

TEST(RequestReaderTest, ReadsTheSameInPiecesOfOneByte) {
  const std::string bytes =
      "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\nA\r\n0123456789\r\n0\r\n"
      "T: x\r\n\r\n";

  const HttpRequest request = readWhole(bytes, 1);

  EXPECT_EQ(request.body, "abc0123456789");
  EXPECT_THAT(request.chunkBytes, ElementsAre(3, 10));
  EXPECT_THAT(request.trailers, ElementsAre(Pair("T", "x")));
  EXPECT_EQ(request.raw, bytes);
}

TEST(RequestReaderTest, ReadsNoBodyThatIsNotAnnounced) {
  RequestReader reader = readerOf("GET / HTTP/1.1\r\n\r\nrest");

  std::optional<HttpRequest> request = reader.readHead();
  reader.readBody(request.value());

  EXPECT_EQ(request->body, "");
  EXPECT_EQ(reader.leftover(), "rest");
}

TEST(RequestReaderTest, ReadsTwoRequestsOfOneStreamApart) {
  RequestReader reader =
      readerOf("POST /1 HTTP/1.1\r\nContent-Length: 1\r\n\r\nxGET /2 HTTP/1.0\r\n\r\n");

  std::optional<HttpRequest> first = reader.readHead();
  reader.readBody(first.value());
  const std::optional<HttpRequest> second = reader.readHead();

  EXPECT_EQ(first->body, "x");
  EXPECT_EQ(second.value().target, "/2");
  EXPECT_FALSE(reader.readHead());
}

TEST(RequestReaderTest, ValuesAreFoundWhateverTheCaseOfTheName) {
  const HttpRequest request =
      readWhole("GET / HTTP/1.1\r\nCookie: a\r\ncookie: b\r\nHost: h\r\n\r\n");

  EXPECT_THAT(request.values("COOKIE"), ElementsAre("a", "b"));
  EXPECT_THAT(request.values("Cook"), IsEmpty());
  EXPECT_EQ(request.value("hOST"), "h");
  EXPECT_FALSE(request.has("Accept"));
  EXPECT_THROW(request.value("Cookie"), std::logic_error);
  EXPECT_THROW(request.value("Accept"), std::logic_error);
}

struct BadCase {
  std::string name;
  std::string bytes;
};

std::string caseName(const testing::TestParamInfo<BadCase>& info) { return info.param.name; }

class MalformedRequestTest : public testing::TestWithParam<BadCase> {};

TEST_P(MalformedRequestTest, IsRefused) {
  EXPECT_THROW(readWhole(GetParam().bytes), MalformedRequest) << GetParam().bytes;
}

INSTANTIATE_TEST_SUITE_P(
    RequestReader, MalformedRequestTest,
    testing::Values(
        BadCase{"LineFeedAlone", "GET / HTTP/1.1\n\n"},
        BadCase{"OneWordRequestLine", "GET\r\n\r\n"},
        BadCase{"TwoWordRequestLine", "GET /\r\n\r\n"},
        BadCase{"BlankInTarget", "GET /a b HTTP/1.1\r\n\r\n"},
        BadCase{"EmptyTarget", "GET  HTTP/1.1\r\n\r\n"},
        BadCase{"ControlByteInTarget", "GET /\x01 HTTP/1.1\r\n\r\n"},
        BadCase{"MethodWithColon", "G:T / HTTP/1.1\r\n\r\n"},
        BadCase{"EmptyMethod", " / HTTP/1.1\r\n\r\n"},
        BadCase{"OtherVersion", "GET / HTTP/2.0\r\n\r\n"},
        BadCase{"HeaderWithoutColon", "GET / HTTP/1.1\r\nHost\r\n\r\n"},
        BadCase{"HeaderWithoutName", "GET / HTTP/1.1\r\n: x\r\n\r\n"},
        BadCase{"BlankBeforeColon", "GET / HTTP/1.1\r\nHost : x\r\n\r\n"},
        BadCase{"FoldedHeader", "GET / HTTP/1.1\r\nA: x\r\n y: z\r\n\r\n"},
        BadCase{"CarriageReturnInValue", "GET / HTTP/1.1\r\nA: x\ry\r\n\r\n"},
        BadCase{"ControlByteInValue", "GET / HTTP/1.1\r\nA: x\x7fy\r\n\r\n"},
        BadCase{"LengthWithSign", "GET / HTTP/1.1\r\nContent-Length: +1\r\n\r\nx"},
        BadCase{"NegativeLength", "GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\nx"},
        BadCase{"EmptyLength", "GET / HTTP/1.1\r\nContent-Length:\r\n\r\n"},
        BadCase{"TwoLengths", "GET / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 1\r\n\r\nx"},
        BadCase{"LengthAndChunks",
                "GET / HTTP/1.1\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\nx"},
        BadCase{"OtherTransferCoding", "GET / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n"},
        BadCase{"ChunkSizeNotHexadecimal",
                "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n\r\n"},
        BadCase{"ChunkLongerThanItsSize",
                "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n0\r\n\r\n"}),
    caseName);

class TruncatedRequestTest : public testing::TestWithParam<BadCase> {};

TEST_P(TruncatedRequestTest, IsRefused) {
  EXPECT_THROW(readWhole(GetParam().bytes), TruncatedRequest) << GetParam().bytes;
}

INSTANTIATE_TEST_SUITE_P(
    RequestReader, TruncatedRequestTest,
    testing::Values(
        BadCase{"InTheRequestLine", "GET / HT"},
        BadCase{"AfterTheRequestLine", "GET / HTTP/1.1\r\n"},
        BadCase{"InAHeader", "GET / HTTP/1.1\r\nHo"},
        BadCase{"InTheBody", "GET / HTTP/1.1\r\nContent-Length: 2\r\n\r\nx"},
        BadCase{"InAChunk", "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nx"},
        BadCase{"BeforeTheLastChunk",
                "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n"},
        BadCase{"AfterTheLastChunk", "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n"}),
    caseName);

}  // namespace
}  // namespace test_support
