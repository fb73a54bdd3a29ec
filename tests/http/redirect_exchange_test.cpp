// Redirects as server and host see them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
using testing::Not;

constexpr char kDone[] = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ndone";

std::string redirect(int status, const std::string& location) {
  return "HTTP/1.1 " + std::to_string(status) + " Moved\r\nLocation: " + location +
         "\r\nContent-Length: 5\r\n\r\nmoved";
}

/// Answers /path with `first`, everything else with kDone.
ScriptedServer::Script redirectingPath(std::string first) {
  return [first](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      connection.send(request->target.starts_with("/path") ? first : kDone);
    }
  };
}

class RedirectExchangeTest : public ExchangeFixture {
 protected:
  std::string path(Message& answer) { return textAt(mapAt(answer.metadata, "http"), "path"); }
  std::string method(Message& answer) { return textAt(mapAt(answer.metadata, "http"), "method"); }
};

TEST_F(RedirectExchangeTest, SendsAPostAgainAsGetOnANewConnection) {
  ScriptedServer server(redirectingPath(redirect(303, "/new?x=1")));
  connectTo(server.port());

  RequestMessage message("POST", "/path?own=2", "body");
  Message& answer = perform(message.http("queryString", data_t(textMap({{"a", "1"}}))));

  EXPECT_EQ(status(answer), 200);
  EXPECT_EQ(body(answer), "done");
  EXPECT_EQ(method(answer), "GET");
  EXPECT_EQ(path(answer), "/new");
  EXPECT_EQ(overallStatus(), "ONLINE");
  const auto requests = server.waitForRequests(2);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].target, "/path?own=2&a=1");
  EXPECT_EQ(requests[1].method, "GET");
  EXPECT_EQ(requests[1].target, "/new?a=1");
  EXPECT_EQ(requests[1].body, "body") << "the payload is kept";
  EXPECT_NE(requests[1].connection, requests[0].connection);
}

TEST_F(RedirectExchangeTest, SendsTheBodyAgainWith307And308) {
  for (int code : {307, 308}) {
    ScriptedServer server(redirectingPath(redirect(code, "/new")));
    connectTo(server.port());

    Message& answer = perform(RequestMessage("PUT", "/path", "the body"));

    EXPECT_EQ(status(answer), 200);
    const auto requests = server.waitForRequests(2);
    ASSERT_EQ(requests.size(), 2u) << code;
    EXPECT_EQ(requests[1].method, "PUT");
    EXPECT_EQ(requests[1].body, "the body");
    EXPECT_EQ(requests[1].headers, requests[0].headers);
  }
}

TEST_F(RedirectExchangeTest, FollowsNineAndRefusesTheTenth) {
  ScriptedServer server(ScriptedServer::answeringAll(redirect(302, "/next")));
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Maximum redirects exceeded");
  EXPECT_EQ(server.requests().size(), 10u);
  EXPECT_EQ(overallStatus(), "ONLINE") << "a refused redirect is no failure of the server";
}

TEST_F(RedirectExchangeTest, CountsRedirectsOfEachRequestAlone) {
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      const std::string& at = request->target;
      const int step = at == "/path" ? 0 : at[1] - '0';
      connection.send(step == 9 ? kDone : redirect(302, "/" + std::to_string(step + 1)));
    }
  });
  connectTo(server.port());

  for (int i = 0; i < 2; ++i) EXPECT_EQ(status(perform(RequestMessage())), 200) << i;
}

TEST_F(RedirectExchangeTest, DeliversARedirectThatIsNotToBeFollowed) {
  settings_.followRedirects = false;
  ScriptedServer server(redirectingPath(redirect(302, "/new")));
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 302);
  EXPECT_EQ(body(answer), "moved");
  EXPECT_EQ(textAt(mapAt(mapAt(answer.metadata, "http"), "headers"), "location"), "/new");
}

TEST_F(RedirectExchangeTest, DeliversAStatusThatIsNoRedirect) {
  for (int code : {300, 304, 305, 306}) {
    ScriptedServer server(ScriptedServer::answeringAll(
        "HTTP/1.1 " + std::to_string(code) + " Odd\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n"));
    connectTo(server.port());

    EXPECT_EQ(status(perform(RequestMessage())), code);
  }
}

TEST_F(RedirectExchangeTest, RefusesAnotherServerAndUsesTheConnectionAgain) {
  ScriptedServer server(redirectingPath(redirect(302, "http://other.example/x")));
  connectTo(server.port());

  Message& refused = perform(RequestMessage());
  const std::string expected =
      "Ignored HTTP redirect: Id 7, status 302, it redirects to different host/port, from host "
      "127.0.0.1 to other.example or port " +
      std::to_string(server.port()) + " to 80";
  EXPECT_EQ(status(refused), 400);
  EXPECT_EQ(reason(refused), expected);
  EXPECT_EQ(body(refused), expected);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/other", ""))), 200);
  EXPECT_EQ(server.connectionCount(), 1u);
  EXPECT_THAT(host_.textsAt(2), ElementsAre("<category> {0} " + expected));
}

