// What the workers of a transport share, and transports of a process, under traffic, while the host
// reads it: the cookie jar, the metrics, the status display.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "races/plugin_host.h"
#include "support/scripted_server.h"

namespace races {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

constexpr std::int64_t kClients = 8;
constexpr int kDeliverers = 3;  // of each transport
constexpr std::int64_t kEach = 100;
constexpr std::size_t kItems = 16;  // of each transport

// Sets, changes and deletes cookies of few names.
void setCookies(Connection& connection) {
  for (int count = 0; const auto request = connection.readRequest(); ++count) {
    const std::string name = "c" + std::to_string(count % 5);
    connection.send("HTTP/1.1 200 OK\r\nSet-Cookie: " + name + "=" + std::to_string(count) +
                    "\r\nSet-Cookie: d=x; Max-Age=" + std::to_string(count % 2) +
                    "\r\nContent-Length: 2\r\n\r\nok");
  }
}

std::string valueOf(HostedTransport& transport, const std::string& name) {
  const std::string begin = "chain.plugin." + name + " = ";
  for (const std::string& item : transport.statusItems()) {
    if (item.starts_with(begin)) return item.substr(begin.size());
  }
  return "no such item";
}

class SharedStateTest : public testing::Test {
 protected:
  std::unique_ptr<HostedTransport> create(const ScriptedServer& server) const {
    map_t settings = settingsFor(server.port(), kClients);
    settings.insert(data_t("cookieJar"), data_t(true));
    auto transport = std::make_unique<HostedTransport>(library_, std::move(settings));
    transport->start();
    return transport;
  }

  const test_support::PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  HandledRequests handled_;
};

TEST_F(SharedStateTest, StaysWholeWhileTheHostReadsIt) {
  ScriptedServer server(&setCookies);
  std::vector<std::unique_ptr<HostedTransport>> transports;
  for (int i = 0; i < 2; ++i) transports.push_back(create(server));
  std::atomic<bool> enough = false;
  std::thread reading([&] {
    while (!enough) {
      for (auto& transport : transports) EXPECT_EQ(transport->statusItems().size(), kItems);
    }
  });
  std::vector<std::thread> delivering;
  for (auto& transport : transports) {
    for (std::int64_t i = 0; i < kDeliverers; ++i) {
      delivering.emplace_back([&transport, i] {
        for (std::int64_t id = i * kEach; id < (i + 1) * kEach; ++id) transport->send(id, "/");
      });
    }
  }

  for (auto& thread : delivering) thread.join();
  for (auto& transport : transports) transport->shutdown();
  enough = true;
  reading.join();

  for (auto& transport : transports) {
    std::set<std::int64_t> ids;
    for (const auto& answer : transport->answers().all()) {
      ids.insert(answer.requestId);
      EXPECT_EQ(answer.status, 200) << answer.reason;
    }
    const auto count = static_cast<std::size_t>(kDeliverers * kEach);
    EXPECT_EQ(ids.size(), count);
    EXPECT_EQ(transport->answers().count(), count);
    EXPECT_EQ(valueOf(*transport, "responsesTowardsHost"), std::to_string(count));
    EXPECT_EQ(valueOf(*transport, "errorsTowardsHost"), "0");
    EXPECT_EQ(valueOf(*transport, "numClients"), std::to_string(kClients));
    EXPECT_EQ(valueOf(*transport, "status"), "ONLINE");
  }
}

TEST_F(SharedStateTest, OfTheCookieJarNeverSendsACookieTwice) {
  ScriptedServer server(&setCookies);
  const auto transport = create(server);
  for (std::int64_t id = 0; id < kDeliverers * kEach; ++id) transport->send(id, "/");
  transport->shutdown();

  std::size_t withCookies = 0;
  for (const auto& request : server.requests()) {
    const auto values = request.values("cookie");
    ASSERT_LE(values.size(), 1u);
    if (values.empty()) continue;
    ++withCookies;
    for (const char* name : {"c0=", "c1=", "c2=", "c3=", "c4=", "d="}) {
      const std::size_t at = values[0].find(name);
      if (at == std::string::npos) continue;
      EXPECT_EQ(values[0].find(name, at + 1), std::string::npos) << values[0];
    }
  }
  EXPECT_GT(withCookies, 0u);
}

}  // namespace
}  // namespace races
