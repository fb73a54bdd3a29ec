// transport/transport_fixture.h : a transport under test, with what stands on either side of it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "model/get.h"
#include "plugin/host_side.h"
#include "support/fake_host.h"
#include "support/loopback.h"
#include "support/plugin_messages.h"
#include "transport/http_client.h"

namespace com::corvane::connectivity::plugins {

/// What came back: how often each request id was answered, and with which status.
class Answers {
 public:
  struct Answer {
    std::int64_t requestId;
    std::int64_t status;
    std::string reason;
  };

  void add(Message& message) {
    using connectivity10_15_0::get;
    const map_t& http = get<map_t>(message.metadata.find("http").value());
    const Answer answer{get<std::int64_t>(message.metadata.find("requestId").value()),
                        get<std::int64_t>(http.find("statusCode").value()),
                        get<const char*>(http.find("statusReason").value())};
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_.push_back(answer);
    changed_.notify_all();
  }

  void waitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return answers_.size() >= count; });
  }

  std::vector<Answer> all() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return answers_;
  }

  std::size_t count() const { return all().size(); }

  /// True when each id from 0 to `count` - 1 was answered once, and no other.
  bool eachOnce(std::int64_t count) const {
    std::map<std::int64_t, int> times = timesById();
    for (std::int64_t id = 0; id < count; ++id) {
      if (times[id] != 1) return false;
    }
    return times.size() == static_cast<std::size_t>(count);
  }

  /// True when no id was answered more than once.
  bool noneTwice() const { return timesById().size() == count(); }

 private:
  std::map<std::int64_t, int> timesById() const {
    std::map<std::int64_t, int> times;
    for (const Answer& answer : all()) ++times[answer.requestId];
    return times;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Answer> answers_;
};

/// A host side that records, and does what a test wants done on the worker's thread.
class RecordingHostSide final : public connectivity10_15_0::HostSide {
 public:
  RecordingHostSide(Answers& answers, std::function<void()> onAnswer)
      : answers_(answers), onAnswer_(std::move(onAnswer)) {}

  void sendBatchTowardsHost(Message* first, Message* end) override {
    for (Message* message = first; message != end; ++message) answers_.add(*message);
    if (onAnswer_) onAnswer_();
  }

 private:
  Answers& answers_;
  const std::function<void()> onAnswer_;
};

/// A request for "/".
inline Message request(std::int64_t id) {
  return test_support::requestMessage(id, test_support::httpMap("GET", "/"));
}

inline Message request(std::int64_t id, const char* key, data_t value) {
  Message message = request(id);
  message.metadata.insert(data_t(key), std::move(value));
  return message;
}

class TransportFixture : public testing::Test {
 protected:
  TransportFixture() { host_.setLogLevel(5); }

  /// Creates the transport; every request is refused by the server unless a test says otherwise,
  /// by setting port_ or adding to config_ before.
  void create(std::int64_t clients, HTTPClient::Limits limits = {},
              std::function<void()> onAnswer = nullptr) {
    connectivity10_15_0::PluginParameters parameters{chain_, "plugin", std::move(config_), nullptr,
                                                     this};
    parameters.config.insert(data_t("host"), data_t("127.0.0.1"));
    parameters.config.insert(data_t("port"), data_t(port_));
    parameters.config.insert(data_t("numClients"), data_t(clients));
    transport_ = std::make_unique<HTTPClient>(parameters, limits);
    std::unique_ptr<connectivity10_15_0::HostSide> side =
        std::make_unique<RecordingHostSide>(answers_, std::move(onAnswer));
    transport_->setNextTowardsHost(side);
  }

  void deliver(Message message) { transport_->sendBatchTowardsTransport(&message, &message + 1); }

  std::string status(const std::string& suffix) const {
    return host_.statusValue("chain.plugin" + suffix).value_or("no such item");
  }

  std::size_t linesOf(const std::string& text) const {
    std::size_t count = 0;
    for (const auto& line : host_.lines()) count += line.text.find(text) != std::string::npos;
    return count;
  }

  test_support::FakeHost host_;
  test_support::RefusingPort refusing_;
  std::string chain_ = "chain";
  std::int64_t port_ = refusing_.port();
  map_t config_;  // settings besides those that create gives
  Answers answers_;
  std::unique_ptr<HTTPClient> transport_;
};

}  // namespace com::corvane::connectivity::plugins
