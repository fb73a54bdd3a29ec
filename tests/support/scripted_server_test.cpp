#include "support/scripted_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "support/loopback.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kEmptyAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

// A client of raw bytes.
class Client {
 public:
  explicit Client(std::uint16_t port) : descriptor_(connectLoopback(port)) {}
  ~Client() { ::close(descriptor_); }

  void send(std::string_view bytes) {
    ASSERT_EQ(::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  /// All bytes up to the server's end, then "<reset>" if that is a reset.
  std::string receiveAll() {
    std::string all;
    for (;;) {
      std::array<char, 4096> bytes;
      const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), 0);
      if (count <= 0) {
        return count == 0 ? all : all + "<reset>";
      }
      all.append(bytes.data(), static_cast<std::size_t>(count));
    }
  }

  /// As many bytes as expected.
  std::string receive(std::size_t count) {
    std::string bytes(count, '\0');
    EXPECT_EQ(recv(descriptor_, bytes.data(), count, MSG_WAITALL), static_cast<ssize_t>(count));
    return bytes;
  }

  void finish() { shutdown(descriptor_, SHUT_WR); }

  int descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

// A TLS client that trusts one authority.
class TlsClient {
 public:
  TlsClient(std::uint16_t port, const std::string& trustedFile)
      : client_(port), context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free) {
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_load_verify_file(context_.get(), trustedFile.c_str());
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_fd(ssl_.get(), client_.descriptor());
    SSL_set_tlsext_host_name(ssl_.get(), "localhost");
  }

  /// The answer to a CONNECT request, which has so many bytes.
  std::string connect(const std::string& target, std::size_t count) {
    client_.send("CONNECT " + target + " HTTP/1.1\r\n\r\n");
    return client_.receive(count);
  }

  bool handshake() { return SSL_connect(ssl_.get()) == 1; }

  void send(std::string_view bytes) {
    ASSERT_EQ(SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())),
              static_cast<int>(bytes.size()));
  }

  /// All bytes up to the server's end, then "<cut>" if that came without close_notify.
  std::string receiveAll() {
    std::string all;
    for (;;) {
      std::array<char, 4096> bytes;
      ERR_clear_error();
      const int count = SSL_read(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()));
      if (count <= 0) {
        return SSL_get_error(ssl_.get(), count) == SSL_ERROR_ZERO_RETURN ? all : all + "<cut>";
      }
      all.append(bytes.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };

  Client client_;
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  std::unique_ptr<SSL, FreeSsl> ssl_;
};

TEST(ScriptedServerTest, SendsTheScriptsBytesAndRecordsTheRequest) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.send("any bytes");
  });
  Client client(server.port());

  client.send("POST /x HTTP/1.1\r\nContent-Length: 2\r\n\r\nab");

  EXPECT_EQ(client.receiveAll(), "any bytes");
  const std::vector<HttpRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].target, "/x");
  EXPECT_EQ(requests[0].body, "ab");
}

TEST(ScriptedServerTest, CountsConnectionsAndNumbersThem) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  Client first(server.port());
  server.waitForConnections(1);
  Client second(server.port());

  second.send("GET /second HTTP/1.1\r\n\r\nGET /third HTTP/1.1\r\n\r\n");
  const std::vector<HttpRequest> requests = server.waitForRequests(2);
  second.receive(2 * kEmptyAnswer.size());  // unread answers would make the client's end a reset

  EXPECT_EQ(server.connectionCount(), 2U);
  EXPECT_EQ(requests[0].target, "/second");
  EXPECT_EQ(requests[0].connection, 1U);
  EXPECT_EQ(requests[1].target, "/third");
  EXPECT_EQ(requests[1].connection, 1U);
}

