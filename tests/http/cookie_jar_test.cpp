#include "http/cookie_jar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CookieJarTest : public testing::Test {
 protected:
  static void set(CookieJar& jar, const char* field) {
    const auto cookie = SetCookie::parse(field);
    ASSERT_TRUE(cookie) << field;
    jar.update(*cookie);
  }
  void set(const char* field) { set(jar_, field); }

  static std::vector<std::string> sentBy(CookieJar& jar, const TextMap& own = {},
                                         const char* path = "/") {
    std::vector<std::string> texts;
    for (const auto& [name, value] : jar.requestCookies(own, path)) {
      texts.push_back(name + "=" + value);
    }
    return texts;
  }
  std::vector<std::string> sent(const char* path = "/") { return sentBy(jar_, {}, path); }

  void passSeconds(std::int64_t seconds) { clock_.advanceMs(seconds * 1000); }

  orvex::ManualClockForTest clock_{1'000'000'000};
  CookieJar jar_{true};
};

TEST_F(CookieJarTest, IsEmptyAtFirst) { EXPECT_THAT(sent(), IsEmpty()); }

TEST_F(CookieJarTest, SendsACookieBack) {
  set("sid=a1");

  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
}

TEST_F(CookieJarTest, StoresNothingWhenItIsOff) {
  CookieJar off(false);
  TextMap own;
  own.insert("a", "1");

  set(off, "sid=a1");

  EXPECT_THAT(sentBy(off, own), ElementsAre("a=1"));
  EXPECT_EQ(off.sizeForTest(), 0u);
}

