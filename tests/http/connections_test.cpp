// Connections that are cut while a worker waits in them.
#include "http/connections.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "http/exchange_fixture.h"
#include "support/certificates.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateAuthority;
using test_support::Connection;
using test_support::ScriptedServer;
using test_support::TempDir;

// How many sockets, of any program, the system shows as connecting to the loopback port.
int beingConnectedTo(std::uint16_t port) {
  char wanted[64];
  std::snprintf(wanted, sizeof(wanted), " 0100007F:%04X 02 ", port);
  int count = 0;
  std::ifstream sockets("/proc/net/tcp");
  for (std::string line; std::getline(sockets, line);) {
    count += line.find(wanted) != std::string::npos;
  }
  return count;
}

class ConnectionsTest : public ExchangeFixture {
 protected:
  // No wait of these tests is to end by itself.
  ConnectionsTest() { settings_.timeoutSecs = 100'000; }

  /// Performs one request, cuts the connections once `isBlocked` has returned, and returns the
  /// reason of the answer.
  std::string reasonWhenCutAfter(const std::function<void()>& isBlocked, std::string body = "") {
    RequestMessage request("POST", "/", std::move(body));
    std::string result;
    std::thread worker([&] { result = reason(perform(request)); });
    isBlocked();
    sessions_.cutConnections();
    worker.join();
    return result;
  }

  bool hasRetried() const {
    for (const auto& line : host_.texts()) {
      if (line.find("will retry once") != std::string::npos) return true;
    }
    return false;
  }
};

TEST_F(ConnectionsTest, AreCutWhileTheHeadIsAwaited) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  EXPECT_EQ(reasonWhenCutAfter([&] { server.waitForRequests(1); }), Connections::kCutText);

  EXPECT_FALSE(hasRetried());
  EXPECT_EQ(server.connectionCount(), 1u);
  EXPECT_EQ(overallStatus(), "FAILED");
}

TEST_F(ConnectionsTest, AreCutWhileTheyAreBeingMade) {
  const test_support::UnansweringPort port;
  const int others = beingConnectedTo(port.port());  // those that keep the port busy
  connectTo(port.port());

  EXPECT_EQ(reasonWhenCutAfter([&] {
              while (beingConnectedTo(port.port()) <= others) std::this_thread::yield();
            }),
            Connections::kCutText);

  EXPECT_FALSE(hasRetried());
}

TEST_F(ConnectionsTest, AreCutInsideTheTlsHandshake) {
  std::promise<void> greeted;
  ScriptedServer server([&](Connection& connection) {
    connection.readSome();
    greeted.set_value();
    connection.waitUntilClosed();
  });
  settings_.tls = true;
  connectTo(server.port());

  EXPECT_EQ(reasonWhenCutAfter([&] { greeted.get_future().wait(); }), Connections::kCutText);

  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(ConnectionsTest, AreCutWhileABodyIsSent) {
  std::promise<void> begun;
  std::promise<void> cut;
  ScriptedServer server([&](Connection& connection) {
    connection.readHead();
    begun.set_value();
    cut.get_future().wait();
  });
  connectTo(server.port());

  EXPECT_EQ(reasonWhenCutAfter([&] { begun.get_future().wait(); }, std::string(50'000'000, 'x')),
            Connections::kCutText);

  EXPECT_EQ(server.connectionCount(), 1u);
  cut.set_value();
}

TEST_F(ConnectionsTest, DoNotEndABodyByBeingCut) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\n\r\nthe first half");
    connection.waitUntilClosed();
  });
  settings_.port = server.port();
  const connectivity10_15_0::Logger log("category");
  const auto session = sessions_.create("127.0.0.1", server.port(), ThreadLogger(log, 0));
  sendOn(*session, "GET", "/");
  ResponseHead head;
  session->reader().readHead(head, false);
  char body[100];
  ASSERT_GT(session->reader().readBody(body, sizeof(body)), 0u);

  sessions_.cutConnections();

  try {
    while (session->reader().readBody(body, sizeof(body)) > 0) {
    }
    FAIL() << "took half a body for a whole one";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), Connections::kCutText);
  }
}

