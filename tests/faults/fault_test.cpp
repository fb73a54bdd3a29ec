#include "faults/fault_test.h"

#include <utility>

namespace com::corvane::connectivity::plugins {

using test_support::FaultServer;

namespace {

std::string warning(const std::string& name, const std::string& message) {
  const std::string text = "WARN Caught exception processing a request: " + name;
  return message.empty() ? text : text + " (" + message + ")";
}

}  // namespace

Outcome answered(const std::string& payload) {
  Outcome outcome;
  outcome.payload = payload;
  return outcome;
}

Outcome failed(const std::string& name, const std::string& message, std::vector<std::string> lines,
               std::size_t attempts) {
  const std::string reason = message.empty() ? name : name + ": " + message;
  lines.push_back(warning(name, message));
  return {400, reason, reason, "FAILED", std::move(lines), attempts, false};
}

Outcome failedTwice(const std::string& kind, const std::string& name, const std::string& message) {
  return failed(name, message, {retryLine(kind, name, message)}, 2);
}

std::string retryLine(const std::string& kind, const std::string& name,
                      const std::string& message) {
  return "DEBUG Caught a " + kind + " processing a request, will retry once: " + name + " (" +
         message + ")";
}

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
  EXPECT_EQ(answer.status, expected.status);
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(answer.payload, expected.payload);
  EXPECT_EQ(overallStatus(), expected.overall);
  EXPECT_EQ(lines(), expected.lines);
  EXPECT_EQ(server.requests().size(), expected.attempts);
  const std::size_t connections = server.connectionCount();

  const Answer next = perform(RequestMessage("GET", FaultServer::kNextPath, ""));

  EXPECT_EQ(next.status, 200);
  EXPECT_EQ(next.payload, FaultServer::kNextBody);
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_EQ(lines(), std::vector<std::string>());
  EXPECT_EQ(server.connectionCount(), connections + (expected.kept ? 0 : 1));
  expectRequests(server, expected.attempts);
  end();  // before the server
}

}  // namespace com::corvane::connectivity::plugins
