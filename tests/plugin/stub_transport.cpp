#include "plugin/stub_transport.h"

#include "plugin/transport_factory.h"

namespace test_support {

namespace {

StubScript* script = nullptr;

void call(const char* operation) {
  script->calls.emplace_back(operation);
  script->during(operation);
}

}  // namespace

StubScript::StubScript() { script = this; }

StubScript::~StubScript() { script = nullptr; }

StubTransport::StubTransport(const PluginParameters& parameters) : AbstractTransport(parameters) {
  call("construct");
  script->created = this;
}

StubTransport::~StubTransport() noexcept(false) { call("destroy"); }

void StubTransport::start() { call("start"); }

void StubTransport::hostReady() { call("hostReady"); }

void StubTransport::shutdown() { call("shutdown"); }

void StubTransport::setNextTowardsHost(std::unique_ptr<HostSide>& next) {
  call("setNextTowardsHost");
  if (script->takesHostSide) AbstractTransport::setNextTowardsHost(next);
}

void StubTransport::sendBatchTowardsTransport(Message* first, Message* end) {
  script->batches.emplace_back(first, end);
  call("sendBatchTowardsTransport");
}

}  // namespace test_support

namespace com::corvane::connectivity10_15_0 {

AbstractTransport* createTransport(const PluginParameters& parameters) {
  return new test_support::StubTransport(parameters);
}

}  // namespace com::corvane::connectivity10_15_0
