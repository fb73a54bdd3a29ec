#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "http/exchange_fixture.h"
#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::HttpRequest;
using test_support::ScriptedServer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::string answer(const std::string& fields) {
  return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: 0\r\n\r\n";
}

/// Answers the request for each path with the fields given for it, any other with none.
ScriptedServer::Script settingAt(std::map<std::string, std::string> fieldsOf) {
  return [fieldsOf](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      const auto fields = fieldsOf.find(request->target);
      connection.send(answer(fields == fieldsOf.end() ? "" : fields->second));
    }
  };
}

class CookieExchangeTest : public ExchangeFixture {
 protected:
  /// Performs one GET for each path; returns the Cookie fields that each carried.
  std::vector<std::vector<std::string>> cookiesSent(ScriptedServer& server,
                                                    const std::vector<const char*>& paths) {
    const std::size_t before = server.requests().size();
    for (const char* path : paths) perform(RequestMessage("GET", path, ""));
    std::vector<std::vector<std::string>> fields;
    const auto requests = server.waitForRequests(before + paths.size());
    for (std::size_t i = before; i < requests.size(); ++i) {
      fields.push_back(requests[i].values("cookie"));
    }
    return fields;
  }

  static std::vector<std::pair<std::string, std::string>> reported(Message& answer) {
    std::vector<std::pair<std::string, std::string>> cookies;
    for (auto& entry : mapAt(mapAt(answer.metadata, "http"), "cookies")) {
      cookies.emplace_back(connectivity10_15_0::get<const char*>(entry.key()),
                           connectivity10_15_0::get<const char*>(entry.value()));
    }
    return cookies;
  }
};

TEST_F(CookieExchangeTest, SendsBackExactlyWhatTheServerHasSet) {
  ScriptedServer server(settingAt(
      {{"/set", "Set-Cookie: sid=a1; HttpOnly\r\nset-cookie: lang=en,fr=caf\xE9; Path=/\r\n"}}));
  connectTo(server.port());

  perform(RequestMessage("GET", "/set", ""));
  perform(RequestMessage("GET", "/next", ""));

  EXPECT_EQ(server.waitForRequests(2)[1].raw,
            "GET /next HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Cookie: sid=a1; lang=en,fr=caf\xE9\r\n"
            "Content-Length: 0\r\n"
            "Host: 127.0.0.1:" +
                std::to_string(settings_.port) + "\r\n\r\n");
}

TEST_F(CookieExchangeTest, KeepsNothingWithTheJarOff) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: sid=a1\r\n"}}));
  settings_.cookieJar = false;
  connectTo(server.port());

  Message& first = perform(RequestMessage("GET", "/set", ""));
  EXPECT_THAT(reported(first), ElementsAre(Pair("sid", "a1")));

  perform(RequestMessage("GET", "/", "").http("cookies", data_t(textMap({{"own", "1"}}))));
  perform(RequestMessage("GET", "/", ""));
  const auto requests = server.waitForRequests(3);
  EXPECT_EQ(requests[1].value("cookie"), "own=1");
  EXPECT_FALSE(requests[2].has("cookie"));
}

TEST_F(CookieExchangeTest, LetsTheMessagesCookieWinForItsOneRequest) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: sid=a1\r\nSet-Cookie: lang=en\r\n"}}));
  connectTo(server.port());

  perform(RequestMessage("GET", "/set", ""));
  perform(RequestMessage("GET", "/", "")
              .http("cookies", data_t(textMap({{"sid", "mine"}, {"zone", "utc"}}))));
  perform(RequestMessage("GET", "/", ""));

  const auto requests = server.waitForRequests(3);
  EXPECT_EQ(requests[1].value("cookie"), "sid=mine; zone=utc; lang=en");
  EXPECT_EQ(requests[2].value("cookie"), "sid=a1; lang=en");
}

