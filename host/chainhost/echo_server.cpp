#include "chainhost/echo_server.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/StreamCopier.h>
#include <Poco/String.h>
#include <Poco/ThreadPool.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "chainhost/json_text.h"
#include "chainhost/report.h"
#include "chainhost/signal_watcher.h"

namespace chainhost {

namespace {

using Poco::Net::HTTPServerRequest;
using Poco::Net::HTTPServerResponse;

constexpr int kBacklog = 128;

Poco::Net::ServerSocket listenOn(std::uint16_t port) {
  Poco::Net::ServerSocket socket;
  // The address may be one that a server has just left, but not one that another serves.
  constexpr bool reuseAddress = true;
  constexpr bool reusePort = false;
  socket.bind(Poco::Net::SocketAddress("127.0.0.1", port), reuseAddress, reusePort);
  socket.listen(kBacklog);
  return socket;
}

struct Header {
  std::string_view name;
  std::vector<std::string_view> values;
};

std::vector<Header> gatherHeaders(const HTTPServerRequest& request) {
  std::vector<Header> headers;
  for (const auto& [name, value] : request) {
    const auto same = std::find_if(headers.begin(), headers.end(), [&](const Header& header) {
      return Poco::icompare(std::string(header.name), name) == 0;
    });
    if (same == headers.end()) {
      headers.push_back({name, {value}});
    } else {
      same->values.push_back(value);
    }
  }
  return headers;
}

void appendHeader(std::string& out, const Header& header) {
  appendJsonText(out, header.name);
  out += ": ";
  const bool isList = header.values.size() > 1;
  out += isList ? "[" : "";
  const char* separator = "";
  for (const std::string_view value : header.values) {
    out += separator;
    appendJsonText(out, value);
    separator = ", ";
  }
  out += isList ? "]" : "";
}

std::string readBody(HTTPServerRequest& request) {
  std::string body;
  // A request with neither has no body; the library would wait for the connection's end.
  if (request.hasContentLength() || request.getChunkedTransferEncoding()) {
    Poco::StreamCopier::copyToString(request.stream(), body);
  }
  return body;
}

std::string describe(HTTPServerRequest& request) {
  std::string out = "{\"method\": ";
  appendJsonText(out, request.getMethod());
  out += ", \"target\": ";
  appendJsonText(out, request.getURI());
  out += ", \"headers\": {";
  const char* separator = "";
  for (const Header& header : gatherHeaders(request)) {
    out += separator;
    appendHeader(out, header);
    separator = ", ";
  }
  out += "}, \"body\": ";
  appendJsonBytes(out, readBody(request));
  out += "}\n";
  return out;
}

class EchoHandler : public Poco::Net::HTTPRequestHandler {
 public:
  void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
    const std::string text = describe(request);
    response.setContentType("application/json");
    response.sendBuffer(text.data(), text.size());
  }
};

class EchoHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
 public:
  Poco::Net::HTTPRequestHandler* createRequestHandler(const HTTPServerRequest&) override {
    return new EchoHandler;
  }
};

}  // namespace

// The library's objects; the threads outlive the server that uses them.
class EchoServer::Parts {
 public:
  explicit Parts(std::uint16_t port)
      : threads_("echo", 2, EchoServer::kConnectionsMax),
        socket_(listenOn(port)),
        server_(new EchoHandlerFactory, threads_, socket_, new Poco::Net::HTTPServerParams) {
    server_.start();
  }
  ~Parts() {
    server_.stopAll(false);
    threads_.joinAll();
  }

  std::uint16_t port() const { return socket_.address().port(); }

 private:
  Poco::ThreadPool threads_;
  Poco::Net::ServerSocket socket_;
  Poco::Net::HTTPServer server_;
};

EchoServer::EchoServer(std::uint16_t port) try : parts_(std::make_unique<Parts>(port)) {
} catch (const Poco::Exception& error) {
  throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
                           error.displayText());
}

EchoServer::~EchoServer() = default;

std::uint16_t EchoServer::port() const { return parts_->port(); }

ExitCode echoServerCommand(std::uint16_t port) {
  blockEndSignals();
  try {
    const EchoServer server(port);
    std::cout << "listening on 127.0.0.1:" + std::to_string(server.port()) + "\n" << std::flush;
    waitForEndSignal();
  } catch (const std::exception& error) {
    report(error.what());
    return ExitCode::Failed;
  }
  return ExitCode::Done;
}

}  // namespace chainhost
