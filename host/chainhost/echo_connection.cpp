#include "chainhost/echo_connection.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponseImpl.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/NetException.h>
#include <Poco/StreamCopier.h>
#include <Poco/String.h>

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "chainhost/json_text.h"
#include "chainhost/text_buffer.h"

namespace chainhost {

namespace {

using Poco::Net::HTTPResponse;
using Poco::Net::HTTPServerRequest;
using Poco::Net::HTTPServerRequestImpl;
using Poco::Net::HTTPServerResponseImpl;
using Poco::Net::HTTPServerSession;

struct Header {
  std::string_view name;
  std::vector<std::string_view> values;
};

std::vector<Header> gatherHeaders(const HTTPServerRequest& request) {
  std::vector<Header> headers;
  for (const auto& field : request) {
    const auto same = std::find_if(headers.begin(), headers.end(), [&field](const Header& header) {
      return Poco::icompare(field.first, std::string(header.name)) == 0;
    });
    if (same == headers.end()) {
      headers.push_back({field.first, {field.second}});
    } else {
      same->values.push_back(field.second);
    }
  }
  return headers;
}

void appendHeader(TextBuffer& out, const Header& header) {
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

void describe(HTTPServerRequest& request, TextBuffer& out) {
  out += "{\"method\": ";
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
}

void answer(HTTPServerRequest& request, HTTPServerResponseImpl& response) {
  if (request.getExpectContinue()) {
    response.sendContinue();
  }
  TextBuffer description;
  describe(request, description);
  const std::string_view text = description.view();
  response.setContentType("application/json");
  response.sendBuffer(text.data(), text.size());
}

// Serves one request; afterwards the session knows whether another may come.
void serve(HTTPServerSession& session, Poco::Net::HTTPServerParams* params) {
  HTTPServerResponseImpl response(session);
  response.setVersion(HTTPResponse::HTTP_1_1);
  try {
    HTTPServerRequestImpl request(response, session, params);
    response.setKeepAlive(request.getKeepAlive());
    session.setKeepAlive(request.getKeepAlive());
    answer(request, response);
  } catch (const Poco::Net::NoMessageException&) {
    session.setKeepAlive(false);  // closed, or silent for too long
  } catch (const Poco::Net::MessageException&) {
    session.setKeepAlive(false);
    response.setStatusAndReason(HTTPResponse::HTTP_BAD_REQUEST);
    response.setKeepAlive(false);
    response.setContentLength(0);
    response.send();
  }
}

}  // namespace

bool OpenConnections::add(EchoConnection& connection) {
  const com::orvex::AutoMutex lock(mutex_);
  if (!ending_) {
    connections_.insert(&connection);
  }
  return !ending_;
}

void OpenConnections::remove(EchoConnection& connection) {
  const com::orvex::AutoMutex lock(mutex_);
  connections_.erase(&connection);
}

void OpenConnections::endAll() {
  const com::orvex::AutoMutex lock(mutex_);
  ending_ = true;
  for (EchoConnection* const connection : connections_) {
    connection->endReceiving();
  }
}

bool OpenConnections::isEnding() const {
  const com::orvex::AutoMutex lock(mutex_);
  return ending_;
}

EchoConnection::EchoConnection(const Poco::Net::StreamSocket& socket, OpenConnections& open,
                               Poco::Net::HTTPServerParams::Ptr params)
    : TCPServerConnection(socket), open_(open), params_(std::move(params)) {}

void EchoConnection::run() {
  if (!open_.add(*this)) {
    return;
  }
  HTTPServerSession session(socket(), params_);
  try {
    while (!open_.isEnding() && session.hasMoreRequests()) {
      serve(session, params_.get());
    }
  } catch (const std::exception&) {
    // The peer went away in the middle of a request: nobody is left to tell.
  }
  open_.remove(*this);
}

void EchoConnection::endReceiving() {
  try {
    socket().shutdownReceive();
  } catch (const Poco::Exception&) {
    // The peer has closed the connection already.
  }
}

EchoConnectionFactory::EchoConnectionFactory(OpenConnections& open)
    : open_(open), params_(new Poco::Net::HTTPServerParams) {}

Poco::Net::TCPServerConnection* EchoConnectionFactory::createConnection(
    const Poco::Net::StreamSocket& socket) {
  return new EchoConnection(socket, open_, params_);
}

}  // namespace chainhost