TEST_F(CookieExchangeTest, SharesTheJarBetweenWorkers) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: sid=a1\r\n"}}));
  connectTo(server.port());
  HttpExchange other(context(), ThreadLogger(*log_, 1));
  Message message = RequestMessage("GET", "/other", "").build();

  perform(RequestMessage("GET", "/set", ""));
  other.mapMessageToRequest(message);

  EXPECT_EQ(server.waitForRequests(2)[1].value("cookie"), "sid=a1");
  EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(CookieExchangeTest, ForgetsACookieThatHasExpired) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: sid=a1; Max-Age=60\r\n"}}));
  connectTo(server.port());
  orvex::ManualClockForTest clock;

  perform(RequestMessage("GET", "/set", ""));
  clock.advanceMs(30'000);
  EXPECT_THAT(cookiesSent(server, {"/"}), ElementsAre(ElementsAre("sid=a1")));
  clock.advanceMs(31'000);

  EXPECT_THAT(cookiesSent(server, {"/"}), ElementsAre(IsEmpty()));
  EXPECT_EQ(jar_->sizeForTest(), 0u);
}

TEST_F(CookieExchangeTest, SendsNoCookieFieldWhenTheLastCookieIsDeleted) {
  ScriptedServer server(settingAt(
      {{"/set", "Set-Cookie: sid=a1\r\n"}, {"/delete", "Set-Cookie: sid=x; Max-Age=0\r\n"}}));
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/set", "/delete", "/"}),
              ElementsAre(IsEmpty(), ElementsAre("sid=a1"), IsEmpty()));
  EXPECT_THAT(reported(port_.responses[1]), IsEmpty());
}

TEST_F(CookieExchangeTest, ComparesACookiesPathWithTheWholePathOfTheRequest) {
  ScriptedServer server(settingAt({{"/Base/set", "Set-Cookie: sid=a1; Path=/base/API?Q\r\n"}}));
  settings_.basePath = "/Base";
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/set", "/Api?q", "/api", "/api?q=1", "/api?q/"}),
              ElementsAre(IsEmpty(), ElementsAre("sid=a1"), IsEmpty(), IsEmpty(), IsEmpty()));
  perform(RequestMessage("GET", "/api?q", "").http("queryString", data_t(textMap({{"r", "1"}}))));
  EXPECT_EQ(server.waitForRequests(6)[5].value("cookie"), "sid=a1");
}

TEST_F(CookieExchangeTest, SkipsOnlyTheCookieThatCannotBeRead) {
  ScriptedServer server(
      settingAt({{"/set",
                  "Set-Cookie: a=1\r\nSet-Cookie: b=2; Max-Age=soon\r\nSet-Cookie: =3\r\n"
                  "Set-Cookie: d=4; Partitioned\r\nSet-Cookie:\r\n"}}));
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/set", "/"}), ElementsAre(IsEmpty(), ElementsAre("a=1; d=4")));
  EXPECT_EQ(status(port_.responses[0]), 200);
}

TEST_F(CookieExchangeTest, KeepsTheLastOfSeveralCookiesOfAName) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: a=1\r\nSet-Cookie: a=2\r\n"}}));
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/set", "/"}), ElementsAre(IsEmpty(), ElementsAre("a=2")));
  EXPECT_THAT(reported(port_.responses[0]), ElementsAre(Pair("a", "1")));
}

TEST_F(CookieExchangeTest, KeepsCookiesOfErrorsToo) {
  ScriptedServer server([](Connection& connection) {
    while (connection.readRequest()) {
      connection.send("HTTP/1.1 503 Later\r\nSet-Cookie: sid=a1\r\nContent-Length: 0\r\n\r\n");
    }
  });
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/", "/"}), ElementsAre(IsEmpty(), ElementsAre("sid=a1")));
}

