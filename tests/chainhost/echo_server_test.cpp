#include "chainhost/echo_server.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/StreamCopier.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace chainhost {
namespace {

using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;

class EchoServerTest : public testing::Test {
 protected:
  // The description of a request, without the "Host" header's port to know.
  std::string exchange(HTTPRequest& request, const std::string& body = "") {
    request.setHost("h");
    session_.sendRequest(request) << body;
    std::string text;
    Poco::StreamCopier::copyToString(session_.receiveResponse(response_), text);
    return text;
  }

  EchoServer server_{0};
  Poco::Net::HTTPClientSession session_{"127.0.0.1", server_.port()};
  HTTPResponse response_;
};

TEST_F(EchoServerTest, DescribesARequest) {
  HTTPRequest request("PUT", "/a%20b?x=1&y=%22", HTTPMessage::HTTP_1_1);
  request.set("X-One", "1");
  request.setContentLength(5);

  const std::string text = exchange(request, "bo\"dy");

  EXPECT_EQ(text, R"({"method": "PUT", "target": "/a%20b?x=1&y=%22", "headers": {"X-One": "1", )"
                  R"("Content-Length": "5", "Host": "h", "Connection": "Close"}, "body": "bo\"dy"})"
                  "\n");
  EXPECT_EQ(response_.getStatus(), HTTPResponse::HTTP_OK);
  EXPECT_EQ(response_.getContentType(), "application/json");
  EXPECT_EQ(response_.getContentLength(), static_cast<std::streamsize>(text.size()));
}

TEST_F(EchoServerTest, ListsTheValuesOfARepeatedHeader) {
  HTTPRequest request("GET", "/", HTTPMessage::HTTP_1_1);
  request.add("X-Two", "a");
  request.add("x-two", "b");

  EXPECT_EQ(exchange(request),
            R"({"method": "GET", "target": "/", "headers": {"X-Two": ["a", "b"], )"
            R"("Host": "h", "Connection": "Close"}, "body": ""})"
            "\n");
}

TEST_F(EchoServerTest, WritesABodyThatIsNoTextAsBase64) {
  HTTPRequest request("POST", "/", HTTPMessage::HTTP_1_1);
  request.setContentLength(2);

  const std::string text = exchange(request, std::string("\xFF\x00", 2));

  EXPECT_NE(text.find(R"("body": {"$base64": "/wA="}})"), std::string::npos) << text;
}

TEST_F(EchoServerTest, ReadsAChunkedBody) {
  HTTPRequest request("POST", "/", HTTPMessage::HTTP_1_1);
  request.setChunkedTransferEncoding(true);

  const std::string text = exchange(request, "chunked body");

  EXPECT_NE(text.find(R"("body": "chunked body"})"), std::string::npos) << text;
}

TEST_F(EchoServerTest, AnswersHeadWithoutABody) {
  HTTPRequest request("HEAD", "/", HTTPMessage::HTTP_1_1);

  const std::string text = exchange(request);

  EXPECT_EQ(text, "");
  EXPECT_EQ(response_.getStatus(), HTTPResponse::HTTP_OK);
}

TEST_F(EchoServerTest, AnswersSeveralRequestsOnOneConnection) {
  session_.setKeepAlive(true);
  for (const char* const target : {"/1", "/2", "/3"}) {
    HTTPRequest request("POST", target, HTTPMessage::HTTP_1_1);
    request.setContentLength(0);

    const std::string text = exchange(request);

    EXPECT_NE(text.find(std::string("\"target\": \"") + target + "\""), std::string::npos);
    EXPECT_TRUE(session_.connected());
  }
}

TEST_F(EchoServerTest, DoesNotWaitForABodyThatIsNotAnnounced) {
  Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", server_.port()));
  const std::string head = "POST /x HTTP/1.1\r\nHost: h\r\n\r\n";
  socket.sendBytes(head.data(), static_cast<int>(head.size()));
  char answer[12];

  const int got = socket.receiveBytes(answer, sizeof answer);

  EXPECT_EQ(std::string(answer, static_cast<std::size_t>(got)), "HTTP/1.1 200");
}

TEST_F(EchoServerTest, AsksForABodyThatIsHeldBack) {
  Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", server_.port()));
  const std::string head =
      "POST /x HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n";
  socket.sendBytes(head.data(), static_cast<int>(head.size()));
  char answer[25];

  const int got = socket.receiveBytes(answer, sizeof answer);

  EXPECT_EQ(std::string(answer, static_cast<std::size_t>(got)), "HTTP/1.1 100 Continue\r\n\r\n");
  socket.sendBytes("ok", 2);
  const int rest = socket.receiveBytes(answer, 12);
  EXPECT_EQ(std::string(answer, static_cast<std::size_t>(rest)), "HTTP/1.1 200");
}

TEST_F(EchoServerTest, AnswersWhatIsNoHttpWith400) {
  Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", server_.port()));
  const std::string head = "A-METHOD-LONGER-THAN-ANY-SERVER-ACCEPTS / HTTP/1.1\r\n\r\n";
  socket.sendBytes(head.data(), static_cast<int>(head.size()));
  char answer[12];

  const int got = socket.receiveBytes(answer, sizeof answer);

  EXPECT_EQ(std::string(answer, static_cast<std::size_t>(got)), "HTTP/1.1 400");
}

TEST(EchoServerEndTest, ClosesIdleConnections) {
  auto server = std::make_unique<EchoServer>(std::uint16_t{0});
  Poco::Net::StreamSocket socket(Poco::Net::SocketAddress("127.0.0.1", server->port()));
  const std::string head = "HEAD / HTTP/1.1\r\nHost: h\r\n\r\n";
  socket.sendBytes(head.data(), static_cast<int>(head.size()));
  std::string answer;
  char byte = 0;
  while (!answer.ends_with("\r\n\r\n") && socket.receiveBytes(&byte, 1) == 1) {
    answer += byte;
  }

  server.reset();

  EXPECT_TRUE(answer.starts_with("HTTP/1.1 200")) << answer;
  EXPECT_EQ(socket.receiveBytes(&byte, 1), 0);
}

TEST_F(EchoServerTest, NamesAPortThatIsTaken) {
  try {
    const EchoServer second(server_.port());
    FAIL() << "two servers on one port";
  } catch (const std::runtime_error& error) {
    const std::string start = "cannot listen on 127.0.0.1:" + std::to_string(server_.port()) + ": ";
    EXPECT_TRUE(std::string(error.what()).starts_with(start)) << error.what();
  }
}

}  // namespace
}  // namespace chainhost
