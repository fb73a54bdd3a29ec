#include "http/set_cookie.h"

#include <gtest/gtest.h>

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

TEST(SetCookieTest, PrefersMaxAgeOverExpires) {
  EXPECT_EQ(
      SetCookie::parse("a=b; Max-Age=7; Expires=Thu, 01 Jan 1970 00:00:00 GMT")->maxAgeSeconds, 7);
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
  EXPECT_FALSE(SetCookie::parse("=value"));
  EXPECT_FALSE(SetCookie::parse("a=b; Max-Age=soon"));
  EXPECT_FALSE(SetCookie::parse("a=b; Expires=whenever"));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
