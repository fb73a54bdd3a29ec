#include "faults/fault_fixture.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "model/get.h"
#include "model/message.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;

namespace {

constexpr std::int64_t kDebug = 5;

Answer takenApart(Message& message) {
  Answer answer;
  map_t& http = mapAt(message.metadata, "http");
  answer.requestId = get<std::int64_t>(at(message.metadata, "requestId"));
  answer.status = get<std::int64_t>(at(http, "statusCode"));
  answer.reason = textAt(http, "statusReason");
  answer.payload = get<buffer_t>(message.payload).view();
  if (message.metadata.find("contentType") != message.metadata.end()) {
    answer.contentType = textAt(message.metadata, "contentType");
  }
  if (http.find("headers") != http.end()) {
    for (auto& header : mapAt(http, "headers")) {
      answer.headers[get<const char*>(header.key())] = get<const char*>(header.value());
    }
  }
  return answer;
}

const char* levelName(std::int32_t level) {
  constexpr std::array kNames = {"OFF", "FATAL", "ERROR", "WARN", "INFO", "DEBUG", "TRACE"};
  return kNames.at(static_cast<std::size_t>(level));
}

}  // namespace

const char* nameOfWire(Wire wire) {
  constexpr std::array kNames = {"Plain", "OverTls", "ThroughProxy", "OverTunnel"};
  return kNames.at(static_cast<std::size_t>(wire));
}

FaultFixture::FaultFixture() {
  // The platform's authorities vouch for no server here, and loading them takes longer than a test.
  setenv("SSL_CERT_FILE", "/dev/null", 1);
  host_.setLogLevel(kDebug);
  configure("host", data_t("127.0.0.1"));
  configure("timeoutSecs", data_t(30));  // nothing here waits for it but a test that fails
}

void FaultFixture::TearDown() {
  end();
  std::vector<std::int64_t> ids;
  for (const Answer& answer : answers_) ids.push_back(answer.requestId);
  std::vector<std::int64_t> expected;
  while (static_cast<std::int64_t>(expected.size()) < requests_) {
    expected.push_back(static_cast<std::int64_t>(expected.size()));
  }
  EXPECT_EQ(ids, expected) << "not every request was answered once";
}

void FaultFixture::configure(const char* key, data_t value) {
  const auto found = config_.find(key);
  if (found != config_.end()) config_.erase(found);
  config_.insert(data_t(key), std::move(value));
}

const test_support::TlsIdentity& FaultFixture::useTls() {
  certificates_ = std::make_unique<test_support::TempDir>();
  test_support::CertificateAuthority authority(*certificates_);
  identity_ = authority.issue();
  configure("tls", data_t(true));
  configure("tlsCertificateAuthorityFile", data_t(authority.certificateFile().c_str()));
  return identity_;
}

void FaultFixture::useWire(Wire wire) {
  wire_ = wire;
  configure("tls", data_t(isTls(wire)));
  if (isTls(wire)) useTls();
}

void FaultFixture::create(std::uint16_t port) {
  end();
  map_t entries = config_.copy();
  entries.insert(data_t("port"), data_t(std::int64_t{hasProxy(wire_) ? originPort_.port() : port}));
  if (hasProxy(wire_)) {
    map_t proxy;
    proxy.insert(data_t("host"), data_t("127.0.0.1"));
    proxy.insert(data_t("port"), data_t(std::int64_t{port}));
    entries.insert(data_t("proxy"), data_t(std::move(proxy)));
  }
  const data_t config(std::move(entries));
  plugin_ = kel_create_plugin_with_params_HTTPClient("plugin", "chain", &config.raw(), this, this);
  ASSERT_NE(plugin_, nullptr);
  ASSERT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, this, &FaultFixture::receive), 0);
  ASSERT_EQ(kel_plugin_start_HTTPClient(plugin_), 0);
  ASSERT_EQ(kel_plugin_hostReady_HTTPClient(plugin_), 0);
}

std::string FaultFixture::targetOf(const std::string& path) const {
  return wire_ == Wire::ThroughProxy ? "http://" + origin() + path : path;
}

std::string FaultFixture::origin() const {
  return "127.0.0.1:" + std::to_string(originPort_.port());
}

// What has been queued is answered before the shutdown returns.
void FaultFixture::end() {
  if (plugin_ == nullptr) return;
  EXPECT_EQ(kel_plugin_shutdown_HTTPClient(plugin_), 0);
  EXPECT_EQ(kel_destroy_plugin_HTTPClient(plugin_), 0);
  plugin_ = nullptr;
}

Answer FaultFixture::perform(RequestMessage request) {
  host_.clearLines();
  request.metadata("requestId", data_t(requests_++));
  Message message = request.build();
  auto* const raw = reinterpret_cast<kel_message*>(&message);
  EXPECT_EQ(kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, raw, raw + 1), 0);
  std::unique_lock lock(mutex_);
  answered_.wait(lock, [&] { return static_cast<std::int64_t>(answers_.size()) >= requests_; });
  return answers_.back();
}

void FaultFixture::receive(void* self, kel_message* first, kel_message* end) {
  auto& fixture = *static_cast<FaultFixture*>(self);
  for (kel_message* message = first; message != end; ++message) {
    Answer answer = takenApart(reinterpret_cast<Message&>(*message));
    const std::lock_guard lock(fixture.mutex_);
    fixture.answers_.push_back(std::move(answer));
    fixture.answered_.notify_all();
  }
}

std::vector<std::string> FaultFixture::lines() const {
  std::vector<std::string> result;
  for (const auto& line : host_.lines()) {
    constexpr std::string_view kWorker = "{0} ";
    const std::size_t begin = line.text.find(kWorker);
    if (begin == std::string::npos) continue;
    const std::string text = line.text.substr(begin + kWorker.size());
    const bool comesAlways =
        text.starts_with("Handling a request for") || text == "Sending response towards host";
    if (!comesAlways) result.push_back(std::string(levelName(line.level)) + " " + text);
  }
  return result;
}

std::string FaultFixture::overallStatus() const {
  return host_.statusValue("chain.plugin.status").value_or("no such item");
}

}  // namespace com::corvane::connectivity::plugins
