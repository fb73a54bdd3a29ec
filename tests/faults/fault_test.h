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
#include "faults/outcome.h"

namespace com::corvane::connectivity::plugins {

using test_support::Step;
using test_support::Then;

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