TEST_F(CookieExchangeTest, KeepsNoCookieOfAResponseThatIsCutShort) {
  ScriptedServer server([](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send(connection.index() == 0
                        ? "HTTP/1.1 200 OK\r\nSet-Cookie: sid=a1\r\nContent-Length: 9\r\n\r\ncut"
                        : answer(""));
  });
  connectTo(server.port());

  EXPECT_THAT(cookiesSent(server, {"/", "/"}), ElementsAre(IsEmpty(), IsEmpty()));
  EXPECT_EQ(status(port_.responses[0]), 400);
}

TEST_F(CookieExchangeTest, ChoosesCookiesAnewForARedirectAndKeepsNoneOfIt) {
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      connection.send(request->target == "/start"
                          ? "HTTP/1.1 302 Found\r\nLocation: /goal\r\nSet-Cookie: of302=1\r\n"
                            "Content-Length: 0\r\n\r\n"
                          : answer("Set-Cookie: start=1; Path=/start\r\n"
                                   "Set-Cookie: goal=2; Path=/goal\r\n"));
    }
  });
  connectTo(server.port());

  perform(RequestMessage("GET", "/set", ""));
  perform(RequestMessage("GET", "/start", "").http("cookies", data_t(textMap({{"own", "1"}}))));
  perform(RequestMessage("GET", "/next", ""));

  const auto requests = server.waitForRequests(4);
  EXPECT_EQ(requests[1].value("cookie"), "own=1; start=1");
  EXPECT_EQ(requests[2].target, "/goal");
  EXPECT_EQ(requests[2].value("cookie"), "own=1; goal=2");
  EXPECT_FALSE(requests[3].has("cookie"));
}

TEST_F(CookieExchangeTest, SendsTheSameCookiesOnceWithEachAttempt) {
  ScriptedServer server([](Connection& connection) {
    while (connection.readRequest()) {
      if (connection.index() == 1) return;
      connection.send(
          "HTTP/1.1 200 OK\r\nSet-Cookie: sid=a1\r\nConnection: close\r\n"
          "Content-Length: 0\r\n\r\n");
      if (connection.index() == 0) return;
    }
  });
  connectTo(server.port());

  perform(RequestMessage("GET", "/", ""));
  Message& retried =
      perform(RequestMessage("GET", "/", "").http("cookies", data_t(textMap({{"own", "1"}}))));

  EXPECT_EQ(status(retried), 200);
  const auto requests = server.waitForRequests(3);
  EXPECT_THAT(requests[1].values("cookie"), ElementsAre("own=1; sid=a1"));
  EXPECT_EQ(requests[2].raw, requests[1].raw);
}

TEST_F(CookieExchangeTest, LetsNoCookieEndItsLine) {
  ScriptedServer server(settingAt({{"/set",
                                    "Set-Cookie: folded=a\r\n\tX-Injected: 1\r\n"
                                    "Set-Cookie: bare=b\rX-Injected: 2\r\n"
                                    "Set-Cookie: word==?UTF-8?Q?c=0D=0AX-Injected:_3?=\r\n"}}));
  connectTo(server.port());

  perform(RequestMessage("GET", "/set", ""));
  perform(RequestMessage("GET", "/", "")
              .http("cookies", data_t(textMap({{"o\nw\rn", "d\r\nX-Injected: 4"}}))));

  const HttpRequest request = server.waitForRequests(2)[1];
  EXPECT_FALSE(request.has("x-injected"));
  EXPECT_EQ(request.value("cookie"),
            "own=dX-Injected: 4; folded=a X-Injected: 1; bare=b X-Injected: 2; "
            "word==?UTF-8?Q?c=0D=0AX-Injected:_3?=");
}

TEST_F(CookieExchangeTest, ShowsNoCookieBelowTrace) {
  ScriptedServer server(settingAt({{"/set", "Set-Cookie: sid=s3cret\r\n"}}));
  connectTo(server.port(), 5);

  cookiesSent(server, {"/set", "/"});

  for (const auto& line : host_.lines()) {
    EXPECT_EQ(line.text.find("s3cret"), std::string::npos) << line.text;
  }
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
