// http/exchange_fixture.h : one worker's exchange against a scripted server, on the test's thread.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/http_exchange.h"
#include "http/messages.h"
#include "plugin/status_reporter.h"
#include "support/fake_host.h"
#include "support/scripted_server.h"

namespace com::corvane::connectivity::plugins {

/// A port that keeps what it is given.
class RecordingPort final : public TransportPort {
 public:
  void sendTowardsHost(Message& response, double, std::int64_t status,
                       std::optional<std::uint64_t> bodyBytes) noexcept override {
    responses.push_back(std::move(response));
    statuses.push_back(status);
    bodySizes.push_back(bodyBytes);
  }
  void publishQueueSize() noexcept override { ++queueSizePublished; }

  std::vector<Message> responses;
  std::vector<std::int64_t> statuses;
  std::vector<std::optional<std::uint64_t>> bodySizes;
  int queueSizePublished = 0;
};

inline constexpr char kEmptyAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

/// A script that closes its first connection instead of answering, and answers on the others.
inline test_support::ScriptedServer::Script droppingTheFirstRequest() {
  return [](test_support::Connection& connection) {
    if (!connection.readRequest() || connection.index() == 0) return;
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  };
}

/// Sends the head of a request, and what there is of its body.
inline void sendOn(ClientSession& session, std::string_view method, std::string_view target,
                   std::string_view body = {}) {
  RequestHead head;
  head.begin(method, target);
  session.begin(head);
  std::string bytes;
  head.appendTo(bytes);
  session.send(bytes, body);
}

class ExchangeFixture : public testing::Test {
 protected:
  ExchangeFixture() {
    settings_.host = "127.0.0.1";
    settings_.timeoutSecs = 5;
  }

  /// Makes the exchange with the settings as they stand, for a server at `port`.
  void connectTo(std::uint16_t port, int logLevel = 5, bool basicAuthentication = false) {
    settings_.port = port;
    host_.setLogLevel(logLevel);
    log_ = std::make_unique<connectivity10_15_0::Logger>("category");
    jar_.emplace(settings_.cookieJar);
    exchange_ =
        std::make_unique<HttpExchange>(context(basicAuthentication), ThreadLogger(*log_, 0));
    host_.clearLines();
  }

  ExchangeContext context(bool basicAuthentication = false) {
    return {settings_, basicAuthentication, keys_, *jar_, sessions_, metrics_, port_};
  }

  /// Performs one request and returns its answer.
  Message& perform(RequestMessage& request) {
    Message message = request.build();
    const std::size_t before = port_.responses.size();
    exchange_->mapMessageToRequest(message);
    EXPECT_EQ(port_.responses.size(), before + 1) << "not answered exactly once";
    return port_.responses.back();
  }
  Message& perform(RequestMessage&& request) { return perform(request); }

  /// The request as a server saw it that answers everything.
  test_support::HttpRequest sent(RequestMessage& message, int logLevel = 4) {
    using test_support::ScriptedServer;
    ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
    connectTo(server.port(), logLevel);
    EXPECT_EQ(status(perform(message)), 200);
    const auto requests = server.waitForRequests(1);
    EXPECT_EQ(requests.size(), 1u);
    exchange_->close();
    return requests.front();
  }
  test_support::HttpRequest sent(RequestMessage&& message, int logLevel = 4) {
    return sent(message, logLevel);
  }

  static std::int64_t status(Message& answer) {
    return connectivity10_15_0::get<std::int64_t>(at(mapAt(answer.metadata, "http"), "statusCode"));
  }
  static std::string reason(Message& answer) {
    return textAt(mapAt(answer.metadata, "http"), "statusReason");
  }
  static std::string body(Message& answer) {
    return std::string(connectivity10_15_0::get<buffer_t>(answer.payload).view());
  }
  std::string overallStatus() const {
    return host_.statusValue("chain.plugin.status").value_or("");
  }

  test_support::FakeHost host_;
  Settings settings_;
  MessageKeys keys_;
  std::optional<CookieJar> jar_;
  SessionFactory sessions_{settings_};
  connectivity10_15_0::StatusReporter reporter_{nullptr};
  TransportMetrics metrics_{reporter_, "chain", "plugin", 1};
  RecordingPort port_;
  std::unique_ptr<connectivity10_15_0::Logger> log_;
  std::unique_ptr<HttpExchange> exchange_;
};

}  // namespace com::corvane::connectivity::plugins
