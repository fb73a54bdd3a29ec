#include "chainhost/echo_connection.h"

#include <Poco/Net/ServerSocket.h>
#include <gtest/gtest.h>

#include <memory>

namespace chainhost {
namespace {

using Poco::Net::HTTPServerParams;
using Poco::Net::SocketAddress;
using Poco::Net::StreamSocket;

class EchoConnectionTest : public testing::Test {
 protected:
  std::unique_ptr<EchoConnection> on(const StreamSocket& socket) {
    return std::make_unique<EchoConnection>(socket, open_, new HTTPServerParams);
  }

  OpenConnections open_;
};

TEST_F(EchoConnectionTest, MayBeGoneWhenItsReceivingIsToEnd) {
  const auto connection = on(StreamSocket(SocketAddress::IPv4));

  EXPECT_NO_THROW(connection->endReceiving());
}

TEST_F(EchoConnectionTest, IsNotServedOnceTheServerEnds) {
  const Poco::Net::ServerSocket listening(SocketAddress("127.0.0.1", 0));
  StreamSocket peer(listening.address());
  auto connection = on(Poco::Net::ServerSocket(listening).acceptConnection());
  open_.endAll();

  connection->run();  // returns without waiting for a request

  connection.reset();
  char byte = 0;
  EXPECT_EQ(peer.receiveBytes(&byte, 1), 0);
}

}  // namespace
}  // namespace chainhost
