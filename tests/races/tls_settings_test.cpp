// Transports with different TLS settings in one process: each trusts what its own settings say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "races/plugin_host.h"
#include "support/scripted_server.h"

namespace races {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::HasSubstr;

constexpr std::int64_t kTlsClients = 2;

// Three requests in four make the transport leave its connection: by a redirect, for which it makes
// a new session, or because the server closes.
void leadAround(Connection& connection) {
  while (const auto request = connection.readRequest()) {
    const bool closes = request->target.ends_with("/close");
    const bool redirects = request->target.ends_with("/redirect");
    const std::string head =
        redirects ? "302 Found\r\nLocation: " + request->target + "/done" : "200 OK";
    connection.send("HTTP/1.1 " + head + (closes ? "\r\nConnection: close" : "") +
                    "\r\nContent-Length: 0\r\n\r\n");
    if (closes) return;
  }
}

// What a transport trusts.
enum class Trust { FirstAuthority, Anybody, SecondAuthority };

constexpr std::array kTrusts = {Trust::FirstAuthority, Trust::Anybody, Trust::SecondAuthority};

class TlsSettingsTest : public testing::Test {
 protected:
  // A transport towards one of the two servers.
  struct Member {
    Trust trust;
    bool toFirst;
    std::unique_ptr<HostedTransport> transport;
    std::int64_t sent = 0;

    bool isToAccept() const {
      return trust == Trust::Anybody || (trust == Trust::FirstAuthority) == toFirst;
    }

    // The first part of every target that it asks for.
    std::string mark() const { return "/trust" + std::to_string(static_cast<int>(trust)); }
  };

  TlsSettingsTest() { withoutPlatformAuthorities(); }

  Member create(Trust trust, bool toFirst) const {
    std::string authorityFile;
    if (trust == Trust::FirstAuthority) authorityFile = firstAuthority_.certificateFile();
    if (trust == Trust::SecondAuthority) authorityFile = secondAuthority_.certificateFile();
    const ScriptedServer& server = toFirst ? *first_ : *second_;
    Member member{trust, toFirst,
                  std::make_unique<HostedTransport>(
                      library_, tlsSettingsFor(server.port(), kTlsClients, authorityFile))};
    member.transport->start();
    return member;
  }

  static void send(Member& member, int requests) {
    constexpr std::array kPlaces = {"/stay", "/close", "/redirect", "/redirect"};
    for (int i = 0; i < requests; ++i) {
      const std::int64_t id = member.sent++;
      member.transport->send(id, member.mark() + kPlaces[std::size_t(id) % kPlaces.size()]);
    }
  }

  static void expectRightAnswers(const Member& member) {
    member.transport->answers().waitFor(static_cast<std::size_t>(member.sent));
    for (const auto& answer : member.transport->answers().all()) {
      SCOPED_TRACE(member.mark() + (member.toFirst ? " to the first" : " to the second"));
      if (member.isToAccept()) {
        EXPECT_EQ(answer.status, 200) << answer.reason;
      } else {
        EXPECT_EQ(answer.status, 400);
        EXPECT_THAT(answer.reason, HasSubstr("certificate verify failed"));
      }
    }
  }

  /// Makes transports of all kinds in this order, lets all work at once, and ends one after the
  /// other while the rest makes new sessions; `stride` settles which comes next.
  void runInOrder(const std::vector<Trust>& creation, std::size_t stride) const {
    std::vector<Member> members;
    for (const Trust trust : creation) {
      for (const bool toFirst : {true, false}) members.push_back(create(trust, toFirst));
    }
    for (Member& member : members) send(member, 4);
    for (std::size_t next = stride; !members.empty(); next += stride) {
      for (const Member& member : members) expectRightAnswers(member);
      std::swap(members[next % members.size()], members.back());
      for (std::size_t i = 0; i + 1 < members.size(); ++i) send(members[i], 1);
      members.pop_back();
    }
  }

  const test_support::TempDir dir_;
  test_support::CertificateAuthority firstAuthority_{dir_, "first"};
  test_support::CertificateAuthority secondAuthority_{dir_, "second"};
  const test_support::PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  const HandledRequests quiet_;
  std::unique_ptr<ScriptedServer> first_ =
      std::make_unique<ScriptedServer>(firstAuthority_.issue(), &leadAround);
  std::unique_ptr<ScriptedServer> second_ =
      std::make_unique<ScriptedServer>(secondAuthority_.issue(), &leadAround);
};

TEST_F(TlsSettingsTest, StayWithTheirTransportInEveryOrder) {
  std::vector<Trust> creation(kTrusts.begin(), kTrusts.end());
  std::size_t stride = 0;
  do {
    runInOrder(creation, stride++);
  } while (std::next_permutation(creation.begin(), creation.end()));

  // Nothing was asked of a server that the transport does not trust.
  for (const auto& request : first_->requests())
    EXPECT_FALSE(request.target.starts_with("/trust2"));
  for (const auto& request : second_->requests()) {
    EXPECT_FALSE(request.target.starts_with("/trust0"));
  }
}

}  // namespace
}  // namespace races
