// chainhost/echo_connection.h : one connection of the echo server, and all that are open.
//
// Role:      serves the requests of a connection one after the other. The library's own server
//            would do, but for its end, where it frees connections on one thread while another
//            still tells them of it.
// Threads:   a connection runs on a thread of the server's pool; OpenConnections any thread,
//            internal lock ("EchoConnections").
#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>

#include <set>

#include "runtime/mutex.h"

namespace chainhost {

class EchoConnection;

// The connections that are being served.
class OpenConnections {
 public:
  // False: no connection is served any more.
  bool add(EchoConnection& connection);
  void remove(EchoConnection& connection);

  // Lets every connection answer the request that it has in hand and end.
  void endAll();

  // True from endAll on.
  bool isEnding() const;

 private:
  mutable com::orvex::Mutex mutex_{"EchoConnections"};
  bool ending_ OV_GUARDED_BY(mutex_) = false;
  std::set<EchoConnection*> connections_ OV_GUARDED_BY(mutex_);
};

class EchoConnection : public Poco::Net::TCPServerConnection {
 public:
  EchoConnection(const Poco::Net::StreamSocket& socket, OpenConnections& open,
                 Poco::Net::HTTPServerParams::Ptr params);

  void run() override;

  // Lets no further request in. REQUIRES: run is running.
  void endReceiving();

 private:
  OpenConnections& open_;
  Poco::Net::HTTPServerParams::Ptr params_;
};

class EchoConnectionFactory : public Poco::Net::TCPServerConnectionFactory {
 public:
  // `open` must outlive the connections.
  explicit EchoConnectionFactory(OpenConnections& open);

  Poco::Net::TCPServerConnection* createConnection(const Poco::Net::StreamSocket& socket) override;

 private:
  OpenConnections& open_;
  Poco::Net::HTTPServerParams::Ptr params_;
};

}  // namespace chainhost
