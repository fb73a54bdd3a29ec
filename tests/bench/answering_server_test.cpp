#include "bench/comparison/answering_server.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "bench/server_socket.h"
#include "bench/server_tls.h"
#include "runtime/platform.h"
#include "support/certificates.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace {

using bench::AnsweringServer;
using bench::ServerSocket;

struct FreeTls {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

std::string answer(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

class AnsweringServerTest : public testing::Test {
 protected:
  AnsweringServerTest() : thread_([this] { server_.serveUntil(stop_); }) {}
  ~AnsweringServerTest() override {
    ::eventfd_write(stop_, 1);
    thread_.join();
    for (const int descriptor : {plain_, overTls_, stop_}) ::close(descriptor);
  }

  ServerSocket connect() const {
    return {test_support::connectLoopback(test_support::boundPort(plain_)), nullptr};
  }

  // So many bytes of what the server sends, or all that comes before it closes.
  static std::string receive(ServerSocket& socket, std::size_t bytes) {
    std::string received(bytes, '\0');
    std::size_t length = 0;
    while (length < bytes) {
      const std::size_t count = socket.receive(received.data() + length, bytes - length);
      if (count == 0) break;
      length += count;
    }
    received.resize(length);
    return received;
  }

  const test_support::TempDir folder_;
  const bench::TlsContext tls_ = bench::serverTls(test_support::selfSigned(folder_, "server"));
  const int plain_ = test_support::listenLoopback();
  const int overTls_ = test_support::listenLoopback();
  const int stop_ = ::eventfd(0, EFD_CLOEXEC);
  AnsweringServer server_{plain_, overTls_, tls_.get()};
  std::thread thread_;
};

TEST_F(AnsweringServerTest, AnswersWithAsManyBytesAsTheTargetSays) {
  ServerSocket socket = connect();

  for (const std::size_t bytes : {3u, 0u, 200'000u}) {
    const std::string expected = answer(std::string(bytes, 'y'));
    ASSERT_TRUE(socket.send("GET /answer/" + std::to_string(bytes) + "/0 HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(receive(socket, expected.size()), expected);
  }
}

TEST_F(AnsweringServerTest, TakesTheWholeBodyOfARequestBeforeItAnswers) {
  ServerSocket socket = connect();
  const std::string head =
      "POST /answer/1/0 HTTP/1.1\r\nhost: x\r\nCONTENT-length:  300000\r\n\r\n";

  ASSERT_TRUE(socket.send(head + std::string(200'000, 'x')));
  ASSERT_TRUE(socket.send(std::string(100'000, 'x')));
  EXPECT_EQ(receive(socket, answer("y").size()), answer("y"));

  // Nothing of the body is left over to be taken for a request.
  ASSERT_TRUE(socket.send("GET /answer/2/0 HTTP/1.1\r\n\r\n"));
  EXPECT_EQ(receive(socket, answer("yy").size()), answer("yy"));
}

TEST_F(AnsweringServerTest, ReadsAHeadThatComesInPieces) {
  ServerSocket socket = connect();

  for (const char c : std::string("GET /answer/1/0 HTTP/1.1\r\n\r\n")) {
    ASSERT_TRUE(socket.send(std::string(1, c)));
  }

  EXPECT_EQ(receive(socket, answer("y").size()), answer("y"));
}

TEST_F(AnsweringServerTest, AnswersNoSoonerThanTheTargetSays) {
  ServerSocket socket = connect();
  const std::int64_t beginNanos = com::orvex::Platform::monotonicNanos();

  ASSERT_TRUE(socket.send("GET /answer/1/20 HTTP/1.1\r\n\r\n"));

  EXPECT_EQ(receive(socket, answer("y").size()), answer("y"));
  EXPECT_GE(com::orvex::Platform::monotonicNanos() - beginNanos, 20'000'000);
}

TEST_F(AnsweringServerTest, AnAnswerThatIsDueLaterHoldsNothingUp) {
  ServerSocket later = connect();
  ServerSocket sooner = connect();

  ASSERT_TRUE(later.send("GET /answer/2/600000 HTTP/1.1\r\n\r\n"));
  ASSERT_TRUE(sooner.send("GET /answer/1/20 HTTP/1.1\r\n\r\n"));

  EXPECT_EQ(receive(sooner, answer("y").size()), answer("y"));
}

TEST_F(AnsweringServerTest, EndsConnectionsThatAskForAnythingElse) {
  for (const std::string target : {"/", "/answer/", "/answer/1", "/answer/x/0", "/answer/1/x"}) {
    ServerSocket socket = connect();
    ASSERT_TRUE(socket.send("GET " + target + " HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(receive(socket, 1), "") << target;
  }
}

TEST_F(AnsweringServerTest, EndsConnectionsWhoseHeadHasNoEnd) {
  ServerSocket socket = connect();

  socket.send(std::string(1 << 20, 'x'));

  EXPECT_EQ(receive(socket, 1), "");
}

TEST_F(AnsweringServerTest, OutlivesClientsThatGoBeforeTheirAnswer) {
  {
    ServerSocket gone = connect();
    ASSERT_TRUE(gone.send("GET /answer/1/5 HTTP/1.1\r\n\r\n"));
    gone.resetAtEnd();
  }
  ServerSocket socket = connect();
  ASSERT_TRUE(socket.send("GET /answer/1/50 HTTP/1.1\r\n\r\n"));

  EXPECT_EQ(receive(socket, answer("y").size()), answer("y"));
}

TEST_F(AnsweringServerTest, AnswersOverTls) {
  const std::unique_ptr<SSL_CTX, FreeTls> context(SSL_CTX_new(TLS_client_method()));
  const std::unique_ptr<SSL, FreeTls> ssl(SSL_new(context.get()));
  const int descriptor = test_support::connectLoopback(test_support::boundPort(overTls_));
  SSL_set_fd(ssl.get(), descriptor);
  ASSERT_EQ(SSL_connect(ssl.get()), 1);
  const std::string request = "POST /answer/100000/0 HTTP/1.1\r\nContent-Length: 1\r\n\r\nx";
  const std::string expected = answer(std::string(100'000, 'y'));

  ASSERT_GT(SSL_write(ssl.get(), request.data(), static_cast<int>(request.size())), 0);
  std::string received(expected.size(), '\0');
  for (std::size_t length = 0; length < received.size();) {
    const int count =
        SSL_read(ssl.get(), received.data() + length, static_cast<int>(received.size() - length));
    ASSERT_GT(count, 0);
    length += static_cast<std::size_t>(count);
  }

  EXPECT_EQ(received, expected);
  ::close(descriptor);
}

}  // namespace
