#include "http/http_exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <future>
#include <string>
#include <vector>

#include "http/exchange_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::HttpRequest;
using test_support::ScriptedServer;
using testing::Contains;
using testing::ElementsAre;

class HttpExchangeTest : public ExchangeFixture {
 protected:
  /// The formats of all lines, as the host got them.
  std::vector<std::string> formats() const {
    std::vector<std::string> result;
    for (const auto& line : host_.lines()) result.push_back(line.format);
    return result;
  }
};

TEST_F(HttpExchangeTest, SendsExactlyTheseBytes) {
  RequestMessage message("POST", "/path", "body");
  message.http("queryString", data_t(textMap({{"b", "x y"}, {"a", "1&2"}})))
      .http("cookies", data_t(textMap({{"sid", "7"}, {"lang", "en"}})))
      .header("X-Name", data_t("value"))
      .metadata("contentType", data_t("text/plain"))
      .metadata("charset", data_t("UTF8"));

  const HttpRequest request = sent(message);

  EXPECT_EQ(request.raw,
            "POST /path?a=1%262&b=x%20y HTTP/1.1\r\n"
            "accept: text/plain\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "content-type: text/plain;charset=utf-8\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x-name: value\r\n"
            "Cookie: lang=en; sid=7\r\n"
            "Content-Length: 4\r\n"
            "Host: 127.0.0.1:" +
                std::to_string(settings_.port) +
                "\r\n"
                "\r\n"
                "body");
}

TEST_F(HttpExchangeTest, GivesEveryRequestItsDefaultHeaders) {
  const HttpRequest request = sent(RequestMessage("GET", "/", ""));

  EXPECT_EQ(request.value("accept-charset"), "utf-8");
  EXPECT_EQ(request.value("accept-encoding"), "identity, gzip, deflate");
  EXPECT_EQ(request.value("user-agent"), "Orvex/10.15 (amd64-win)");
  EXPECT_FALSE(request.has("cookie"));
  EXPECT_FALSE(request.has("authorization"));
  EXPECT_FALSE(request.has("connection"));
}

TEST_F(HttpExchangeTest, LetsTheMessagesHeadersWin) {
  const HttpRequest request = sent(RequestMessage().header("User-Agent", data_t("mine")));

  EXPECT_EQ(request.value("user-agent"), "mine");
}

TEST_F(HttpExchangeTest, SendsHeaderTextInLatin1) {
  EXPECT_EQ(sent(RequestMessage().header("x", data_t("caf\xC3\xA9"))).value("x"), "caf\xE9");
}

