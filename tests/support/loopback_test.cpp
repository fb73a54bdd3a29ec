#include "support/loopback.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

namespace test_support {
namespace {

// Whether a connection stands or has failed, rather than waits.
bool isDecided(int descriptor) {
  pollfd connected{descriptor, POLLOUT, 0};
  return poll(&connected, 1, 0) == 1;
}

TEST(LoopbackTest, ConnectsToAPortThatIsListenedOn) {
  const int listening = listenLoopback();

  const int client = connectLoopback(boundPort(listening));
  const int server = accept(listening, nullptr, nullptr);

  EXPECT_EQ(send(client, "x", 1, 0), 1);
  std::array<char, 2> bytes;
  EXPECT_EQ(recv(server, bytes.data(), bytes.size(), 0), 1);
  close(client);
  close(server);
  close(listening);
}

TEST(RefusingPortTest, RefusesConnections) {
  RefusingPort refusing;

  try {
    connectLoopback(refusing.port());
    FAIL() << "connected";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), ECONNREFUSED);
  }
}

TEST(RefusingPortTest, RefusesUnlessItIsListenedOn) {
  RefusingPort refusing;

  for (int round = 0; round < 3; ++round) {
    const int listening = refusing.listen();
    const int client = connectLoopback(refusing.port());
    EXPECT_EQ(boundPort(listening), refusing.port());
    close(client);
    close(listening);
    EXPECT_THROW(connectLoopback(refusing.port()), std::system_error);
  }
}

TEST(RefusingPortTest, IsListenedOnAgainWhileAnOldConnectionStands) {
  RefusingPort refusing;
  const int first = refusing.listen();
  const int client = connectLoopback(refusing.port());
  const int server = accept(first, nullptr, nullptr);
  close(first);

  const int second = refusing.listen();

  EXPECT_GE(second, 0);
  for (const int descriptor : {client, server, second}) close(descriptor);
}

TEST(UnansweringPortTest, TakesConnectionsOnceItIsDrained) {
  UnansweringPort unanswering;
  const std::uint16_t port = unanswering.port();

  const int listening = unanswering.drain();
  const int client = connectLoopback(port);
  const int server = accept(listening, nullptr, nullptr);

  EXPECT_EQ(send(client, "x", 1, 0), 1);
  std::array<char, 2> bytes;
  EXPECT_EQ(recv(server, bytes.data(), bytes.size(), 0), 1);  // it is the client's, not an old one
  for (const int descriptor : {client, server, listening}) close(descriptor);
}

TEST(UnansweringPortTest, LeavesNewConnectionsWaiting) {
  UnansweringPort unanswering;

  const int one = beginConnectLoopback(unanswering.port());
  const int other = beginConnectLoopback(unanswering.port());

  EXPECT_FALSE(isDecided(one));
  EXPECT_FALSE(isDecided(other));
  close(one);
  close(other);
}

}  // namespace
}  // namespace test_support
