#include "http/set_cookie.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

TEST(SetCookieTest, ReadsNameValueAndPath) {
  const auto cookie = SetCookie::parse("sid=a1; Path=/Api; HttpOnly; Secure");

  ASSERT_TRUE(cookie);
  EXPECT_EQ(cookie->name, "sid");
  EXPECT_EQ(cookie->value, "a1");
  EXPECT_EQ(cookie->path, "/Api");
  EXPECT_TRUE(cookie->isSession());
}

TEST(SetCookieTest, ReadsALifetime) {
  EXPECT_EQ(SetCookie::parse("a=b; max-age=60")->maxAgeSeconds, 60);
  EXPECT_TRUE(SetCookie::parse("a=b; Max-Age=0")->isDeletion());
  EXPECT_TRUE(SetCookie::parse("a=b; Max-Age=-5")->isDeletion());
  EXPECT_TRUE(SetCookie::parse("a=b; Max-Age=-1")->isSession());
}

TEST(SetCookieTest, TakesAnExpiryInThePastForADeletion) {
  EXPECT_TRUE(SetCookie::parse("a=b; Expires=Thu, 01 Jan 1970 00:00:00 GMT")->isDeletion());
}

TEST(SetCookieTest, ClampsALifetimeBeyondItsRange) {
  EXPECT_EQ(SetCookie::parse("a=b; Max-Age=99999999999")->maxAgeSeconds, 2147483647);
  EXPECT_EQ(SetCookie::parse("a=b; Expires=Fri, 31 Dec 9999 23:59:59 GMT")->maxAgeSeconds,
            2147483647);
}

TEST(SetCookieTest, TakesTheLastOfSeveralLifetimesAndPaths) {
  const std::string past = "Expires=Thu, 01 Jan 1970 00:00:00 GMT";

  EXPECT_EQ(SetCookie::parse("a=b; " + past + "; Max-Age=7")->maxAgeSeconds, 7);
  EXPECT_TRUE(SetCookie::parse("a=b; Max-Age=7; " + past)->isDeletion());
  EXPECT_EQ(SetCookie::parse("a=b; Max-Age=7; max-age=8")->maxAgeSeconds, 8);
  EXPECT_EQ(SetCookie::parse("a=b; path=/x; PATH=/y")->path, "/y");
}

TEST(SetCookieTest, CountsTheSecondsUntilAnExpiry) {
  const orvex::ManualClockForTest clock(0, 1'600'000'000'000);  // 2020-09-13 12:26:40

  for (const char* date : {"Sun, 13 Sep 2020 12:27:40 GMT", "Sunday, 13-Sep-20 12:27:40 GMT",
                           "Sun Sep 13 12:27:40 2020", "\"Sun, 13 Sep 2020 12:27:40 GMT\""}) {
    const auto cookie = SetCookie::parse(std::string("a=b; expires=") + date);
    ASSERT_TRUE(cookie) << date;
    EXPECT_EQ(cookie->maxAgeSeconds, 60) << date;
  }
  // One second ago is no session cookie, whose lifetime is written as -1.
  EXPECT_TRUE(SetCookie::parse("a=b; Expires=Sun, 13 Sep 2020 12:26:39 GMT")->isDeletion());
}

TEST(SetCookieTest, KeepsTheBytesOfNamesAndValues) {
  EXPECT_EQ(SetCookie::parse("a=b=c==; Path=/")->value, "b=c==");
  EXPECT_EQ(SetCookie::parse("a=caf\xE9\xFF%20,'x  y'")->value, "caf\xE9\xFF%20,'x  y'");
  EXPECT_EQ(SetCookie::parse("caf\xE9=x")->name, "caf\xE9");
  EXPECT_EQ(SetCookie::parse(" a\t= b ")->name, "a");
  EXPECT_EQ(SetCookie::parse(" a\t= b ")->value, "b");
  EXPECT_EQ(SetCookie::parse("a")->value, "");
  EXPECT_EQ(SetCookie::parse("a=; Path=/x")->value, "");
}

TEST(SetCookieTest, TakesQuotingOutOfAValue) {
  EXPECT_EQ(SetCookie::parse("a=\"b c\"; Path=\"/x\"")->value, "b c");
  EXPECT_EQ(SetCookie::parse("a=\"b c\"; Path=\"/x\"")->path, "/x");
  EXPECT_EQ(SetCookie::parse("a=\"b;\\\"c\"")->value, "b;\"c");
  EXPECT_EQ(SetCookie::parse("a=b; x=\"y; Max-Age=0\"")->maxAgeSeconds, -1);
}

TEST(SetCookieTest, PassesOverUnknownAttributes) {
  const auto cookie = SetCookie::parse("a=b; Partitioned; Foo=bar");

  ASSERT_TRUE(cookie);
  EXPECT_EQ(cookie->name, "a");
  EXPECT_EQ(cookie->value, "b");
}

TEST(SetCookieTest, TakesACookieThatBearsAnAttributesName) {
  const auto cookie = SetCookie::parse("path=x; Path=/y");

  ASSERT_TRUE(cookie);
  EXPECT_EQ(cookie->name, "path");
  EXPECT_EQ(cookie->value, "x");
  EXPECT_EQ(cookie->path, "/y");
}

TEST(SetCookieTest, GivesNothingForWhatIsNoCookie) {
  EXPECT_FALSE(SetCookie::parse(""));
  EXPECT_FALSE(SetCookie::parse(" ;; "));
  EXPECT_FALSE(SetCookie::parse("=value"));
  EXPECT_FALSE(SetCookie::parse("\v=value; Path=/x"));
  EXPECT_FALSE(SetCookie::parse("a=b; Max-Age"));
  EXPECT_FALSE(SetCookie::parse("a=b; Max-Age=1.5"));
  EXPECT_FALSE(SetCookie::parse("a=b; Max-Age=soon; Max-Age=5"));
  EXPECT_FALSE(SetCookie::parse("a=b; Max-Age=soon"));
  EXPECT_FALSE(SetCookie::parse("a=b; Expires=whenever"));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
