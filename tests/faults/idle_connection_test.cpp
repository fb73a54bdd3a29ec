// A connection that is kept between two requests goes away in the meantime.
#include <gmock/gmock.h>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::FaultServer;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kFirst[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfirst";
constexpr char kSecond[] = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nsecond";

class IdleConnectionTest : public WireTest {
 protected:
  /// Performs a request after which the connection is kept, waits until the server has ended it
  /// in that way, and performs another one, whose answer is returned.
  Answer performAfter(Then end) {
    const std::vector<Step> steps = {{kFirst, end}, {kSecond}};
    server_ = serverOver<FaultServer>(GetParam(), steps);
    create(server_->server().port());
    EXPECT_EQ(perform(RequestMessage("GET", "/", "")).payload, "first");
    server_->server().waitForFinishedConnections(1);
    return perform(RequestMessage("POST", "/", "body"));
  }

  void TearDown() override {
    FaultFixture::TearDown();
    server_.reset();
  }

  std::unique_ptr<FaultServer> server_;
};

TEST_P(IdleConnectionTest, CostsOneRetryWhenTheServerHasClosedIt) {
  const Answer answer = performAfter(Then::Close);

  EXPECT_EQ(answer.payload, "second");
  EXPECT_THAT(lines(), ElementsAre(retryLine(kNoMessage, kNothingCame)));
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_EQ(server_->server().connectionCount(), 2u);
  EXPECT_EQ(server_->server().requests().size(), 2u);
}

TEST_P(IdleConnectionTest, IsReplacedSilentlyWhenItWasReset) {
  const Answer answer = performAfter(Then::Reset);

  EXPECT_EQ(answer.payload, "second");
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_EQ(server_->server().connectionCount(), 2u);
  EXPECT_EQ(server_->server().requests().size(), 2u);
}

TEST_P(IdleConnectionTest, CostsOneRetryWhenItWasCut) {
  const Answer answer = performAfter(Then::Cut);

  EXPECT_EQ(answer.payload, "second");
  EXPECT_THAT(lines(), ElementsAre(isTls(GetParam()) ? retryLine(kIo, kSsl, kCutTls)
                                                     : retryLine(kNoMessage, kNothingCame)));
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_EQ(server_->server().connectionCount(), 2u);
  EXPECT_EQ(server_->server().requests().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Faults, IdleConnectionTest, overAllWires(), WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
