// Forms on the wire.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "http/form_messages.h"
#include "http/wire_fixture.h"
#include "support/multipart_reader.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::HttpRequest;

RequestMessage form(Pairs fields, Pairs headers = {}, const char* method = "POST") {
  RequestMessage message = with(headers, method);
  message.payload(data_t(textMap(fields)));
  return message;
}

class WireFormsTest : public WireTable {};

TEST_P(WireFormsTest, BecomeExactlyTheseBytes) { compare(); }

const WireCase kForms[] = {
    {"Empty", [] { return form({}); },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"OneField",
     [] {
       return form({{"a", "1"}}, {}, "PUT");
     },
     "PUT / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 3\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "a=1"},
    {"FieldsInTheOrderOfTheMap",
     [] {
       return form({{"b", "1"}, {"a", "2"}, {"B", "3"}, {"c", ""}, {"", "4"}});
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 17\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "b=1&B=3&a=2&c=&=4"},
    {"OddBytes",
     [] {
       return form(
           {{"k=&+ ?", "v=&+ ?/:@#%,;!$'()*[]-._~\r\n\t\x7F"}, {"caf\xC3\xA9", "\xE2\x82\xAC"}});
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 114\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "k%3D%26%2B%20%3F=v%3D%26%2B%20%3F%2F%3A%40%23%25%2C%3B%21%24%27%28%29%2A%5B%5D-._~%0D%0A%09%"
     "7F&caf%C3%A9=%E2%82%AC"},
    {"WithoutTheirBuffers",
     [] {
       RequestMessage message = form({});
       map_t fields = textMap({{"a", "1"}});
       fields.insert(data_t("f"), bufferValue("bytes"));
       message.payload(data_t(std::move(fields)));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 3\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "a=1"},
    {"Chunked",
     [] {
       return form({{"a", "1"}}, {{"Transfer-Encoding", "chunked"}, {"x", "y"}});
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: y\r\n"
     "Transfer-Encoding: chunked\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "3\r\n"
     "a=1\r\n"
     "0\r\n"
     "\r\n"},
    {"EmptyAndChunked",
     [] {
       return form({}, {{"Transfer-Encoding", "chunked"}});
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Transfer-Encoding: chunked\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "0\r\n"
     "\r\n"},
    {"InTheQueryOfAGet",
     [] {
       return form({{"a", "1"}, {"b", "2 3"}}, {}, "GET");
     },
     "GET /?b=2%203&a=1 HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 11\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "b=2%203&a=1"},
    {"OfADelete",
     [] {
       return form({{"a", "1"}}, {{"Content-Type", "a/b"}}, "DELETE");
     },
     "DELETE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: a/b\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"WithATypeOfTheMessage",
     [] {
       RequestMessage message = form({{"a", "1"}}, {{"Content-Type", "a/b"}, {"Accept", "c/d"}});
       message.metadata("contentType", data_t("text/plain")).metadata("charset", data_t("x"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "Content-Type: application/x-www-form-urlencoded\r\n"
     "accept: c/d\r\n"
     "accept-charset: x\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 3\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "a=1"},
};

INSTANTIATE_TEST_SUITE_P(UrlEncoded, WireFormsTest, testing::ValuesIn(kForms), wireCaseName);

class WireMultipartTest : public WireFixture {
 protected:
  static RequestMessage multipart(map_t fields, Pairs headers = {}, const char* method = "POST") {
    RequestMessage message = with(headers, method);
    message.payload(data_t(std::move(fields)))
        .header("Content-Type", data_t("multipart/form-data"));
    return message;
  }

  /// The bytes of the request, with "{boundary}" in the place of the boundary.
  std::string sentAs(RequestMessage&& message) {
    const HttpRequest request = onWire(message);
    const std::string boundary = test_support::boundaryOf(request.value("content-type"));
    EXPECT_TRUE(std::regex_match(boundary, std::regex("MIME_boundary_[0-9A-F]{16}"))) << boundary;
    return replaced(named(request.raw), boundary, "{boundary}");
  }
};

TEST_F(WireMultipartTest, HoldsFieldsAndFiles) {
  map_t fields = textMap({{"a", "1\r\n2"}, {"caf\xC3\xA9", ""}});
  fields.insert(data_t("f"), bufferValue("\x01\xFF"));
  fields.insert(data_t("g"), bufferValue(""));
  RequestMessage message = multipart(std::move(fields), {{"x", "y"}}, "PUT");
  map_t about = formOf(
      "f", {{"filename", "n \"1\".txt"}, {"contentType", "text/plain"}, {"charset", "utf-8"}});
  message.http("form", data_t(std::move(about)));

  EXPECT_EQ(sentAs(std::move(message)),
            "PUT / HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"{boundary}\"\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x: y\r\n"
            "Content-Length: 473\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"a\"\r\n"
            "\r\n"
            "1\r\n"
            "2\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"caf\xC3\xA9\"\r\n"
            "\r\n"
            "\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"g\"\r\n"
            "Content-Type: application/octet-stream\r\n"
            "\r\n"
            "\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"f\"; filename=\"n %221%22.txt\"\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "\r\n"
            "\x01\xFF\r\n"
            "--{boundary}--\r\n");
}

TEST_F(WireMultipartTest, MayBeEmpty) {
  EXPECT_EQ(sentAs(multipart({})),
            "POST / HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"{boundary}\"\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 38\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "\r\n"
            "--{boundary}--\r\n");
}

TEST_F(WireMultipartTest, LeavesInChunks) {
  EXPECT_EQ(sentAs(multipart(textMap({{"a", "1"}}), {{"Transfer-Encoding", "chunked"}})),
            "POST / HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"{boundary}\"\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Transfer-Encoding: chunked\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "75\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"a\"\r\n"
            "\r\n"
            "1\r\n"
            "--{boundary}--\r\n"
            "\r\n"
            "0\r\n"
            "\r\n");
}

TEST_F(WireMultipartTest, LeavesInTheBodyOfAGet) {
  EXPECT_EQ(sentAs(multipart(textMap({{"a", "1"}}), {}, "GET")),
            "GET / HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"{boundary}\"\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 117\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "--{boundary}\r\n"
            "Content-Disposition: form-data; name=\"a\"\r\n"
            "\r\n"
            "1\r\n"
            "--{boundary}--\r\n");
}

TEST_F(WireMultipartTest, LeavesWithoutABodyForADelete) {
  const HttpRequest request = onWire(multipart(textMap({{"a", "1"}}), {}, "DELETE"));

  EXPECT_EQ(named(request.raw),
            "DELETE / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-type: multipart/form-data\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireMultipartTest, FillsItsChunksWhereverItsPartsEnd) {
  map_t fields = textMap({{"a", std::string(5'000, 'a').c_str()}});
  fields.insert(data_t("f"), bufferValue(std::string(9'000, 'f')));

  const HttpRequest request =
      onWire(multipart(std::move(fields), {{"Transfer-Encoding", "chunked"}}));

  EXPECT_EQ(request.chunkBytes, (std::vector<std::size_t>{4096, 4096, 4096, 1948}));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
