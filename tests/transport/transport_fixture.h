// transport/transport_fixture.h : a transport under test, with what stands on either side of it.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/get.h"
#include "plugin/host_side.h"
#include "support/fake_host.h"
#include "transport/http_client.h"

namespace com::corvane::connectivity::plugins {

/// A loopback port that refuses connections for as long as this lives.
class RefusingPort {
 public:
  RefusingPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_, generic, length) != 0 || ::getsockname(socket_, generic, &length) != 0) {
      throw std::runtime_error("cannot reserve a port");
    }
    port_ = ntohs(address.sin_port);
  }
  ~RefusingPort() { ::close(socket_); }
  RefusingPort(const RefusingPort&) = delete;
  RefusingPort& operator=(const RefusingPort&) = delete;

  std::int64_t port() const { return port_; }

 private:
  const int socket_;
  std::uint16_t port_ = 0;
};

/// What came back: how often each request id was answered, and with which status.
class Answers {
 public:
  struct Answer {
    std::int64_t requestId;
    std::int64_t status;
  };

  void add(Message& message) {
    using connectivity10_15_0::get;
    const Answer answer{
        get<std::int64_t>(message.metadata.find("requestId").value()),
        get<std::int64_t>(
            get<map_t>(message.metadata.find("http").value()).find("statusCode").value())};
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
    std::map<std::int64_t, int> times;
    for (const Answer& answer : all()) ++times[answer.requestId];
    for (std::int64_t id = 0; id < count; ++id) {
      if (times[id] != 1) return false;
    }
    return times.size() == static_cast<std::size_t>(count);
  }

 private:
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

class TransportFixture : public testing::Test {
 protected:
  TransportFixture() { host_.setLogLevel(5); }

  /// Creates the transport; every request is refused by the server unless a test says otherwise,
  /// by setting port_ or adding to config_ before.
  void create(std::int64_t clients, HTTPClient::Limits limits = {},
              std::function<void()> onAnswer = nullptr) {
    connectivity10_15_0::PluginParameters parameters{"chain", "plugin", std::move(config_), nullptr,
                                                     this};
    parameters.config.insert(data_t("host"), data_t("127.0.0.1"));
    parameters.config.insert(data_t("port"), data_t(port_));
    parameters.config.insert(data_t("numClients"), data_t(clients));
    transport_ = std::make_unique<HTTPClient>(parameters, limits);
    std::unique_ptr<connectivity10_15_0::HostSide> side =
        std::make_unique<RecordingHostSide>(answers_, std::move(onAnswer));
    transport_->setNextTowardsHost(side);
  }

  static Message request(std::int64_t id) {
    map_t http;
    http.insert(data_t("method"), data_t("GET"));
    http.insert(data_t("path"), data_t("/"));
    Message message;
    message.payload = data_t(buffer_t(0));
    message.metadata.insert(data_t("requestId"), data_t(id));
    message.metadata.insert(data_t("http"), data_t(std::move(http)));
    return message;
  }

  static Message request(std::int64_t id, const char* key, data_t value) {
    Message message = request(id);
    message.metadata.insert(data_t(key), std::move(value));
    return message;
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
  RefusingPort refusing_;
  std::int64_t port_ = refusing_.port();
  map_t config_;  // settings besides those that create gives
  Answers answers_;
  std::unique_ptr<HTTPClient> transport_;
};

}  // namespace com::corvane::connectivity::plugins
