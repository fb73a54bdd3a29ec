// Heads that are large, and taken whole.
#include <gmock/gmock.h>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::FaultServer;
using testing::ElementsAre;
using testing::IsEmpty;

class HeaderLimitTest : public FaultFixture {
 protected:
  /// The answer to one request from a server that sends these fields besides its length.
  Answer answerWith(const std::string& fields) {
    FaultServer server({{"HTTP/1.1 200 OK\r\n" + fields + "Content-Length: 2\r\n\r\nok"}});
    create(server.server().port());
    Answer answer = perform(RequestMessage("GET", "/", ""));
    EXPECT_EQ(answer.payload, "ok");
    lines_ = lines();
    EXPECT_EQ(perform(RequestMessage("GET", FaultServer::kNextPath, "")).payload, "next");
    EXPECT_EQ(server.server().connectionCount(), 1u);
    end();
    return answer;
  }

  std::vector<std::string> lines_;
};

TEST_F(HeaderLimitTest, TakesAThousandFields) {
  std::string fields;
  for (int i = 1; i < 1000; ++i) fields += "X-" + std::to_string(i) + ": y\r\n";

  EXPECT_EQ(answerWith(fields).headers.size(), 1000u);
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(HeaderLimitTest, TakesLongValuesAndNames) {
  const std::string value(8193, 'v');
  const std::string name(257, 'n');
  const std::string longest(64 * 1024 - 3, 'w');

  const Answer answer = answerWith("X: " + value + "\r\n" + name + ": y\r\nZ: " + longest + "\r\n");

  EXPECT_EQ(answer.headers.at("x"), value);
  EXPECT_EQ(answer.headers.at(name), "y");
  EXPECT_EQ(answer.headers.at("z"), longest);
}

TEST_F(HeaderLimitTest, DeliversNoneOfAFieldThatComesTwice) {
  const Answer answer = answerWith("Via: a\r\nX: y\r\nVIA: b\r\n");

  EXPECT_THAT(answer.headers,
              ElementsAre(testing::Pair("content-length", "2"), testing::Pair("x", "y")));
  EXPECT_THAT(lines_, ElementsAre("DEBUG Ignoring HTTP header via because it's duplicated in the "
                                  "message"));
}

TEST_F(HeaderLimitTest, DeliversValuesAsTheyAre) {
  const Answer answer =
      answerWith("X: =?UTF-8?B?DQo=?=\r\nY: caf\xE9 \xFF\r\nZ: one\r\n two\r\nEmpty:\r\n");

  EXPECT_EQ(answer.headers.at("x"), "=?UTF-8?B?DQo=?=");
  EXPECT_EQ(answer.headers.at("y"), "caf\xC3\xA9 \xC3\xBF");
  EXPECT_EQ(answer.headers.at("z"), "one two");
  EXPECT_EQ(answer.headers.at("empty"), "");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
