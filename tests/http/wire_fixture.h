// http/wire_fixture.h : whole requests as a server gets them, byte for byte.
//
// Role:      holds what stands on the wire, whoever writes it: not in how many pieces it comes.
//            A case gives the bytes with "{server}" where the server's address and port belong.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>

#include "http/exchange_fixture.h"

namespace com::corvane::connectivity::plugins {

struct WireCase {
  const char* name;
  RequestMessage (*message)();
  std::string bytes;
};

inline void PrintTo(const WireCase& wireCase, std::ostream* out) { *out << wireCase.name; }

inline std::string wireCaseName(const testing::TestParamInfo<WireCase>& info) {
  return info.param.name;
}

using Pairs = std::initializer_list<std::pair<const char*, const char*>>;

/// A message to "/" with headers.
inline RequestMessage with(Pairs headers, const char* method = "GET",
                           const std::string& body = "") {
  RequestMessage message(method, "/", body);
  for (const auto& [name, value] : headers) message.header(name, data_t(value));
  return message;
}

/// The text with every `what` in it become `with`.
inline std::string replaced(std::string text, const std::string& what, const std::string& with) {
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
  return text;
}

class WireFixture : public ExchangeFixture {
 protected:
  /// The one request that a message becomes, with nothing before or behind it on its connection.
  test_support::HttpRequest onWire(RequestMessage& message) {
    using test_support::ScriptedServer;
    ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
    connectTo(server.port(), 4, basicAuthentication_);
    EXPECT_EQ(status(perform(message)), 200);
    exchange_->close();
    server.waitForFinishedConnections(1);
    EXPECT_EQ(server.connectionCount(), 1u);
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), 1u);
    return requests.empty() ? test_support::HttpRequest() : requests.front();
  }
  test_support::HttpRequest onWire(RequestMessage&& message) { return onWire(message); }

  /// Bytes that were sent, as a case gives them.
  std::string named(const std::string& bytes) const {
    return replaced(bytes, "127.0.0.1:" + std::to_string(settings_.port), "{server}");
  }

  bool basicAuthentication_ = false;
};

/// A table of cases, each of which becomes exactly the bytes that it gives.
class WireTable : public WireFixture, public testing::WithParamInterface<WireCase> {
 protected:
  void compare() { EXPECT_EQ(named(onWire(GetParam().message()).raw), GetParam().bytes); }
};

}  // namespace com::corvane::connectivity::plugins
