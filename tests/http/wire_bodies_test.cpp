// Bodies of all sizes on the wire, by their length and in chunks, and one request behind another.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::ScriptedServer;

/// Bytes of every value, with no block like another.
std::string bytes(std::size_t count) {
  std::string result(count, '\0');
  for (std::size_t i = 0; i < count; ++i) result[i] = static_cast<char>(i * 7 + (i >> 8) * 13);
  return result;
}

struct SizeCase {
  std::size_t size;
  int fullChunks;         // of 4,096 bytes
  const char* lastChunk;  // the size of the rest; empty: none is left
};

void PrintTo(const SizeCase& sizeCase, std::ostream* out) { *out << sizeCase.size; }

class WireBodiesTest : public WireFixture, public testing::WithParamInterface<SizeCase> {
 protected:
  /// The body in chunks as the case says.
  static std::string chunked(const std::string& body) {
    std::string result;
    std::size_t from = 0;
    for (int i = 0; i < GetParam().fullChunks; ++i, from += 4096) {
      result.append("1000\r\n").append(body, from, 4096).append("\r\n");
    }
    const std::string last = GetParam().lastChunk;
    if (!last.empty()) result.append(last).append("\r\n").append(body, from).append("\r\n");
    return result + "0\r\n\r\n";
  }
};

TEST_P(WireBodiesTest, LeaveBehindTheirLength) {
  const std::string body = bytes(GetParam().size);

  const auto request = onWire(RequestMessage("POST", "/", body));

  const std::string head =
      "POST / HTTP/1.1\r\n"
      "accept-charset: utf-8\r\n"
      "accept-encoding: identity, gzip, deflate\r\n"
      "user-agent: Orvex/10.15 (amd64-win)\r\n"
      "Content-Length: " +
      std::to_string(GetParam().size) +
      "\r\n"
      "Host: {server}\r\n"
      "\r\n";
  const std::string sent = named(request.raw);
  EXPECT_EQ(sent.substr(0, head.size()), head);
  EXPECT_TRUE(sent.substr(head.size()) == body);
}

TEST_P(WireBodiesTest, LeaveInChunks) {
  const std::string body = bytes(GetParam().size);

  const auto request = onWire(with({{"Transfer-Encoding", "chunked"}}, "POST", body));

  const std::string head =
      "POST / HTTP/1.1\r\n"
      "accept-charset: utf-8\r\n"
      "accept-encoding: identity, gzip, deflate\r\n"
      "user-agent: Orvex/10.15 (amd64-win)\r\n"
      "Transfer-Encoding: chunked\r\n"
      "Host: {server}\r\n"
      "\r\n";
  const std::string sent = named(request.raw);
  EXPECT_EQ(sent.substr(0, head.size()), head);
  EXPECT_TRUE(sent.substr(head.size()) == chunked(body))
      << testing::PrintToString(request.chunkBytes);
}

INSTANTIATE_TEST_SUITE_P(Size, WireBodiesTest,
                         testing::Values(SizeCase{0, 0, ""}, SizeCase{1, 0, "1"},
                                         SizeCase{255, 0, "FF"}, SizeCase{4'095, 0, "FFF"},
                                         SizeCase{4'096, 1, ""}, SizeCase{4'097, 1, "1"},
                                         SizeCase{8'192, 2, ""}, SizeCase{10'000, 2, "710"},
                                         SizeCase{100'000, 24, "6A0"}));

class WireSequenceTest : public WireFixture {};

// What was sent before leaves no trace in what is sent next.
TEST_F(WireSequenceTest, CarriesTheBytesOfEachRequestAlone) {
  RequestMessage (*const messages[])() = {
      [] {
        return with({{"Transfer-Encoding", "chunked"}, {"x", "1"}}, "POST", bytes(5000));
      },
      [] { return with({}); },
      [] { return RequestMessage("POST", "/big?x", bytes(100'000)); },
      [] {
        return with({{"y", "2"}}, "DELETE");
      },
      [] {
        return with({{"content-encoding", "gzip"}}, "PUT", bytes(9000));
      },
      [] {
        return with({{"content-type", "a/b"}}, "HEAD");
      },
      [] {
        RequestMessage form("POST", "/form");
        form.payload(data_t(textMap({{"a", "1"}})));
        return form;
      },
      [] {
        return with({{"transfer-encoding", "chunked"}}, "POST");
      },
      [] { return RequestMessage("GET", "/last", ""); },
  };
  std::vector<std::string> alone;
  for (const auto message : messages) {
    const auto request = onWire(message());
    alone.push_back(named(request.raw));
  }

  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());
  for (const auto message : messages) EXPECT_EQ(status(perform(message())), 200);
  exchange_->close();

  server.waitForFinishedConnections(1);
  EXPECT_EQ(server.connectionCount(), 1u);
  std::vector<std::string> together;
  for (const auto& request : server.requests()) {
    together.push_back(named(request.raw));
  }
  EXPECT_TRUE(together == alone);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