TEST_F(RedirectExchangeTest, FailsForARequestIdThatIsNoInteger) {
  ScriptedServer server(redirectingPath(redirect(302, "/new")));
  connectTo(server.port());
  RequestMessage message;

  testing::internal::CaptureStderr();
  Message& answer = perform(message.metadata("requestId", data_t("seven")));

  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(status(answer), 400);
  EXPECT_THAT(reason(answer), testing::StartsWith("Incorrect type in get (you asked for "));
  EXPECT_EQ(textAt(answer.metadata, "requestId"), "seven");
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_THAT(host_.textsAt(3),
              ElementsAre("<category> {0} Failed to perform HTTP redirect: " + reason(answer)));
}

TEST_F(RedirectExchangeTest, AnswersSuchARequestIdWithoutARedirect) {
  ScriptedServer server(ScriptedServer::answeringAll(kDone));
  connectTo(server.port());
  RequestMessage message;

  EXPECT_EQ(status(perform(message.metadata("requestId", data_t("seven")))), 200);
}

TEST_F(RedirectExchangeTest, FailsForALocationThatIsNoUri) {
  ScriptedServer server(redirectingPath(redirect(302, "http://127.0.0.1:99999/x")));
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 400);
  EXPECT_THAT(reason(answer), testing::StartsWith("Bad URI syntax: "));
  EXPECT_EQ(overallStatus(), "FAILED");
  const std::string detail = reason(answer).substr(std::string("Bad URI syntax: ").size());
  EXPECT_THAT(host_.textsAt(3),
              ElementsAre("<category> {0} Failed to perform HTTP redirect: Bad URI syntax (" +
                          detail + ")"));
}

TEST_F(RedirectExchangeTest, GivesEveryHopItsOwnRetry) {
  ScriptedServer server([](Connection& connection) {
    // The first connection of each hop is closed without an answer.
    const auto request = connection.readRequest();
    if (!request || connection.index() % 2 == 0) return;
    connection.send(request->target == "/path" ? redirect(307, "/new") : kDone);
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 200);
  EXPECT_EQ(server.connectionCount(), 4u);
}

TEST_F(RedirectExchangeTest, SaysWhatFailedBehindARedirect) {
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      if (request->target != "/path") return;
      connection.send(redirect(307, "/new"));
    }
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "No message received");
  EXPECT_EQ(path(answer), "/new");
  EXPECT_EQ(overallStatus(), "FAILED");
}

TEST_F(RedirectExchangeTest, ConnectsAgainForEveryRedirect) {
  ScriptedServer server(redirectingPath(redirect(302, "/new")));
  connectTo(server.port());

  perform(RequestMessage());

  EXPECT_THAT(host_.textsAt(4), ElementsAre("<category> {0} Connecting to http://127.0.0.1:" +
                                            std::to_string(server.port())));
}

TEST_F(RedirectExchangeTest, DoesNotPutTheBasePathInFrontAgain) {
  settings_.basePath = "/path";
  ScriptedServer server(redirectingPath(redirect(302, "/new")));
  connectTo(server.port());

  Message& answer = perform(RequestMessage("GET", "/x", ""));

  EXPECT_EQ(path(answer), "/new");
  EXPECT_EQ(server.requests().front().target, "/path/x");
}

TEST_F(RedirectExchangeTest, SendsEncodedBytesOfALocationEncoded) {
  ScriptedServer server(redirectingPath(redirect(302, "/a%3Fb%0D%0AX:%20y%20z")));
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("GET", "/path", ""))), 200);

  const auto requests = server.waitForRequests(2);
  EXPECT_EQ(requests.back().target, "/a%3Fb%0D%0AX:%20y%20z");
  EXPECT_FALSE(requests.back().has("X"));
}

TEST_F(RedirectExchangeTest, AsksAProxyForARelativeLocationBelowTheRoot) {
  ScriptedServer proxy([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      connection.send(request->target.ends_with("/path") ? redirect(302, "new") : kDone);
    }
  });
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  connectTo(8080);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/path", ""))), 200);

  EXPECT_EQ(proxy.waitForRequests(2).back().target, "http://127.0.0.1:8080/new");
}

TEST_F(RedirectExchangeTest, FailsWhenTheBodyOfARedirectIsCutShort) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send("HTTP/1.1 302 Found\r\nLocation: /new\r\nContent-Length: 9\r\n\r\nshort");
  });
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Error processing response stream: I/O error");
  EXPECT_THAT(host_.texts(), Not(Contains(testing::HasSubstr("Redirect Request"))));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
