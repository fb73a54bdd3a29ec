#include "faults/fault_test.h"

#include <utility>

namespace com::corvane::connectivity::plugins {

using test_support::FaultServer;

std::string FaultTest::nameOf(const testing::TestParamInfo<std::tuple<Fault, Wire>>& info) {
  const auto& [fault, wire] = info.param;
  return fault.name + nameOfWire(wire);
}

// Every request came by the wire that was meant, and none but the last was for the next path.
void FaultTest::expectRequests(const test_support::ScriptedServer& server, std::size_t attempts) {
  std::vector<std::string> expected(attempts, targetOf("/fault"));
  expected.push_back(targetOf(FaultServer::kNextPath));
  std::vector<std::string> targets;
  for (const auto& request : server.requests()) targets.push_back(request.target);
  EXPECT_EQ(targets, expected);

  const bool tunnelled = std::get<Wire>(GetParam()) == Wire::OverTunnel;
  const std::vector<test_support::HttpRequest> tunnels = server.tunnels();
  EXPECT_EQ(tunnels.size(), tunnelled ? server.connectionCount() : 0);
  for (const auto& tunnel : tunnels) EXPECT_EQ(tunnel.target, origin());
}

void FaultTest::meetsIt() {
  const auto& [fault, wire] = GetParam();
  const auto failing = serverOver<FaultServer>(wire, fault.steps);
  test_support::ScriptedServer& server = failing->server();
  create(server.port());

  const Answer answer = perform(RequestMessage(fault.method.c_str(), "/fault", fault.body));

  const Outcome& expected = fault.outcome;
  expectOutcome(answer, expected);
  EXPECT_EQ(server.requests().size(), expected.attempts);
  const std::size_t connections = server.connectionCount();

  expectNextSucceeds();
  EXPECT_EQ(server.connectionCount(), connections + (expected.kept ? 0 : 1));
  expectRequests(server, expected.attempts);
  end();  // before the server
}

}  // namespace com::corvane::connectivity::plugins