TEST_F(HttpExchangeTest, SendsTheSubstitutionByteForWhatLatin1DoesNotHave) {
  // The scripted reader refuses control bytes in a header: these bytes are read as they come.
  std::string bytes;
  ScriptedServer server([&](Connection& connection) {
    while (bytes.find("\r\n\r\n") == std::string::npos) bytes += connection.readSome();
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  perform(RequestMessage("GET", "/", "").header("x", data_t("a\xE4\xB8\xADz")));
  exchange_->close();
  server.waitForFinishedConnections(1);

  EXPECT_THAT(bytes, testing::HasSubstr("\r\nx: a\x1Az\r\n"));
}

TEST_F(HttpExchangeTest, AnnouncesALengthOfZeroOnlyWhereABodyMayBe) {
  EXPECT_EQ(sent(RequestMessage("GET", "/", "")).value("content-length"), "0");
  EXPECT_EQ(sent(RequestMessage("POST", "/", "")).value("content-length"), "0");
  EXPECT_FALSE(sent(RequestMessage("HEAD", "/", "")).has("content-length"));
  EXPECT_FALSE(sent(RequestMessage("DELETE", "/", "")).has("content-length"));
  EXPECT_FALSE(sent(RequestMessage("TRACE", "/", "")).has("content-length"));
}

TEST_F(HttpExchangeTest, SendsTheBodyOfAGet) {
  const HttpRequest request = sent(RequestMessage("GET", "/", "body"));

  EXPECT_EQ(request.body, "body");
  EXPECT_EQ(request.value("content-length"), "4");
}

TEST_F(HttpExchangeTest, DropsTheBodyOfADeleteAndSaysSo) {
  RequestMessage message("DELETE", "/", "body");

  const HttpRequest request = sent(message, 5);

  EXPECT_EQ(request.body, "");
  EXPECT_FALSE(request.has("content-length"));
  EXPECT_THAT(host_.textsAt(5),
              Contains("<category> {0} Ignoring specified payload for DELETE request method"));
}

TEST_F(HttpExchangeTest, SettlesTheFramingByTheBodyAlone) {
  EXPECT_EQ(sent(RequestMessage().header("Content-Length", data_t("99"))).value("content-length"),
            "4");
  EXPECT_FALSE(sent(RequestMessage("HEAD", "/", "").header("content-length", data_t("5")))
                   .has("content-length"));
  const HttpRequest bodyless =
      sent(RequestMessage("HEAD", "/", "body").header("transfer-encoding", data_t("chunked")));
  EXPECT_FALSE(bodyless.has("transfer-encoding"));
  EXPECT_FALSE(bodyless.has("content-length"));

  const HttpRequest chunked = sent(RequestMessage().header("Transfer-Encoding", data_t("chunked")));
  EXPECT_FALSE(chunked.has("content-length"));
  EXPECT_EQ(chunked.body, "body");

  const HttpRequest other = sent(RequestMessage().header("Transfer-Encoding", data_t("gzip")));
  EXPECT_FALSE(other.has("transfer-encoding"));
  EXPECT_EQ(other.body, "body");
}

TEST_F(HttpExchangeTest, WritesTargetsThatAServerCanRead) {
  EXPECT_EQ(sent(RequestMessage("GET", "")).target, "/");
  EXPECT_EQ(sent(RequestMessage("GET", "?q")).target, "/?q");
  EXPECT_EQ(sent(RequestMessage("GET", "/a b?c d\x7F")).target, "/a%20b?c%20d%7F");
  EXPECT_EQ(sent(RequestMessage("GET", "/x?y=\r\nInjected: 1")).target, "/x?y=%0D%0AInjected:%201");
  EXPECT_EQ(
      sent(RequestMessage("GET", "/p?have=1").http("queryString", data_t(textMap({{"more", "2"}}))))
          .target,
      "/p?have=1&more=2");
  EXPECT_EQ(sent(RequestMessage("GET", "http%3A//evil.test/x")).target, "/http://evil.test/x");
  EXPECT_EQ(sent(RequestMessage("GET", ":http://evil.test/x")).target, "/http://evil.test/x");
}

TEST_F(HttpExchangeTest, AuthenticatesWithTheConfiguredName) {
  settings_.user = "Aladdin";
  settings_.password = "open sesame";
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port(), 4, true);

  perform(RequestMessage().header("Authorization", data_t("mine")));

  EXPECT_EQ(server.waitForRequests(1)[0].value("authorization"),
            "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
}

TEST_F(HttpExchangeTest, DumpsTheRequestAtTrace) {
  RequestMessage message("POST", "/", "\x01");
  message.http("queryString", data_t(textMap({{"q", "1"}}))).header("x", data_t("y"));

  sent(message, 6);

  EXPECT_THAT(host_.textsAt(6),
              testing::IsSupersetOf({"<category> {0}    request query q = 1",
                                     "<category> {0}    request header accept-charset = utf-8",
                                     "<category> {0}    request header x = y",
                                     "<category> {0}    request header Content-Length = 1",
                                     "<category> {0}    request payload: [0x01]"}));
  host_.clearLines();
  RequestMessage dropped("HEAD", "/", "body");
  sent(dropped, 6);
  EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: <no payload>"));
}

TEST_F(HttpExchangeTest, SaysWhatItHandlesAndWhatItSends) {
  RequestMessage message("GET", "/path", "");

  sent(message, 5);

  EXPECT_THAT(host_.textsAt(5), ElementsAre("<category> {0} Handling a request for GET path /path",
                                            "<category> {0} Sending response towards host"));
}

TEST_F(HttpExchangeTest, AnswersWithWhatTheServerSaid) {
  ScriptedServer server(ScriptedServer::answeringAll(
      "HTTP/1.1 201 Made it\r\nContent-Length: 5\r\nX: y\r\n\r\nhello"));
  connectTo(server.port());

  Message& answer = perform(RequestMessage("PUT", "/there"));

  EXPECT_EQ(status(answer), 201);
  EXPECT_EQ(reason(answer), "Made it");
  EXPECT_EQ(body(answer), "hello");
  EXPECT_EQ(textAt(mapAt(answer.metadata, "http"), "path"), "/there");
  EXPECT_EQ(textAt(mapAt(mapAt(answer.metadata, "http"), "headers"), "x"), "y");
  EXPECT_EQ(port_.statuses, std::vector<std::int64_t>{201});
  EXPECT_EQ(port_.queueSizePublished, 1);
  EXPECT_EQ(overallStatus(), "ONLINE");
}

TEST_F(HttpExchangeTest, UsesOneConnectionForAllItsRequests) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  for (int i = 0; i < 10; ++i) perform(RequestMessage());

  EXPECT_EQ(server.connectionCount(), 1u);
  EXPECT_EQ(server.requests().size(), 10u);
}

TEST_F(HttpExchangeTest, OpensANewConnectionAfterAnAnswerThatIsNotTheLastOnIt) {
  ScriptedServer server(
      ScriptedServer::answeringAll("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokHTTP/1.1 500 "
                                   "No\r\nContent-Length: 0\r\n\r\n"));
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage())), 200);
  EXPECT_EQ(status(perform(RequestMessage())), 200);

  EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpExchangeTest, TakesNothingForAnAnswerThatCameBeforeItsRequest) {
  std::promise<void> answered;
  std::promise<void> sent;
  ScriptedServer server([&](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send(kEmptyAnswer);
    if (connection.index() == 0) {
      answered.get_future().wait();
      connection.send("HTTP/1.1 408 Request Timeout\r\nContent-Length: 0\r\n\r\n");
      sent.set_value();
    }
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage())), 200);
  answered.set_value();
  sent.get_future().wait();
  EXPECT_EQ(status(perform(RequestMessage())), 200);

  EXPECT_EQ(server.connectionCount(), 2u);
  EXPECT_EQ(server.requests().size(), 2u);
  exchange_->close();
}

