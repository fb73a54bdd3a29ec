// The connection goes away while a large body is on its way.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;

// More than the system buffers between the two.
constexpr std::size_t kLarge = 16 * 1024 * 1024;

struct UploadLoss {
  std::string name;
  std::size_t taken;  // bytes of the body that the server takes at least
  Then then;
  bool drains;  // whether it takes the rest after its own end
  Outcome outcome;

  friend void PrintTo(const UploadLoss& loss, std::ostream* out) { *out << loss.name; }
};

void takeBody(Connection& connection, std::size_t bytesMin) {
  std::size_t bytes = 0;
  while (bytes < bytesMin) {
    const std::size_t count = connection.readSome().size();
    if (count == 0) return;
    bytes += count;
  }
}

class UploadLossTest : public FaultFixture,
                       public testing::WithParamInterface<std::tuple<UploadLoss, Wire>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<ParamType>& info) {
    const auto& [loss, wire] = info.param;
    return loss.name + nameOfWire(wire);
  }
};

TEST_P(UploadLossTest, FailsAfterOneRetry) {
  const auto& [loss, wire] = GetParam();
  const auto script = [&loss = loss](Connection& connection) {
    while (const auto head = connection.readHead()) {
      if (head->target.ends_with(FaultServer::kNextPath)) {
        connection.send(FaultServer::nextAnswer());
        continue;
      }
      takeBody(connection, loss.taken);
      if (loss.drains) {
        connection.finish();
        connection.waitUntilClosed();
        return;
      }
      carryOut(loss.then, connection);
      return;
    }
  };
  const auto server = serverOver<ScriptedServer>(wire, script);
  create(server->port());

  expectOutcome(perform(RequestMessage("POST", "/fault", std::string(kLarge, 'x'))), loss.outcome);
  EXPECT_EQ(server->connectionCount(), loss.outcome.attempts);

  expectNextSucceeds();
  EXPECT_EQ(server->connectionCount(), loss.outcome.attempts + 1);
  end();
}

const Outcome kUploadLossBroken = failedTwice(kIo, "I/O error", "Broken pipe");
const Outcome kWasReset = failedTwice(kIo, kReset);

const std::vector<UploadLoss> kLosses = {
    {"ResetBehindTheHead", 0, Then::Reset, false, kWasReset},
    {"ClosedBehindTheHead", 0, Then::Close, false, kUploadLossBroken},
    {"ResetInTheBody", 1024 * 1024, Then::Reset, false, kWasReset},
    {"ClosedInTheBody", 1024 * 1024, Then::Close, false, kUploadLossBroken},
    {"EndedBehindTheHead", 0, Then::Close, true, failedTwice(kNoMessage, kNothingCame)},
};

INSTANTIATE_TEST_SUITE_P(Faults, UploadLossTest,
                         testing::Combine(testing::ValuesIn(kLosses), overAllWires()),
                         UploadLossTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
