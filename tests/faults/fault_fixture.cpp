#include "faults/fault_fixture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>

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

struct Trust {
  test_support::TempDir dir;
  test_support::CertificateAuthority authority{dir};
  const test_support::TlsIdentity identity = authority.issue();
};

Trust& trust() {
  static Trust trust;
  return trust;
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
  configure("timeoutSecs", data_t(30));  // nothing here waits for it but a test that fails
  configure("authenticationType", data_t("HTTP_BASIC"));
  configure("user", data_t(Secrets::kUser));
  configure("password", data_t(Secrets::kPassword));
  configure("cookieJar", data_t(true));
}

void FaultFixture::TearDown() {
  end();
  expectOneAnswerEach();
  expectNoSecrets();
}

void FaultFixture::expectOneAnswerEach() const {
  std::vector<std::int64_t> ids;
  for (const Answer& answer : answers_) ids.push_back(answer.requestId);
  std::sort(ids.begin(), ids.end());
  std::vector<std::int64_t> expected(static_cast<std::size_t>(requests_));
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(ids, expected) << "not every request was answered once";
}

void FaultFixture::expectNoSecrets() const {
  std::vector<std::string> texts = host_.texts();
  for (const auto& call : host_.statusCalls()) texts.insert(texts.end(), {call.key, call.value});
  for (const Answer& answer : answers_) {
    texts.push_back(answer.reason);
    if (answer.status == 400) texts.push_back(answer.payload);
  }
  constexpr std::array kSecrets = {Secrets::kPassword,      Secrets::kCredentials,
                                   Secrets::kProxyPassword, Secrets::kProxyCredentials,
                                   Secrets::kCookie,        Secrets::kJarCookie};
  for (const std::string& text : texts) {
    for (const char* const secret : kSecrets) {
      EXPECT_EQ(text.find(secret), std::string::npos) << "a secret in: " << text;
    }
  }
}

void FaultFixture::configure(const char* key, data_t value) {
  const auto found = config_.find(key);
  if (found != config_.end()) config_.erase(found);
  config_.insert(data_t(key), std::move(value));
}

const test_support::TlsIdentity& FaultFixture::useTls() {
  configure("tls", data_t(true));
  configure("tlsCertificateAuthorityFile", data_t(trust().authority.certificateFile()));
  return trustedIdentity();
}

const test_support::TlsIdentity& FaultFixture::trustedIdentity() { return trust().identity; }

test_support::TlsIdentity FaultFixture::issueTrusted(const test_support::CertificateText& text) {
  return trust().authority.issue(text);
}

bool FaultFixture::openTunnelOver(Wire wire, test_support::Connection& connection) {
  if (wire != Wire::OverTunnel) return true;
  const auto request = connection.readHead();
  return request && connection.trySend("HTTP/1.1 200 Connection established\r\n\r\n");
}

void FaultFixture::serveWell(Wire wire, test_support::Connection& connection) {
  using namespace test_support;
  if (!openTunnelOver(wire, connection)) return;
  if (isTls(wire) && !connection.startTls(trustedIdentity())) return;
  ScriptedServer::answeringAll(FaultServer::nextAnswer())(connection);
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
  entries.insert(data_t("host"), data_t(hasProxy(wire_) ? "127.0.0.1" : firstHost_));
  if (hasProxy(wire_)) {
    map_t proxy;
    proxy.insert(data_t("host"), data_t(firstHost_));
    proxy.insert(data_t("port"), data_t(std::int64_t{port}));
    proxy.insert(data_t("authentication"),
                 data_t(textMap({{"authenticationType", "HTTP_BASIC"},
                                 {"username", Secrets::kProxyUser},
                                 {"password", Secrets::kProxyPassword}})));
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
  firstLine_ = host_.lines().size();
  send(std::move(request));
  return waitForAnswers().back();
}

void FaultFixture::send(RequestMessage request) {
  request.metadata("requestId", data_t(requests_++));
  request.http("cookies", data_t(textMap({{"own", Secrets::kCookie}})));
  Message message = request.build();
  auto* const raw = reinterpret_cast<kel_message*>(&message);
  EXPECT_EQ(kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, raw, raw + 1), 0);
}

std::vector<Answer> FaultFixture::waitForAnswers() {
  std::unique_lock lock(mutex_);
  answered_.wait(lock, [&] { return static_cast<std::int64_t>(answers_.size()) >= requests_; });
  return answers_;
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

void FaultFixture::expectOutcome(const Answer& answer, const Outcome& expected) const {
  EXPECT_EQ(answer.status, expected.status);
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(answer.payload, expected.payload);
  EXPECT_EQ(overallStatus(), expected.overall);
  EXPECT_EQ(lines(), expected.lines);
}

void FaultFixture::expectNextSucceeds() {
  using test_support::FaultServer;
  const Answer answer = perform(RequestMessage("GET", FaultServer::kNextPath, ""));
  expectOutcome(answer, answered(FaultServer::kNextBody));
}

std::vector<std::string> FaultFixture::lines() const {
  constexpr std::string_view kWorker = "{0} ";
  const auto all = host_.lines();
  std::vector<std::string> result;
  for (std::size_t i = firstLine_; i < all.size(); ++i) {
    const std::size_t begin = all[i].text.find(kWorker);
    if (begin == std::string::npos) continue;
    const std::string text = all[i].text.substr(begin + kWorker.size());
    const bool comesAlways =
        text.starts_with("Handling a request for") || text == "Sending response towards host";
    if (!comesAlways) result.push_back(std::string(levelName(all[i].level)) + " " + text);
  }
  return result;
}

std::string FaultFixture::overallStatus() const {
  return host_.statusValue("chain.plugin.status").value_or("no such item");
}

}  // namespace com::corvane::connectivity::plugins