TEST_F(HttpExchangeTest, ClosesTheConnectionWhenTheMessageAsksForIt) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  perform(RequestMessage().header("Connection", data_t("close")));
  perform(RequestMessage());

  EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpExchangeTest, IgnoresBodiesWhereNoneBelongs) {
  ScriptedServer server(ScriptedServer::answeringAll(
      "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nContent-Encoding: gzip\r\n\r\n"));
  connectTo(server.port());

  Message& answer = perform(RequestMessage("HEAD", "/", ""));

  EXPECT_EQ(status(answer), 200);
  EXPECT_EQ(body(answer), "");
  EXPECT_EQ(status(perform(RequestMessage("HEAD", "/", ""))), 200);
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpExchangeTest, RetriesOnceWhenAKeptConnectionWasClosed) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send(kEmptyAnswer);
    if (connection.index() > 0) connection.waitUntilClosed();
  });
  connectTo(server.port());
  perform(RequestMessage());
  server.waitForFinishedConnections(1);
  host_.clearLines();

  EXPECT_EQ(status(perform(RequestMessage())), 200);

  EXPECT_EQ(server.connectionCount(), 2u);
  EXPECT_EQ(overallStatus(), "ONLINE");
}

TEST_F(HttpExchangeTest, RetriesOnceWhenTheServerClosesWithoutAnswering) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    if (connection.index() > 0) connection.send(kEmptyAnswer);
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "twice"))), 200);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].raw, requests[1].raw);
  EXPECT_EQ(host_.textsAt(5),
            (std::vector<std::string>{
                "<category> {0} Handling a request for POST path /",
                "<category> {0} Caught a Poco::Net::NoMessageException processing a request, will "
                "retry once: No message received ()",
                "<category> {0} Sending response towards host"}));
  EXPECT_THAT(formats(),
              Contains("<%s> {%I64u} Caught a Poco::Net::NoMessageException processing a request, "
                       "will retry once: %s (%s)"));
}

