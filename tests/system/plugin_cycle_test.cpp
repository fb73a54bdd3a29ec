// The plugin as a host sees it: a shared library and nine functions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kel/host_control.h"
#include "kel/plugin.h"
#include "model/get.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"
#include "support/scripted_server.h"

namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;
using test_support::Connection;
using test_support::PluginLibrary;
using test_support::ScriptedServer;

// What comes back, by request id.
class Answers {
 public:
  static void receive(void* self, kel_message* first, kel_message* end) {
    for (kel_message* message = first; message != end; ++message) {
      static_cast<Answers*>(self)->add(reinterpret_cast<Message&>(*message));
    }
  }

  std::map<std::int64_t, std::vector<std::int64_t>> all() const {
    const std::lock_guard lock(mutex_);
    return statuses_;
  }

 private:
  void add(const Message& message) {
    const auto id = get<std::int64_t>(message.metadata.find("requestId").value());
    const auto& http = get<map_t>(message.metadata.find("http").value());
    const std::lock_guard lock(mutex_);
    statuses_[id].push_back(get<std::int64_t>(http.find("statusCode").value()));
  }

  mutable std::mutex mutex_;
  std::map<std::int64_t, std::vector<std::int64_t>> statuses_;
};

// Lines of the log, in place of standard error.
class LogLines {
 public:
  LogLines() { kel_host_set_log_sink(&LogLines::receive, this); }
  ~LogLines() { kel_host_set_log_sink(nullptr, nullptr); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  std::vector<std::string> all() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  static void receive(void* self, const char* category, std::int32_t level, const char* text) {
    auto& lines = *static_cast<LogLines*>(self);
    const std::lock_guard lock(lines.mutex_);
    lines.lines_.push_back(std::to_string(level) + " " + category + " " + text);
  }

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

Message request(std::int64_t id) {
  const std::string body = "body of " + std::to_string(id);
  Message message = test_support::requestMessage(id, test_support::httpMap("POST", "/"),
                                                 buffer_t::copyOf(body.data(), body.size()));
  if (id % 3 != 0) message.metadata.insert(data_t("concurrencyControlKey"), data_t(id % 7));
  if (id % 25 == 0) message.metadata.insert(data_t("concurrencyControlFlush"), data_t(true));
  return message;
}

class PluginCycleTest : public testing::Test {
 protected:
  void* create(std::int64_t clients, std::uint16_t port) {
    map_t config;
    config.insert(data_t("host"), data_t("127.0.0.1"));
    config.insert(data_t("port"), data_t(std::int64_t{port}));
    config.insert(data_t("numClients"), data_t(clients));
    return create(data_t(std::move(config)));
  }

  void* create(const data_t& config) {
    return library_.create("plugin", "chain", &config.raw(), this, this);
  }

  /// Sends the requests [first, end) in batches of ten.
  void send(void* plugin, std::int64_t first, std::int64_t end) {
    for (std::int64_t id = first; id < end;) {
      std::vector<Message> batch;
      while (batch.size() < 10 && id < end) batch.push_back(request(id++));
      auto* const messages = reinterpret_cast<kel_message*>(batch.data());
      EXPECT_EQ(library_.sendBatch(plugin, messages, messages + batch.size()), 0);
    }
  }

  void runOnce(std::int64_t clients, int deliverers, std::int64_t each) {
    ScriptedServer server([](Connection& connection) {
      while (const auto request = connection.readRequest()) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: " +
                        std::to_string(request->body.size()) + "\r\n\r\n" + request->body);
      }
    });
    Answers answers;
    void* const plugin = create(clients, server.port());
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(library_.setNextTowardsHost(plugin, &answers, &Answers::receive), 0);
    EXPECT_EQ(library_.start(plugin), 0);
    EXPECT_EQ(library_.hostReady(plugin), 0);

    std::vector<std::thread> threads;
    for (int i = 0; i < deliverers; ++i) {
      threads.emplace_back([&, i] { send(plugin, i * each, (i + 1) * each); });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(library_.shutdown(plugin), 0);
    EXPECT_EQ(library_.destroy(plugin), 0);

    const auto statuses = answers.all();
    EXPECT_EQ(statuses.size(), static_cast<std::size_t>(deliverers * each));
    for (const auto& [id, seen] : statuses) {
      EXPECT_EQ(seen, std::vector<std::int64_t>{200}) << "request " << id;
    }
  }

  /// The one line that a refused configuration leaves in the log.
  std::string refusal(const data_t& config) {
    const LogLines lines;
    EXPECT_EQ(create(config), nullptr);
    const auto all = lines.all();
    return all.size() == 1 ? all[0] : "lines: " + std::to_string(all.size());
  }

  static data_t config(const char* key, data_t value) {
    map_t map;
    map.insert(data_t(key), std::move(value));
    return data_t(std::move(map));
  }

  const PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  const LogLines quiet_;
};

TEST_F(PluginCycleTest, AnswersAHundredRequestsAndLeavesNothingBehind) { runOnce(1, 1, 100); }

TEST_F(PluginCycleTest, AnswersFourDeliveringThreadsWithEightClients) { runOnce(8, 4, 250); }

TEST_F(PluginCycleTest, CanBeCreatedAgainAndAgain) {
  for (int i = 0; i < 20; ++i) runOnce(2, 1, 5);
}

TEST_F(PluginCycleTest, LeavesNoStatusItemsBehind) {
  runOnce(2, 1, 5);

  int items = 0;
  kel_host_visit_status(
      this, [](void* count, const kel_host_status_item*) { ++*static_cast<int*>(count); }, &items);
  EXPECT_EQ(items, 0);
}

TEST_F(PluginCycleTest, ShowsTheseStatusItemsOnceCreated) {
  void* const plugin = create(data_t(map_t()));
  std::string shown;
  kel_host_visit_status(
      this,
      [](void* text, const kel_host_status_item* item) {
        *static_cast<std::string*>(text) += std::string(item->key) + " = " + item->value + "\n";
      },
      &shown);
  EXPECT_EQ(library_.destroy(plugin), 0);

  std::stringstream expected;
  expected << std::ifstream(STATUS_ITEMS_FILE).rdbuf();
  EXPECT_EQ(shown, expected.str());
}

TEST_F(PluginCycleTest, RunsTwoTransportsSideBySide) {
  ScriptedServer server(
      ScriptedServer::answeringAll("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
  map_t first;
  first.insert(data_t("host"), data_t("127.0.0.1"));
  first.insert(data_t("port"), data_t(std::int64_t{server.port()}));
  const data_t settings(std::move(first));
  Answers answers;
  int handles[2];
  void* plugins[2];
  for (int i = 0; i < 2; ++i) {
    plugins[i] = library_.create("plugin", "chain", &settings.raw(), &handles[i], &handles[i]);
    ASSERT_NE(plugins[i], nullptr);
    library_.setNextTowardsHost(plugins[i], &answers, &Answers::receive);
    library_.start(plugins[i]);
  }

  send(plugins[0], 0, 20);
  send(plugins[1], 20, 40);
  for (void* plugin : plugins) {
    library_.shutdown(plugin);
    library_.destroy(plugin);
  }

  EXPECT_EQ(answers.all().size(), 40u);
}

TEST_F(PluginCycleTest, RefusesBadConfigurationsWithOneLineThatNamesTheCulprit) {
  const std::string begin =
      "2 connectivity.plugin.chain <connectivity.plugin.chain> Exception from create: ";

  EXPECT_EQ(refusal(data_t("text")),
            begin + "Incorrect type in get (you asked for map but it's actually string)");
  EXPECT_EQ(refusal(config("hots", data_t("x"))),
            begin + "Unknown configuration element hots in HTTPClient");
  EXPECT_EQ(refusal(config("timeoutSecs", data_t(0))),
            begin + "HTTPClient configuration timeoutSecs must be more than 0");
  EXPECT_EQ(refusal(config("port", data_t("eighty"))),
            begin + "HTTPClient configuration port must be an integer");
  EXPECT_EQ(refusal(config("numClients", data_t(0))), begin + "Must have at least one consumer");
  EXPECT_EQ(refusal(config("proxy", config("host", data_t("p")))),
            begin + "HTTPClient configuration proxy/port must be between 1 and 65535");
}

TEST_F(PluginCycleTest, NamesTheAuthorityFileThatItCannotRead) {
  map_t map;
  map.insert(data_t("tls"), data_t(true));
  map.insert(data_t("tlsCertificateAuthorityFile"), data_t("no/such/file.pem"));
  const data_t settings(std::move(map));
  const LogLines lines;

  EXPECT_EQ(create(settings), nullptr);

  const auto all = lines.all();
  ASSERT_FALSE(all.empty());
  EXPECT_THAT(all.back(), testing::HasSubstr("Exception from create: "));
  EXPECT_THAT(all.back(), testing::HasSubstr("no/such/file.pem"));
}

}  // namespace
