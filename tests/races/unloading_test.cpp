// What the plugin leaves behind in a host that loads and unloads it again and again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "support/certificates.h"
#include "support/process.h"
#include "support/scripted_server.h"

namespace {

using test_support::Process;
using test_support::ScriptedServer;
using test_support::TempDir;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 40;
#else
constexpr int kRounds = 1000;
#endif

// How many times the plugin is loaded; another number from the environment for longer runs by hand.
int rounds() {
  const char* const wanted = std::getenv("RACES_ROUNDS");
  return wanted == nullptr ? kRounds : std::atoi(wanted);
}

struct Holding {
  std::int64_t before = 0;
  std::int64_t after = 0;

  std::int64_t growth() const { return after - before; }
};
using Holdings = std::map<std::string, Holding>;

class UnloadingTest : public testing::Test {
 protected:
  Holdings runHost(std::uint16_t plainPort, std::uint16_t tlsPort) const {
    Process::Options options;
    options.outputFile = dir_.file("holdings");
    options.errorFile = dir_.file("errors");
    // The platform's authorities would take most of the time, and memory that differs by platform.
    options.environment = {{"SSL_CERT_FILE", "/nonexistent"}, {"SSL_CERT_DIR", "/nonexistent"}};
    // What other libraries leave behind is counted here, and has no names once they are unloaded.
    options.environment["ASAN_OPTIONS"] = "detect_leaks=0";
    Process host({UNLOADING_HOST, std::to_string(plainPort), std::to_string(tlsPort),
                  authority_.certificateFile(), std::to_string(rounds())},
                 options);
    EXPECT_EQ(host.wait(), 0) << test_support::readFile(options.errorFile);
    return readHoldings(options.outputFile);
  }

  const TempDir dir_;
  test_support::CertificateAuthority authority_{dir_};
  const ScriptedServer::Script answerAll_ = ScriptedServer::answeringAll(
      "HTTP/1.1 200 OK\r\nSet-Cookie: a=b\r\nContent-Length: 2\r\n\r\nok");

 private:
  Holdings readHoldings(const std::string& file) const {
    Holdings holdings;
    std::istringstream lines(test_support::readFile(file));
    std::string name;
    Holding holding;
    while (lines >> name >> holding.before >> holding.after) {
      holdings[name] = holding;
      RecordProperty(name, std::to_string(holding.before) + " to " + std::to_string(holding.after));
    }
    return holdings;
  }
};

TEST_F(UnloadingTest, LeavesNothingBehind) {
  const ScriptedServer plain(answerAll_);

  Holdings holdings = runHost(plain.port(), 0);

  ASSERT_EQ(holdings.size(), 4u);
  EXPECT_EQ(holdings["descriptors"].growth(), 0);
  EXPECT_EQ(holdings["threads"].growth(), 0);
  // What the system's loader keeps itself.
  EXPECT_LE(holdings["heapBytes"].growth(), 64 * rounds());
}

// The libraries for TLS and for character sets leave something behind each time that they are
// unloaded with the plugin; what it is must stay small.
TEST_F(UnloadingTest, LeavesTheHostsOwnTlsAlone) {
  const ScriptedServer plain(answerAll_);
  const ScriptedServer tls(authority_.issue(), answerAll_);

  Holdings holdings = runHost(plain.port(), tls.port());

  ASSERT_EQ(holdings.size(), 4u);
  EXPECT_EQ(holdings["descriptors"].growth(), 0);
  EXPECT_EQ(holdings["threads"].growth(), 0);
  EXPECT_LE(holdings["heapBytes"].growth(), 512 * rounds());
  const auto requests = tls.requests();
  const auto own = std::count_if(requests.begin(), requests.end(),
                                 [](const auto& request) { return request.target == "/own"; });
  EXPECT_EQ(own, rounds() + 1);
  EXPECT_EQ(requests.size() - static_cast<std::size_t>(own),
            static_cast<std::size_t>(rounds() / 4 * 4));
}

}  // namespace
