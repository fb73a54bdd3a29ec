#include "resources/shop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "http/form_messages.h"
#include "support/connection.h"
#include "support/deflated.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {

using test_support::Connection;
using test_support::HttpRequest;
using test_support::ScriptedServer;

namespace {

const std::string kBody(3000, 'b');
const std::string kPage(5000, 'p');

std::string answer(const std::string& body, const std::string& headers = {}) {
  return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n" + headers + "\r\n" + body;
}

std::string inChunks(const std::string& bytes) {
  std::string text =
      "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Encoding: gzip\r\n"
      "Transfer-Encoding: chunked\r\n\r\n";
  for (const char byte : bytes) text += std::string("1\r\n") + byte + "\r\n";
  return text + "0\r\n\r\n";
}

std::string answerTo(const HttpRequest& request) {
  static const std::string packed =
      inChunks(test_support::deflated(kPage, test_support::DeflateFormat::Gzip));
  if (request.target == "/moved") {
    return "HTTP/1.1 302 Found\r\nConnection: close\r\nLocation: /cookies\r\n"
           "Content-Length: 0\r\n\r\n";
  }
  if (request.target == "/cookies") {
    return answer("cookies", "Set-Cookie: first=" + std::string(40, 'a') +
                                 "\r\nSet-Cookie: second=2; Path=/\r\n"
                                 "Content-Type: text/plain; charset=utf8\r\n"
                                 "Via: 1.1 one\r\nVia: 1.1 two\r\nX-Name: J\xE9r\xF4me\r\n");
  }
  if (request.target == "/packed") return packed;
  if (request.target == "/post" && request.body != kBody) throw std::logic_error("another body");
  if (request.target == "/form" && request.body.size() < 50) throw std::logic_error("half a form");
  // What is left of a request that was given up would take the next one for its body.
  if (request.body.find("POST ") != std::string::npos) throw std::logic_error("two in one");
  return answer("page");
}

// A customer who runs short breaks off.
void serve(Connection& connection) {
  try {
    const auto request = connection.readRequest();
    if (request) connection.trySend(answerTo(*request));
    connection.waitUntilClosed();
  } catch (const test_support::TruncatedRequest&) {
  } catch (const test_support::ConnectionLost&) {
  }
}

RequestMessage post() { return RequestMessage("POST", "/post", kBody); }

RequestMessage moved() {
  RequestMessage request("GET", "/moved", "");
  request.http("cookies", data_t(textMap({{"mine", "of the message, and not too short"}})));
  request.http("queryString", data_t(map_t()));
  request.header("X-City", data_t("K\xC3\xB6ln, in more than a few letters"));
  return request;
}

RequestMessage packed() { return RequestMessage("GET", "/packed", ""); }

RequestMessage multipartForm() {
  map_t fields;
  fields.insert(data_t("text"), data_t("a value that is longer than it needs to be"));
  fields.insert(data_t("file"), bufferValue(kBody));
  RequestMessage request("POST", "/form", "");
  request.payload(data_t(std::move(fields)));
  request.header("content-type", data_t("multipart/form-data"));
  request.http("form", data_t(formOf("file", {{"filename", "a-file-with-a-name.bin"}})));
  return request;
}

RequestMessage packedForm() {
  RequestMessage request = multipartForm();
  request.header("content-encoding", data_t("gzip"));
  return request;
}

RequestMessage plainForm() {
  RequestMessage request("POST", "/form", "");
  request.payload(data_t(textMap({{"one", "a value that is longer than it needs to be"},
                                  {"two", "another value, with blanks & signs"}})));
  return request;
}

RequestMessage refused() {
  RequestMessage request("GET", "/page", "");
  request.without("method");
  return request;
}

}  // namespace

std::vector<Errand> errands() {
  return {{"Post", &post, "page"},
          {"RedirectWithCookies", &moved, "cookies"},
          {"ChunkedGzip", &packed, kPage},
          {"CompressedMultipartForm", &packedForm, "page"},
          {"MultipartForm", &multipartForm, "page"},
          {"PlainForm", &plainForm, "page"},
          {"Refused", &refused, "", "No method"}};
}

Errand errand(const std::string& name) {
  for (const Errand& errand : errands()) {
    if (errand.name == name) return errand;
  }
  throw std::logic_error("no such errand: " + name);
}

Shop::Shop(bool isTls)
    : certificates_(isTls ? std::make_unique<test_support::TempDir>() : nullptr) {
  if (!isTls) {
    server_ = std::make_unique<ScriptedServer>(&serve);
    return;
  }
  test_support::CertificateAuthority authority(*certificates_);
  authorityFile_ = authority.certificateFile();
  server_ = std::make_unique<ScriptedServer>(authority.issue(), &serve);
}

void Shop::configure(PluginRun& run) const {
  run.configure("port", data_t(std::int64_t{port()}));
  run.configure("cookieJar", data_t(true));
  run.configure("followRedirects", data_t(true));
  if (authorityFile_.empty()) return;
  run.configure("tls", data_t(true));
  run.configure("tlsCertificateAuthorityFile", data_t(authorityFile_));
}

void expectAnswered(const Reply& reply, const Errand& errand,
                    const std::vector<std::string>& reasons) {
  if (reply.status == 200) {
    EXPECT_EQ(reply.payload, errand.payload);
    EXPECT_TRUE(errand.reason.empty()) << "cannot succeed";
    return;
  }
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.payload, reply.reason);
  const auto says = [&](const std::string& text) {
    return reply.reason.find(text) != std::string::npos;
  };
  const bool isExpected = !errand.reason.empty() && reply.reason == errand.reason;
  EXPECT_TRUE(isExpected || std::any_of(reasons.begin(), reasons.end(), says)) << reply.reason;
}

}  // namespace com::corvane::connectivity::plugins