TEST_F(HttpExchangeTest, FailsWhenTheServerClosesWithoutAnsweringTwice) {
  ScriptedServer server([](Connection& connection) { connection.readRequest(); });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "No message received");
  EXPECT_EQ(body(answer), "No message received");
  EXPECT_EQ(server.connectionCount(), 2u);
  EXPECT_EQ(host_.textsAt(3),
            (std::vector<std::string>{
                "<category> {0} Caught exception processing a request: No message received"}));
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(port_.queueSizePublished, 0);
}

TEST_F(HttpExchangeTest, FailsAfterOneRetryWhenTheServerRefuses) {
  std::uint16_t port = 0;
  {
    ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
    port = server.port();
  }
  connectTo(port);

  Message& answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(status(answer), 400);
  EXPECT_THAT(reason(answer), testing::StartsWith("Connection refused"));
  EXPECT_EQ(host_.textsAt(5).size(), 2u);
  EXPECT_THAT(host_.textsAt(5)[1],
              testing::StartsWith("<category> {0} Caught a Poco::IOException processing a request, "
                                  "will retry once: Connection refused ("));
  EXPECT_THAT(formats(), Contains("<%s> {%I64u} Caught a Poco::IOException processing a request, "
                                  "will retry once: %s (%s)"));
  ASSERT_EQ(host_.textsAt(3).size(), 1u);
  EXPECT_THAT(host_.textsAt(3)[0],
              testing::StartsWith(
                  "<category> {0} Caught exception processing a request: Connection refused"));
}

TEST_F(HttpExchangeTest, BlamesTheMethodForTheFailureOfAnother) {
  ScriptedServer server([](Connection& connection) { connection.readRequest(); });
  connectTo(server.port());

  for (const char* method : {"PATCH", "HEAD", "get"}) {
    host_.clearLines();
    Message& answer = perform(RequestMessage(method, "/", ""));

    EXPECT_EQ(status(answer), 400);
    EXPECT_EQ(reason(answer), "Invalid method (must be GET, PUT, POST or DELETE)");
    EXPECT_EQ(host_.textsAt(3),
              std::vector<std::string>{
                  std::string("<category> {0} Caught exception processing a request: Invalid "
                              "method (must be GET, PUT, POST or DELETE): ") +
                  method});
  }
}

TEST_F(HttpExchangeTest, SendsAnyMethodThatIsAToken) {
  EXPECT_EQ(sent(RequestMessage("PATCH", "/")).method, "PATCH");
}

TEST_F(HttpExchangeTest, SendsNoMethodThatWouldBreakTheRequestLine) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  for (const char* method : {"", "GET /x", "GET\r\nX: y", "G\tT"}) {
    EXPECT_EQ(reason(perform(RequestMessage(method, "/"))),
              "Invalid method (must be GET, PUT, POST or DELETE)");
  }
  EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(HttpExchangeTest, AnswersAMessageItCannotRead) {
  connectTo(1);

  Message& answer = perform(RequestMessage().without("path"));

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "No path");
  EXPECT_EQ(body(answer), "No path");
  EXPECT_EQ(textAt(mapAt(answer.metadata, "http"), "method"), "");
  EXPECT_EQ(textAt(mapAt(answer.metadata, "http"), "path"), "");
  EXPECT_EQ(connectivity10_15_0::get<std::int64_t>(at(answer.metadata, "requestId")), 7);
  EXPECT_EQ(host_.textsAt(3), std::vector<std::string>{
                                  "<category> {0} Caught exception processing a request: No path"});
  EXPECT_EQ(overallStatus(), "STARTING");
}

TEST_F(HttpExchangeTest, AnswersAnUnknownCodingWithoutSending) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  Message& answer = perform(RequestMessage().header("content-encoding", data_t("GZIP")));

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Unsupported Content-Encoding, dropping HTTP request.");
  EXPECT_EQ(host_.textsAt(2),
            std::vector<std::string>{
                "<category> {0} Unsupported Content-Encoding, dropping HTTP request."});
  EXPECT_EQ(server.connectionCount(), 0u);
  EXPECT_EQ(overallStatus(), "STARTING");
}

