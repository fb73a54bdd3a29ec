// Transports that are made, fed and ended a thousand times, each ended in another state.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "races/plugin_host.h"
#include "support/loopback.h"
#include "support/scripted_server.h"

namespace races {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 150;
#else
constexpr int kRounds = 1000;
#endif

constexpr char kStartStopOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

// What stands at the other end.
enum class Peer { Answers, Closes, KeepsSilent, StopsInTheBody, NeverConnects };

// How the host ends the transport.
enum class Ending { Shutdown, HostGoesDown, HostGoesDownMeanwhile, Destruction };

// When it does.
enum class Moment { BeforeStart, AtOnce, InFlight, WhileDelivering };

struct Plan {
  Peer peer;
  Ending ending;
  Moment moment;
  bool tls;
  std::int64_t clients;
  std::int64_t requests;

  bool isAnswered() const { return peer == Peer::Answers || peer == Peer::Closes; }

  // Whether the transport waits for the answers to all that was delivered.
  bool drains() const { return moment != Moment::BeforeStart && ending == Ending::Shutdown; }
};

std::string textOf(const Plan& plan) {
  return "peer " + std::to_string(static_cast<int>(plan.peer)) + ", ending " +
         std::to_string(static_cast<int>(plan.ending)) + ", moment " +
         std::to_string(static_cast<int>(plan.moment)) + ", tls " + std::to_string(plan.tls) +
         ", clients " + std::to_string(plan.clients) + ", requests " +
         std::to_string(plan.requests);
}

Plan planOf(int round) {
  std::mt19937 random(static_cast<unsigned>(round));
  const auto below = [&](int count) { return static_cast<int>(random() % unsigned(count)); };
  Plan plan{static_cast<Peer>(below(5)),
            static_cast<Ending>(below(4)),
            static_cast<Moment>(below(4)),
            below(4) == 0,
            1 + below(6),
            below(30)};
  // Nobody ends these but a host that goes down, or the destruction.
  if (!plan.isAnswered() && plan.ending != Ending::HostGoesDown) plan.ending = Ending::Destruction;
  if (plan.peer == Peer::NeverConnects) plan.tls = false;
  return plan;
}

ScriptedServer::Script scriptOf(Peer peer) {
  return [peer](Connection& connection) {
    while (connection.readRequest()) {
      if (peer == Peer::KeepsSilent) return connection.waitUntilClosed();
      if (peer == Peer::StopsInTheBody) {
        connection.trySend("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
        return connection.waitUntilClosed();
      }
      if (!connection.trySend(kStartStopOk) || peer == Peer::Closes) return;
    }
  };
}

class StartStopTest : public testing::Test {
 protected:
  StartStopTest() { withoutPlatformAuthorities(); }

  /// One transport from its creation to its destruction.
  void run(int round) {
    const Plan plan = planOf(round);
    SCOPED_TRACE("round " + std::to_string(round) + ": " + textOf(plan));
    handled_.clear();
    std::unique_ptr<ScriptedServer> server;
    if (plan.peer != Peer::NeverConnects) server = serverOf(plan);
    const std::uint16_t port = server ? server->port() : unanswering_.port();
    transports_.push_back(std::make_unique<HostedTransport>(
        library_, plan.tls ? tlsSettingsFor(port, plan.clients, authority_.certificateFile())
                           : settingsFor(port, plan.clients)));
    HostedTransport& transport = *transports_.back();
    perform(plan, transport, server.get());
    transport.destroy();
    answersAtDestruction_.push_back(transport.answers().count());
    check(plan, transport.answers());
  }

  void expectNothingAfterDestruction() const {
    for (std::size_t i = 0; i < transports_.size(); ++i) {
      EXPECT_EQ(transports_[i]->answers().count(), answersAtDestruction_[i]) << "round " << i;
    }
  }

 private:
  std::unique_ptr<ScriptedServer> serverOf(const Plan& plan) const {
    if (!plan.tls) return std::make_unique<ScriptedServer>(scriptOf(plan.peer));
    return std::make_unique<ScriptedServer>(identity_, scriptOf(plan.peer));
  }

  static void perform(const Plan& plan, HostedTransport& transport, ScriptedServer* server) {
    const auto deliver = [&] {
      for (std::int64_t id = 0; id < plan.requests; ++id) {
        transport.send(id, "/" + std::to_string(id));
      }
    };
    if (plan.moment == Moment::BeforeStart) {
      deliver();
      return end(plan, transport);
    }
    transport.start();
    if (plan.moment == Moment::WhileDelivering) {
      std::thread delivering(deliver);
      // The destruction must not meet a delivery that begins.
      if (plan.ending == Ending::Destruction) delivering.join();
      end(plan, transport);
      if (delivering.joinable()) delivering.join();
      return;
    }
    deliver();
    if (plan.moment == Moment::InFlight && server != nullptr && plan.requests > 0) {
      server->waitForRequests(1);
    }
    end(plan, transport);
  }

  static void end(const Plan& plan, HostedTransport& transport) {
    if (plan.ending == Ending::Destruction) return;
    if (plan.ending == Ending::HostGoesDown) transport.goDown();
    std::thread host([&] {
      if (plan.ending == Ending::HostGoesDownMeanwhile) transport.goDown();
    });
    transport.shutdown();
    host.join();
  }

  void check(const Plan& plan, const Answers& answers) const {
    std::multiset<std::string> answered;
    for (const auto& answer : answers.all()) {
      answered.insert("/" + std::to_string(answer.requestId));
      if (plan.drains() && plan.peer == Peer::Answers) {
        EXPECT_EQ(answer.status, 200) << answer.reason;
      }
    }
    EXPECT_EQ(answered, handled_.all());
    const std::set<std::string> different(answered.begin(), answered.end());
    EXPECT_EQ(different.size(), answered.size()) << "answered twice";
    if (plan.moment == Moment::BeforeStart) {
      EXPECT_EQ(answered.size(), 0u);
    }
    if (plan.drains() && plan.moment != Moment::WhileDelivering) {
      EXPECT_EQ(answered.size(), static_cast<std::size_t>(plan.requests));
    }
  }

  const test_support::TempDir dir_;
  test_support::CertificateAuthority authority_{dir_};
  const test_support::TlsIdentity identity_ = authority_.issue();
  const test_support::PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  HandledRequests handled_;
  const test_support::UnansweringPort unanswering_;
  std::vector<std::unique_ptr<HostedTransport>> transports_;  // all, for what might come late
  std::vector<std::size_t> answersAtDestruction_;
};

TEST_F(StartStopTest, AnswersWhatReachedAWorkerOnceAndLeavesNothing) {
  run(0);  // opens what stays open
  const std::size_t descriptorsBefore = openDescriptors();
  const std::size_t threadsBefore = threads();

  for (int round = 1; round <= roundsOr(kRounds) && !HasFailure(); ++round) run(round);

  expectNothingAfterDestruction();
  waitForThreads(threadsBefore);
  EXPECT_EQ(openDescriptors(), descriptorsBefore);
}

}  // namespace
}  // namespace races
