// plugin/stub_transport.h : the transport that the entry points create in their tests. It records
// what it is asked for, and does what the test says; its factory stands in stub_transport.cpp.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plugin/abstract_transport.h"

namespace test_support {

using com::corvane::connectivity10_15_0::AbstractTransport;
using com::corvane::connectivity10_15_0::HostSide;
using com::corvane::connectivity10_15_0::Message;
using com::corvane::connectivity10_15_0::PluginParameters;

class StubTransport;

/// What a test wants, and what happened. One at a time.
struct StubScript {
  StubScript();
  ~StubScript();
  StubScript(const StubScript&) = delete;
  StubScript& operator=(const StubScript&) = delete;

  /// Runs inside each operation, under the name "construct", "start", "hostReady", "shutdown",
  /// "setNextTowardsHost", "sendBatchTowardsTransport" or "destroy".
  std::function<void(const std::string& operation)> during = [](const std::string&) {};

  bool takesHostSide = true;
  std::vector<std::string> calls;
  std::vector<std::pair<Message*, Message*>> batches;
  StubTransport* created = nullptr;
};

class StubTransport final : public AbstractTransport {
 public:
  explicit StubTransport(const PluginParameters& parameters);
  ~StubTransport() noexcept(false) override;

  void start() override;
  void hostReady() override;
  void shutdown() override;
  void setNextTowardsHost(std::unique_ptr<HostSide>& next) override;
  void sendBatchTowardsTransport(Message* first, Message* end) override;

  using AbstractTransport::chainId;
  using AbstractTransport::config;
  using AbstractTransport::hostHandle;
  using AbstractTransport::hostSide;
  using AbstractTransport::pluginName;
};

}  // namespace test_support
