// What the plugin does when its host leaves, or unloads it, with requests in flight.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "support/certificates.h"
#include "support/process.h"
#include "support/scripted_server.h"

namespace {

using test_support::Connection;
using test_support::Process;
using test_support::ScriptedServer;
using test_support::TempDir;

constexpr std::size_t kRequests = 8;

// Reads a request and never answers it.
void keepWaiting(Connection& connection) {
  if (connection.readRequest()) connection.waitUntilClosed();
}

// Answers every request; the host may leave in the middle of it.
void answerAll(Connection& connection) {
  while (connection.readRequest() &&
         connection.trySend("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok")) {
  }
}

// What makes the host take its next step.
class Steps {
 public:
  Steps() {
    if (::pipe2(ends_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Steps() {
    for (const int end : ends_) ::close(end);
  }
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;

  int hostsEnd() const { return ends_[0]; }
  void next() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }

 private:
  int ends_[2];
};

class CarelessHostTest : public testing::Test {
 protected:
  std::unique_ptr<Process> startHost(const ScriptedServer& server, const char* authorityFile,
                                     const char* ending) {
    Process::Options options;
    options.descriptors = {steps_.hostsEnd()};
    options.environment["ASAN_OPTIONS"] = "detect_leaks=0";  // it leaves everything behind
    options.environment["TSAN_OPTIONS"] = "halt_on_error=1:report_thread_leaks=0";
    return std::make_unique<Process>(
        std::vector<std::string>{CARELESS_HOST, std::to_string(server.port()), authorityFile,
                                 ending},
        options);
  }

  const Steps steps_;
};

TEST_F(CarelessHostTest, HearsNothingMoreOnceItExits) {
  ScriptedServer server(keepWaiting);
  const auto host = startHost(server, "", "exit");
  server.waitForRequests(kRequests);

  steps_.next();

  EXPECT_EQ(host->wait(), 0);
}

TEST_F(CarelessHostTest, ExitsInPeaceWhileRequestsAreAnswered) {
  for (int round = 0; round < 20; ++round) {
    ScriptedServer server(answerAll);
    const auto host = startHost(server, "", "busy");

    steps_.next();

    ASSERT_EQ(host->wait(), 0) << "round " << round;
  }
}

TEST_F(CarelessHostTest, ExitsInPeaceWhileTlsRequestsAreAnswered) {
  TempDir dir;
  test_support::CertificateAuthority authority(dir);
  const auto identity = authority.issue();
  for (int round = 0; round < 10; ++round) {
    ScriptedServer server(identity, answerAll);
    const auto host = startHost(server, authority.certificateFile().c_str(), "busy");

    steps_.next();

    ASSERT_EQ(host->wait(), 0) << "round " << round;
  }
}

TEST_F(CarelessHostTest, HasNoWorkersLeftOnceItHasUnloadedThePlugin) {
  ScriptedServer server(keepWaiting);
  const auto host = startHost(server, "", "unload");
  server.waitForRequests(kRequests);

  steps_.next();
  server.waitForFinishedConnections(kRequests);
  steps_.next();

  EXPECT_EQ(host->wait(), 0);
}

}  // namespace