TEST(ScriptedServerTest, RecordsRequestsOfManyConnectionsAtOnce) {
  constexpr std::size_t kClients = 8;
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));

  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kClients; ++i) {
    threads.emplace_back([&server] {
      Client client(server.port());
      for (int request = 0; request < 20; ++request) {
        client.send("GET / HTTP/1.1\r\n\r\n");
        EXPECT_EQ(client.receive(kEmptyAnswer.size()), kEmptyAnswer);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  server.waitForFinishedConnections(kClients);

  EXPECT_EQ(server.requests().size(), kClients * 20);
}

TEST(ScriptedServerTest, ScriptMayAnswerBeforeTheBodyHasCome) {
  ScriptedServer server([](Connection& connection) {
    std::optional<HttpRequest> request = connection.readHead();
    connection.send("early");
    connection.readBody(request.value());
  });
  Client client(server.port());

  client.send("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\n");
  EXPECT_EQ(client.receive(5), "early");
  EXPECT_THAT(server.requests(), IsEmpty());
  client.send("abc");

  EXPECT_EQ(client.receiveAll(), "");
  EXPECT_EQ(server.requests().at(0).body, "abc");
}

TEST(ScriptedServerTest, ResetReachesThePeerAsAReset) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.reset();
  });
  Client client(server.port());

  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "<reset>");
}

TEST(ScriptedServerTest, FinishEndsOneDirectionOnly) {
  ScriptedServer server([](Connection& connection) {
    connection.send("bye");
    connection.finish();
    connection.readRequest();
  });
  Client client(server.port());

  EXPECT_EQ(client.receiveAll(), "bye");
  client.send("GET /after HTTP/1.1\r\n\r\n");

  EXPECT_EQ(server.waitForRequests(1).at(0).target, "/after");
}

TEST(ScriptedServerTest, WaitsUntilThePeerCloses) {
  ScriptedServer server([](Connection& connection) {
    connection.waitUntilClosed();
    connection.send("seen");
  });
  Client client(server.port());

  client.send("anything at all");
  client.finish();

  EXPECT_EQ(client.receiveAll(), "seen");
}

TEST(ScriptedServerTest, IdleCloseByThePeerIsTheEndOfTheRequests) {
  ScriptedServer server([](Connection& connection) {
    EXPECT_TRUE(connection.readRequest());
    EXPECT_FALSE(connection.readRequest());
  });
  Client client(server.port());

  client.send("GET / HTTP/1.1\r\n\r\n");
  client.finish();

  server.waitForFinishedConnections(1);
}

TEST(ScriptedServerTest, SendToAPeerThatHasGoneIsReported) {
  bool sent = true;
  {
    ScriptedServer server([&sent](Connection& connection) {
      connection.readRequest();
      connection.waitUntilClosed();
      while (sent) {
        sent = connection.trySend(std::string(100000, 'x'));
      }
      EXPECT_THROW(connection.send("x"), ConnectionLost);
    });
    Client client(server.port());
    client.send("GET / HTTP/1.1\r\n\r\n");
    server.waitForRequests(1);
  }

  EXPECT_FALSE(sent);
}

TEST(ScriptedServerTest, DestructionEndsScriptsThatWait) {
  ScriptedServer::Script waiting = [](Connection& connection) { connection.readRequest(); };
  auto server = std::make_unique<ScriptedServer>(waiting);
  Client idle(server->port());
  Client halfway(server->port());
  halfway.send("GET / HT");
  server->waitForConnections(2);

  server.reset();

  EXPECT_EQ(idle.receiveAll(), "");
}

TEST(ScriptedServerTest, FailureOfAScriptFailsTheTest) {
  const auto run = [] {
    ScriptedServer server([](Connection& connection) {
      connection.readRequest();
      throw std::runtime_error("the script's own words");
    });
    Client client(server.port());
    client.send("GET / HTTP/1.1\r\n\r\n");
    client.receiveAll();
    server.waitForFinishedConnections(1);
  };

  EXPECT_NONFATAL_FAILURE(run(), "connection 0: the script's own words");
}

TEST(ScriptedServerTest, MalformedRequestIsAFailureUnlessTaken) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  Client client(server.port());

  client.send("GET / HTTP/1.1\n\n");
  server.waitForFinishedConnections(1);

  EXPECT_THAT(server.takeFailures(), ElementsAre(HasSubstr("without carriage return")));
}