TEST_F(HttpExchangeTest, FailsWhenTheBodyIsCutShortAndGoesOn) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    if (connection.index() == 0) {
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
      return;
    }
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Error processing response stream: I/O error");
  EXPECT_THAT(host_.textsAt(5),
              Contains("<category> {0} Invalid response body: connection closed inside the body"));
  EXPECT_EQ(overallStatus(), "FAILED");

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);
  EXPECT_EQ(overallStatus(), "ONLINE");
}

TEST_F(HttpExchangeTest, FailsWhenTheConnectionIsResetInTheBodyAndGoesOn) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    if (connection.index() == 0) {
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
      connection.reset();
      return;
    }
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(status(answer), 400);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);
  EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(HttpExchangeTest, FailsWhenTheServerIsSilentForTooLongAndGoesOn) {
  settings_.timeoutSecs = 1;
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    if (connection.index() > 0) connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(status(answer), 400);
  EXPECT_THAT(reason(answer), testing::StartsWith("Timeout"));
  EXPECT_EQ(server.requests().size(), 1u);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);
}

TEST_F(HttpExchangeTest, FailsOnGarbageAndGoesOn) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send(connection.index() < 2 ? "garbage\r\n\r\n" : kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(reason(answer), "Malformed message: Invalid status line");
  EXPECT_EQ(host_.textsAt(3),
            std::vector<std::string>{"<category> {0} Caught exception processing a request: "
                                     "Malformed message (Invalid status line)"});

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);
}

TEST_F(HttpExchangeTest, FailsForAPathThatIsNoUri) {
  connectTo(1);

  EXPECT_EQ(status(perform(RequestMessage("GET", "http://host:99999/"))), 400);
  EXPECT_EQ(overallStatus(), "FAILED");
}

TEST_F(HttpExchangeTest, TakesAnAnswerThatComesBeforeTheBodyIsSent) {
  // More than the system buffers between the two; the server never reads it.
  const std::string large(16 * 1024 * 1024, 'x');
  ScriptedServer server([](Connection& connection) {
    if (!connection.readHead()) return;
    if (connection.index() == 0) {
      connection.send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
      return;
    }
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage("POST", "/", large));
  EXPECT_EQ(status(answer), 413);
  EXPECT_EQ(server.connectionCount(), 1u);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);
  EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpExchangeTest, SendsNothingBehindAFailedWrite) {
  settings_.timeoutSecs = 1;
  const std::string large(16 * 1024 * 1024, 'x');
  std::array<std::string, 2> received;  // by attempt
  ScriptedServer server([&](Connection& connection) {
    // Reads nothing until the client has given up; then all that it had sent.
    host_.waitForText("Caught exception processing a request");
    std::string& bytes = received.at(connection.index());
    for (std::string some = connection.readSome(); !some.empty(); some = connection.readSome()) {
      bytes += some;
    }
  });
  connectTo(server.port());

  RequestMessage message("POST", "/", large);
  message.header("transfer-encoding", data_t("chunked"));
  EXPECT_EQ(status(perform(message)), 400);
  exchange_->close();
  server.waitForFinishedConnections(2);

  for (const std::string& bytes : received) {
    EXPECT_EQ(bytes.find("0\r\n\r\n"), std::string::npos);
    EXPECT_LT(bytes.size(), large.size());
  }
}

TEST_F(HttpExchangeTest, PassesARedirectOn) {
  settings_.followRedirects = false;
  ScriptedServer server(ScriptedServer::answeringAll(
      "HTTP/1.1 302 Found\r\nLocation: /there\r\nContent-Length: 0\r\n\r\n"));
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 302);
}

TEST_F(HttpExchangeTest, CarriesLargeBodiesBothWays) {
  const std::string large(1024 * 1024 + 17, 'x');
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(request->body.size()) +
                      "\r\n\r\n" + request->body);
    }
  });
  connectTo(server.port());

  EXPECT_EQ(body(perform(RequestMessage("POST", "/", large))), large);
  EXPECT_EQ(body(perform(RequestMessage("POST", "/", "small"))), "small");
  EXPECT_EQ(server.connectionCount(), 1u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
