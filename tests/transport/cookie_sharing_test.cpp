#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "support/scripted_server.h"
#include "transport/http_client.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::HttpRequest;
using test_support::ScriptedServer;

// Holds back the answers to all requests but the first until so many others have come: no worker
// then takes two of them.
class Gathering {
 public:
  explicit Gathering(int others) : others_(others) {}

  void arrive() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (first_) {
      first_ = false;
      return;
    }
    --others_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return others_ <= 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool first_ = true;
  int others_;
};

class CookieSharingTest : public TransportFixture {
 protected:
  static constexpr int kClients = 3;

  void createFor(const ScriptedServer& server, bool cookieJar) {
    connectivity10_15_0::PluginParameters parameters{"chain", "plugin", map_t(), nullptr, this};
    parameters.config.insert(data_t("host"), data_t("127.0.0.1"));
    parameters.config.insert(data_t("port"), data_t(std::int64_t{server.port()}));
    parameters.config.insert(data_t("numClients"), data_t(std::int64_t{kClients}));
    parameters.config.insert(data_t("cookieJar"), data_t(cookieJar));
    transport_ = std::make_unique<HTTPClient>(parameters);
    std::unique_ptr<connectivity10_15_0::HostSide> side =
        std::make_unique<RecordingHostSide>(answers_, nullptr);
    transport_->setNextTowardsHost(side);
    transport_->start();
  }

  /// One request whose answer sets a cookie, then one on every worker at the same time; all of
  /// them.
  std::vector<HttpRequest> requestsOfAllWorkers(bool cookieJar) {
    Gathering gathering(kClients);
    ScriptedServer server([&](Connection& connection) {
      while (connection.readRequest()) {
        gathering.arrive();
        connection.send("HTTP/1.1 200 OK\r\nSet-Cookie: sid=a1\r\nContent-Length: 0\r\n\r\n");
      }
    });
    createFor(server, cookieJar);
    deliver(request(0));
    answers_.waitFor(1);
    for (std::int64_t id = 1; id <= kClients; ++id) deliver(request(id));
    answers_.waitFor(1 + kClients);
    transport_->shutdown();
    return server.requests();
  }
};

TEST_F(CookieSharingTest, SendsTheCookiesOfOneWorkersResponseFromAll) {
  const auto requests = requestsOfAllWorkers(true);

  ASSERT_EQ(requests.size(), 1u + kClients);
  EXPECT_FALSE(requests[0].has("cookie"));
  std::set<std::size_t> connections;
  for (std::size_t i = 1; i < requests.size(); ++i) {
    EXPECT_EQ(requests[i].value("cookie"), "sid=a1");
    connections.insert(requests[i].connection);
  }
  EXPECT_EQ(connections.size(), std::size_t{kClients});
}

TEST_F(CookieSharingTest, SendsNoCookiesWhenTheConfigurationSaysSo) {
  for (const auto& request : requestsOfAllWorkers(false)) EXPECT_FALSE(request.has("cookie"));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
