// Compressed bodies on the wire. How well they are compressed is the library's: the head gives the
// length, and what comes out of the body is held.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/decompressed.h"
#include "http/form_messages.h"
#include "http/wire_fixture.h"
#include "support/multipart_reader.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::HttpRequest;

class WireCodingsTest : public WireFixture {
 protected:
  /// The head of a request, with "{length}" in the place of the body's length.
  std::string headOf(const HttpRequest& request) const {
    const std::string head = request.raw.substr(0, request.raw.find("\r\n\r\n") + 4);
    return replaced(named(head), "Content-Length: " + std::to_string(request.body.size()) + "\r\n",
                    "Content-Length: {length}\r\n");
  }
};

TEST_F(WireCodingsTest, AnnounceTheLengthOfWhatIsSent) {
  const std::string text(5'000, 'x');
  const HttpRequest request =
      onWire(with({{"Content-Encoding", "gzip"}, {"Content-Length", "5000"}}, "POST", text));

  EXPECT_EQ(headOf(request),
            "POST / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: gzip\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: {length}\r\n"
            "Host: {server}\r\n"
            "\r\n");
  EXPECT_EQ(decompressed(request.body, kGzipWindow), text);
}

TEST_F(WireCodingsTest, KeepTheTypeOfTheMessage) {
  RequestMessage message = with({{"content-encoding", "deflate"}}, "GET", "body");
  message.metadata("contentType", data_t("text/plain")).metadata("charset", data_t("utf8"));
  const HttpRequest request = onWire(message);

  EXPECT_EQ(headOf(request),
            "GET / HTTP/1.1\r\n"
            "accept: text/plain\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: deflate\r\n"
            "content-type: text/plain;charset=utf-8\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: {length}\r\n"
            "Host: {server}\r\n"
            "\r\n");
  EXPECT_EQ(decompressed(request.body, kZlibWindow), "body");
}

TEST_F(WireCodingsTest, StayInTheHeadOfARequestWithoutABody) {
  const HttpRequest request = onWire(with({{"Content-Encoding", "gzip"}}, "DELETE", "body"));

  EXPECT_EQ(named(request.raw),
            "DELETE / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: gzip\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireCodingsTest, FillTheirChunks) {
  std::string text;  // nothing in it can be compressed well
  for (std::uint32_t i = 1, x = 1; i <= 10'000; ++i) {
    x = x * 1'664'525 + 1'013'904'223;
    text += static_cast<char>(x >> 24);
  }
  const HttpRequest request =
      onWire(with({{"Content-Encoding", "gzip"}, {"Transfer-Encoding", "chunked"}}, "PUT", text));

  EXPECT_EQ(headOf(request),
            "PUT / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: gzip\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Transfer-Encoding: chunked\r\n"
            "Host: {server}\r\n"
            "\r\n");
  EXPECT_EQ(request.chunkBytes,
            (std::vector<std::size_t>{4096, 4096, request.body.size() - 2 * 4096}));
  EXPECT_EQ(decompressed(request.body, kGzipWindow), text);
}

TEST_F(WireCodingsTest, ApplyToAUrlEncodedForm) {
  RequestMessage message = with({{"Content-Encoding", "gzip"}}, "POST");
  message.payload(data_t(textMap({{"a b", "1&2"}})));
  const HttpRequest request = onWire(message);

  EXPECT_EQ(headOf(request),
            "POST / HTTP/1.1\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: gzip\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: {length}\r\n"
            "Host: {server}\r\n"
            "\r\n");
  EXPECT_EQ(decompressed(request.body, kGzipWindow), "a%20b=1%262");
}

TEST_F(WireCodingsTest, ApplyToAMultipartForm) {
  RequestMessage message = with({{"Content-Encoding", "deflate"},
                                 {"Content-Type", "multipart/form-data"},
                                 {"Transfer-Encoding", "chunked"}},
                                "POST");
  message.payload(data_t(textMap({{"a", "1"}})));
  const HttpRequest request = onWire(message);

  const std::string boundary = test_support::boundaryOf(request.value("content-type"));
  EXPECT_EQ(replaced(headOf(request), boundary, "{boundary}"),
            "POST / HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"{boundary}\"\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-encoding: deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Transfer-Encoding: chunked\r\n"
            "Host: {server}\r\n"
            "\r\n");
  EXPECT_EQ(replaced(decompressed(request.body, kZlibWindow), boundary, "{boundary}"),
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"a\"\r\n"
            "\r\n"
            "1\r\n"
            "--{boundary}--\r\n");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