TEST_F(CookieJarTest, KeepsACookieForItsLifetime) {
  set("sid=a1; Max-Age=60");

  passSeconds(30);
  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
  passSeconds(30);
  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
  clock_.advanceNanos(1);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(CookieJarTest, RemovesAnExpiredCookie) {
  set("first=1; Max-Age=60; Path=/elsewhere");
  set("second=2");
  set("third=3; Max-Age=60");

  passSeconds(61);

  EXPECT_THAT(sent(), ElementsAre("second=2"));
  EXPECT_EQ(jar_.sizeForTest(), 1u);
}

TEST_F(CookieJarTest, RemovesAnExpiredCookieThatTheMessageHasToo) {
  TextMap own;
  own.insert("sid", "mine");
  set("sid=a1; Max-Age=60");

  passSeconds(61);

  EXPECT_THAT(sentBy(jar_, own), ElementsAre("sid=mine"));
  EXPECT_EQ(jar_.sizeForTest(), 0u);
}

TEST_F(CookieJarTest, GivesARenewedCookieItsNewLifetime) {
  set("sid=a1; Max-Age=60");
  passSeconds(50);
  set("sid=a2; Max-Age=60");

  passSeconds(50);

  EXPECT_THAT(sent(), ElementsAre("sid=a2"));
}

TEST_F(CookieJarTest, KeepsASessionCookieWithoutLimit) {
  set("sid=a1");

  passSeconds(10LL * 365 * 24 * 3600);

  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
}

TEST_F(CookieJarTest, KeepsACookieOfTheLongestLifetime) {
  SetCookie cookie{"sid", "a1", "", std::numeric_limits<int>::max()};
  jar_.update(cookie);

  passSeconds(std::numeric_limits<int>::max());
  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
  passSeconds(1);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(CookieJarTest, IsNotMovedByTheSystemsTime) {
  set("sid=a1; Max-Age=60");

  clock_.setSysTime(4'000'000'000'000);

  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
}

TEST_F(CookieJarTest, ForgetsWhatTheServerDeletes) {
  for (const char* deletion : {"sid=; Max-Age=0", "sid=x; Max-Age=-2"}) {
    set("sid=a1");
    set("other=b");

    set(deletion);

    EXPECT_THAT(sent(), ElementsAre("other=b")) << deletion;
  }
}

TEST_F(CookieJarTest, TakesTheDeletionOfAnUnknownCookieForNothing) {
  set("sid=a1");

  set("other=; Max-Age=0");

  EXPECT_THAT(sent(), ElementsAre("sid=a1"));
}

TEST_F(CookieJarTest, SendsCookiesInTheOrderOfStoring) {
  for (const char* field : {"c=1", "a=2", "d=3", "b=4"}) set(field);

  EXPECT_THAT(sent(), ElementsAre("c=1", "a=2", "d=3", "b=4"));
}

TEST_F(CookieJarTest, MovesAReplacedCookieToTheEnd) {
  for (const char* field : {"a=1", "b=2", "c=3", "a=4"}) set(field);

  EXPECT_THAT(sent(), ElementsAre("b=2", "c=3", "a=4"));
}

TEST_F(CookieJarTest, HoldsOneCookieOfANameWhateverItsPathAndDomain) {
  set("sid=1; Path=/a; Domain=a.example");
  set("sid=2; Path=/b; Domain=b.example");

  EXPECT_THAT(sent("/a"), IsEmpty());
  EXPECT_THAT(sent("/b"), ElementsAre("sid=2"));
  EXPECT_EQ(jar_.sizeForTest(), 1u);
}

TEST_F(CookieJarTest, TellsNamesApartByTheirCase) {
  set("sid=1");
  set("SID=2");
  set("sid=3");
  set("Sid=; Max-Age=0");

  EXPECT_THAT(sent(), ElementsAre("SID=2", "sid=3"));
}

TEST_F(CookieJarTest, LetsTheMessagesCookieWin) {
  TextMap own;
  own.insert("z", "9");
  own.insert("sid", "mine");
  set("sid=a1");
  set("lang=en");

  EXPECT_THAT(sentBy(jar_, own), ElementsAre("sid=mine", "z=9", "lang=en"));
  EXPECT_THAT(sent(), ElementsAre("sid=a1", "lang=en"));
}

TEST_F(CookieJarTest, LetsTheMessagesCookieWinOnlyOverThatVeryName) {
  TextMap own;
  own.insert("SID", "mine");
  set("sid=a1");

  EXPECT_THAT(sentBy(jar_, own), ElementsAre("SID=mine", "sid=a1"));
}

TEST_F(CookieJarTest, SendsACookieWithoutAPathEverywhere) {
  set("a=1");
  set("b=2; Path=");
  set("c=3; Path=/");

  for (const char* path : {"/", "/api", "/api/v1?q", ""}) {
    EXPECT_THAT(sent(path), ElementsAre("a=1", "b=2", "c=3")) << path;
  }
}

TEST_F(CookieJarTest, SendsACookieWithAPathToThatWholePathAlone) {
  set("sid=a1; Path=/Api");

  for (const char* path : {"/api", "/API", "/Api"}) {
    EXPECT_THAT(sent(path), ElementsAre("sid=a1")) << path;
  }
  for (const char* path : {"/", "/api/", "/api/v1", "/api?q", "/ap", "api", ""}) {
    EXPECT_THAT(sent(path), IsEmpty()) << path;
  }
}

TEST_F(CookieJarTest, ComparesOnlyLettersOfAsciiWithoutCase) {
  set("sid=a1; Path=/\xC3\x84/[");

  EXPECT_THAT(sent("/\xC3\x84/["), ElementsAre("sid=a1"));
  EXPECT_THAT(sent("/\xC3\xA4/["), IsEmpty());
  EXPECT_THAT(sent("/\xC3\x84/{"), IsEmpty());
}

TEST_F(CookieJarTest, HoldsMoreCookiesThanItHasRoomForAtFirst) {
  for (int i = 0; i < 1000; ++i) set(("c" + std::to_string(i) + "=1").c_str());
  for (int i = 0; i < 1000; i += 2) set(("c" + std::to_string(i) + "=; Max-Age=0").c_str());
  for (int i = 999; i > 0; i -= 2) set(("c" + std::to_string(i) + "=2").c_str());

  std::vector<std::string> expected;
  for (int i = 999; i > 0; i -= 2) expected.push_back("c" + std::to_string(i) + "=2");
  EXPECT_EQ(sent(), expected);
}

class CookieJarThreadsTest : public CookieJarTest {};

// Every thread renews a cookie of its own and one that all share, and lets another one expire.
TEST_F(CookieJarThreadsTest, NeverMissesACookieThatIsRenewed) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::atomic<int> missed = 0;
  set("shared=0");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread, &missed] {
      const std::string own = "own" + std::to_string(thread);
      for (int round = 0; round < kRounds; ++round) {
        jar_.update({own, std::to_string(round), "", -1});
        jar_.update({"shared", own, "", -1});
        jar_.update({"brief", own, "", 1});
        clock_.advanceMs(700);
        const auto cookies = jar_.requestCookies({}, "/");
        if (cookies.get(own, "") != std::to_string(round)) ++missed;
        if (!cookies.has("shared")) ++missed;
      }
      jar_.update({own, "", "", 0});
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(missed, 0);
  clock_.advanceMs(2000);
  EXPECT_EQ(sent().size(), 1u);
  EXPECT_EQ(jar_.sizeForTest(), 1u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