TEST(ScriptedServerTest, RefusesConnectionsOnceItDoesNotListen) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  Client client(server.port());
  server.waitForConnections(1);

  server.stopListening();

  EXPECT_THROW(connectLoopback(server.port()), std::system_error);
  client.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receive(kEmptyAnswer.size()), kEmptyAnswer);
}

TEST(ScriptedServerTest, SpeaksTlsWithACertificateThatItsAuthorityVouchesFor) {
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(authority.issue(), [](Connection& connection) {
    connection.readRequest();
    connection.send(connection.serverName());
  });
  TlsClient client(server.port(), authority.certificateFile());

  ASSERT_TRUE(client.handshake());
  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "localhost");
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(server.failedHandshakeCount(), 0U);
}

TEST(ScriptedServerTest, RefusedCertificateIsAFailedHandshakeAndRunsNoScript) {
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(selfSigned(dir, "self"), [](Connection&) { FAIL() << "script run"; });
  TlsClient client(server.port(), authority.certificateFile());

  EXPECT_FALSE(client.handshake());
  server.waitForFinishedConnections(1);

  EXPECT_EQ(server.failedHandshakeCount(), 1U);
}

TEST(ScriptedServerTest, CloseWithoutNotifyIsACutTlsStream) {
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(authority.issue(), [](Connection& connection) {
    connection.readRequest();
    connection.send("half");
    connection.closeWithoutNotify();
  });
  TlsClient client(server.port(), authority.certificateFile());

  ASSERT_TRUE(client.handshake());
  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "half<cut>");
}

TEST(ScriptedServerTest, ResetFollowsAllThatWasSent) {
  const TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(authority.issue(), [](Connection& connection) {
    connection.readRequest();
    connection.send("half");
    connection.reset();
  });
  TlsClient client(server.port(), authority.certificateFile());
  ASSERT_TRUE(client.handshake());

  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "half<cut>");
}

TEST(ScriptedServerTest, ScriptMayBeginTlsAfterPlainBytes) {
  TempDir dir;
  CertificateAuthority authority(dir);
  const TlsIdentity identity = authority.issue();
  ScriptedServer server([&identity](Connection& connection) {
    ASSERT_TRUE(connection.startTls(identity));
    connection.readRequest();
    connection.send("secret");
  });
  TlsClient client(server.port(), authority.certificateFile());

  ASSERT_TRUE(client.handshake());
  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "secret");
}

TEST(ScriptedServerTest, OpensATunnelAndIsTheServerAtItsEnd) {
  const std::string opened = "HTTP/1.1 200 Connection established\r\n\r\n";
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(TunnelTo{authority.issue()}, [](Connection& connection) {
    connection.readRequest();
    connection.send("secret");
  });
  TlsClient client(server.port(), authority.certificateFile());

  EXPECT_EQ(client.connect("far:443", opened.size()), opened);
  ASSERT_TRUE(client.handshake());
  client.send("GET /x HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "secret");
  ASSERT_EQ(server.tunnels().size(), 1U);
  EXPECT_EQ(server.tunnels()[0].target, "far:443");
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(server.requests()[0].target, "/x");
}

TEST(ScriptedServerTest, OpensNoTunnelForAnotherRequest) {
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(TunnelTo{authority.issue()}, [](Connection&) { FAIL(); });
  Client client(server.port());

  client.send("GET / HTTP/1.1\r\n\r\n");

  EXPECT_EQ(client.receiveAll(), "");
  server.waitForFinishedConnections(1);
  EXPECT_THAT(server.takeFailures(), ElementsAre("connection 0: not CONNECT: GET"));
  EXPECT_THAT(server.tunnels(), IsEmpty());
}

TEST(ScriptedServerTest, APeerThatAsksForNoTunnelIsNoFailure) {
  TempDir dir;
  CertificateAuthority authority(dir);
  ScriptedServer server(TunnelTo{authority.issue()}, [](Connection&) { FAIL(); });
  { const Client client(server.port()); }

  server.waitForFinishedConnections(1);

  EXPECT_EQ(server.failedHandshakeCount(), 0U);
}

}  // namespace
}  // namespace test_support
