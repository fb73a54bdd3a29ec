// faults/fault_test.h : a table of faults, each met over plain TCP and over TLS, directly and
//            through a proxy.
//
// Role:      a suite derives from FaultTest, calls meetsIt in a TEST_P and is instantiated with
//            overAllWires of its table. What no table can say derives from WireTest.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "faults/fault_fixture.h"
#include "faults/fault_server.h"

namespace com::corvane::connectivity::plugins {

using test_support::Step;
using test_support::Then;

/// What one request comes to.
struct Outcome {
  std::int64_t status = 200;
  std::string reason = "OK";
  std::string payload;
  std::string overall = "ONLINE";
  std::vector<std::string> lines;
  std::size_t attempts = 1;  // requests that the server saw
  bool kept = false;         // whether the next request uses the connection of the last attempt
};

/// An exchange that succeeds, as far as the host can tell.
Outcome answered(const std::string& payload);

/// A failure response after `attempts` attempts, with `lines` ahead of the WARN line. `name` and
/// `message` are those of the exception; the message may be empty.
Outcome failed(const std::string& name, const std::string& message = "",
               std::vector<std::string> lines = {}, std::size_t attempts = 1);

/// The same after one retry, which ended as the first attempt did.
Outcome failedTwice(const std::string& kind, const std::string& name,
                    const std::string& message = "");

/// The line at DEBUG that announces the one retry.
std::string retryLine(const std::string& kind, const std::string& name,
                      const std::string& message = "");

struct Fault {
  std::string name;
  std::vector<Step> steps;  // of the server: FaultServer
  Outcome outcome;
  std::string method = "GET";
  std::string body = {};

  friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }
};

class FaultTest : public FaultFixture, public testing::WithParamInterface<std::tuple<Fault, Wire>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<std::tuple<Fault, Wire>>& info);

 protected:
  /// Performs one request against the fault, then another one that nothing is wrong with; compares
  /// both with what the table says.
  void meetsIt();

 private:
  void expectRequests(const test_support::ScriptedServer& server, std::size_t attempts);
};

/// A test that is run over several wires.
class WireTest : public FaultFixture, public testing::WithParamInterface<Wire> {
 public:
  static std::string nameOf(const testing::TestParamInfo<Wire>& info) {
    return nameOfWire(info.param);
  }
};

inline auto overAllWires() {
  return testing::Values(Wire::Plain, Wire::Tls, Wire::ThroughProxy, Wire::OverTunnel);
}

inline auto overAllWires(const std::vector<Fault>& faults) {
  return testing::Combine(testing::ValuesIn(faults), overAllWires());
}

/// Those without a proxy.
inline auto overBothWires() { return testing::Values(Wire::Plain, Wire::Tls); }

inline auto overBothWires(const std::vector<Fault>& faults) {
  return testing::Combine(testing::ValuesIn(faults), overBothWires());
}

}  // namespace com::corvane::connectivity::plugins