// A request that could not be written to its end is given up.
TEST_F(ConnectionsTest, DoNotCarryTheRestOfAnEarlierRequest) {
  ScriptedServer server([](Connection& connection) {
    if (connection.index() == 0) return connection.waitUntilClosed();
    while (connection.readRequest()) connection.send(kEmptyAnswer);
  });
  settings_.port = server.port();
  const connectivity10_15_0::Logger log("category");
  const auto session = sessions_.create("127.0.0.1", server.port(), ThreadLogger(log, 0));
  sendOn(*session, "POST", "/given-up", "half");
  session->reset();

  sendOn(*session, "GET", "/");
  ResponseHead head;
  session->reader().readHead(head, false);

  EXPECT_EQ(server.requests().back().target, "/");
  EXPECT_EQ(server.connectionCount(), 2u);
  session->reset();
}

TEST_F(ConnectionsTest, AreNotMadeAnewOnceTheyHaveBeenCut) {
  ScriptedServer server(
      ScriptedServer::answeringAll("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
  connectTo(server.port());
  perform(RequestMessage("GET", "/", ""));
  ASSERT_EQ(server.connectionCount(), 1u);

  sessions_.cutConnections();

  EXPECT_EQ(reason(perform(RequestMessage("GET", "/", ""))), Connections::kCutText);
  exchange_->close();
  EXPECT_EQ(reason(perform(RequestMessage("GET", "/", ""))), Connections::kCutText);
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(ConnectionsTest, AreCutInATunnelThroughAProxy) {
  TempDir dir;
  CertificateAuthority authority(dir);
  settings_.tlsCertificateAuthorityFile = authority.certificateFile();
  const auto identity = authority.issue();
  ScriptedServer proxy([&](Connection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 Connection established\r\n\r\n");
    if (!connection.startTls(identity)) return;
    connection.readRequest();
    connection.waitUntilClosed();
  });
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.tls = true;
  connectTo(8443);

  EXPECT_EQ(reasonWhenCutAfter([&] { proxy.waitForRequests(2); }), Connections::kCutText);

  EXPECT_EQ(proxy.connectionCount(), 1u);
}

TEST_F(ConnectionsTest, AreCutWhileAProxyIsAskedForATunnel) {
  ScriptedServer proxy([](Connection& connection) {
    connection.readRequest();
    connection.waitUntilClosed();
  });
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.tls = true;
  connectTo(8443);

  EXPECT_EQ(reasonWhenCutAfter([&] { proxy.waitForRequests(1); }), Connections::kCutText);

  EXPECT_FALSE(hasRetried());
  EXPECT_EQ(proxy.connectionCount(), 1u);
}

TEST_F(ConnectionsTest, AreCutInsideTheTlsHandshakeOfATunnel) {
  std::promise<void> greeted;
  ScriptedServer proxy([&](Connection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 Connection established\r\n\r\n");
    connection.readSome();
    greeted.set_value();
    connection.waitUntilClosed();
  });
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.tls = true;
  connectTo(8443);

  EXPECT_EQ(reasonWhenCutAfter([&] { greeted.get_future().wait(); }), Connections::kCutText);

  EXPECT_EQ(proxy.connectionCount(), 1u);
}

// What the session keeps of a connection must not hold it open for the server.
TEST_F(ConnectionsTest, EndForTheServerWhenTheSessionClosesThem) {
  ScriptedServer server(
      ScriptedServer::answeringAll("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
  connectTo(server.port());
  perform(RequestMessage("GET", "/", ""));

  exchange_->close();

  server.waitForFinishedConnections(1);
  EXPECT_EQ(server.connectionCount(), 1u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
