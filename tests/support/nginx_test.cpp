#include "support/nginx.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "support/loopback.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// What the server answers to the given bytes, up to its closing of the connection.
std::string exchange(std::uint16_t port, const std::string& bytes) {
  const int descriptor = connectLoopback(port);
  EXPECT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
  std::string all;
  std::array<char, 4096> piece;
  for (ssize_t count = 1; count > 0;) {
    count = recv(descriptor, piece.data(), piece.size(), 0);
    all.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  close(descriptor);
  return all;
}

TEST(NginxTest, AnswersAndLogsEachRequest) {
  Nginx::Options options;
  options.loggedHeaders = {"X-Request-Id", "X-Key"};
  Nginx nginx(options);

  const std::string answers = exchange(
      nginx.port(),
      "POST /a HTTP/1.1\r\nHost: h\r\nX-Request-Id: 1\r\nContent-Length: 3\r\n\r\nabc"
      "GET /b HTTP/1.1\r\nHost: h\r\nX-Request-Id: 2\r\nX-Key: k\r\nConnection: close\r\n\r\n");
  nginx.stop();

  EXPECT_THAT(answers, StartsWith("HTTP/1.1 200 OK\r\n"));
  const std::vector<Nginx::AccessLine> lines = nginx.accessLog();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].method, "POST");
  EXPECT_EQ(lines[0].uri, "/a");
  EXPECT_EQ(lines[0].status, 200);
  EXPECT_THAT(lines[0].headers, ElementsAre("1", ""));
  EXPECT_THAT(lines[1].headers, ElementsAre("2", "k"));
  EXPECT_EQ(lines[0].connection, lines[1].connection);
  EXPECT_EQ(lines[1].connectionRequest, 2U);
  EXPECT_GT(lines[0].startMs, 1'000'000'000'000);
  EXPECT_LE(lines[0].startMs, lines[0].endMs);
}

TEST(NginxTest, TakesLocationsOfItsOwn) {
  Nginx::Options options;
  options.locations = "location = /teapot { return 418 'short'; }";
  Nginx nginx(options);

  const std::string answer = exchange(nginx.port(), "GET /teapot HTTP/1.0\r\n\r\n");

  EXPECT_THAT(answer, StartsWith("HTTP/1.1 418 \r\n"));
}

TEST(NginxTest, ClosesAConnectionAfterTheRequestsAllowed) {
  Nginx::Options options;
  options.keepAliveRequests = 1;
  Nginx nginx(options);

  const std::string answer = exchange(nginx.port(), "GET / HTTP/1.1\r\nHost: h\r\n\r\n");

  EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
}

TEST(NginxTest, SpeaksTlsWhenGivenACertificate) {
  TempDir dir;
  CertificateAuthority authority(dir);
  Nginx::Options options;
  options.tls = authority.issue();
  Nginx nginx(options);

  Process::Options output;
  output.outputFile = dir.file("out");
  Process client({"openssl", "s_client", "-connect", "127.0.0.1:" + std::to_string(nginx.port()),
                  "-CAfile", authority.certificateFile(), "-verify_return_error", "-brief"},
                 output);

  EXPECT_EQ(client.wait(), 0);
}

TEST(NginxTest, TwoServersStandSideBySide) {
  Nginx one({});
  Nginx other({});

  EXPECT_NE(one.port(), other.port());
  EXPECT_THAT(exchange(one.port(), "GET / HTTP/1.0\r\n\r\n"), HasSubstr("\r\n\r\nok"));
  EXPECT_THAT(exchange(other.port(), "GET / HTTP/1.0\r\n\r\n"), HasSubstr("\r\n\r\nok"));
}

TEST(NginxTest, ServerThatDoesNotStartTellsWhy) {
  Nginx::Options options;
  options.locations = "no_such_directive;";

  try {
    Nginx nginx(options);
    FAIL() << "started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("unknown directive \"no_such_directive\""));
  }
}

TEST(NginxTest, StoppedServerRefusesConnections) {
  Nginx nginx({});
  exchange(nginx.port(), "GET / HTTP/1.0\r\n\r\n");

  nginx.stop();

  EXPECT_THROW(connectLoopback(nginx.port()), std::system_error);
}

}  // namespace
}  // namespace test_support
