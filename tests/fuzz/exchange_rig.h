// fuzz/exchange_rig.h : one worker's exchange, with everything that it needs around it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_host.h"
#include "http/http_exchange.h"
#include "http/messages.h"
#include "plugin/logger.h"
#include "plugin/status_reporter.h"

namespace fuzz {

namespace plugins = com::corvane::connectivity::plugins;
namespace framework = com::corvane::connectivity10_15_0;

struct Answer {
  std::int64_t status;
  std::string reason;
  std::string body;
};

class ExchangeRig final : private plugins::TransportPort {
 public:
  ExchangeRig(plugins::Settings settings, bool basicAuthentication)
      : settings_(std::move(settings)),
        context_{settings_, basicAuthentication, keys_, jar_, sessions_, metrics_, *this},
        exchange_(context_, plugins::ThreadLogger(log_, 0)) {}

  /// Performs the request of a message and returns its one answer.
  Answer perform(plugins::Message& message) {
    answers_.clear();
    exchange_.mapMessageToRequest(message);
    require(answers_.size() == 1, "not answered exactly once");
    plugins::Message& answer = answers_.front();
    plugins::map_t& http = plugins::mapAt(answer.metadata, "http");
    const auto& body = framework::get<plugins::buffer_t>(answer.payload);
    return {framework::get<std::int64_t>(plugins::at(http, "statusCode")),
            plugins::textAt(http, "statusReason"), std::string(body.view())};
  }

  const plugins::Settings& settings() const { return settings_; }

 private:
  void sendTowardsHost(plugins::Message& response, double, std::int64_t,
                       std::optional<std::uint64_t>) noexcept override {
    answers_.push_back(std::move(response));
  }
  void publishQueueSize() noexcept override {}

  const plugins::Settings settings_;
  const plugins::MessageKeys keys_;
  plugins::CookieJar jar_{false};
  plugins::SessionFactory sessions_{settings_};
  framework::StatusReporter reporter_{nullptr};
  plugins::TransportMetrics metrics_{reporter_, "chain", "plugin", 1};
  const framework::Logger log_{"fuzz"};
  const plugins::ExchangeContext context_;
  plugins::HttpExchange exchange_;
  std::vector<plugins::Message> answers_;
};

}  // namespace fuzz
