#include "bench/server.h"

#include <gtest/gtest.h>

#include <string>

#include "bench/checksum.h"
#include "bench/server_socket.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace {

using bench::Fault;
using bench::FaultSchedule;
using bench::Journal;
using bench::Server;
using bench::ServerSocket;
using bench::Traffic;

class ServerTest : public testing::Test {
 protected:
  // All that the server sends before it closes, or `bytes` of it.
  std::string exchange(const Server& server, const std::string& request, std::size_t bytes) {
    ServerSocket socket(test_support::connectLoopback(server.plain().port), nullptr);
    EXPECT_TRUE(socket.send(request));
    std::string answer;
    char buffer[4096];
    while (answer.size() < bytes) {
      const std::size_t count = socket.receive(buffer, sizeof buffer);
      if (count == 0) break;
      answer.append(buffer, count);
    }
    return answer;
  }

  static std::string request(std::uint64_t id, const std::string& body) {
    return "POST /bench/" + std::to_string(id) +
           " HTTP/1.1\r\nx-checksum: " + bench::checksumText(id, body) +
           "\r\nx-order: 3\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  }

  std::string answerTo(std::uint64_t id) const {
    const std::string_view body = traffic_.responseBody(id);
    return "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nx-id: " +
           std::to_string(id) + "\r\nx-checksum: " + bench::checksumText(id, body) +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
  }

  const Traffic traffic_{1, 1000};
  const test_support::TempDir folder_;
  const test_support::TlsIdentity identity_ = test_support::selfSigned(folder_, "server");
  Journal journal_;
};

TEST_F(ServerTest, AnswersWithTheIdAndTheBodyThatBelongsToIt) {
  const Server server(traffic_, FaultSchedule(1, 0), journal_, identity_);
  journal_.open(5);
  journal_.open(6);

  const std::string expected = answerTo(5) + answerTo(6);
  EXPECT_EQ(exchange(server, request(5, "body") + request(6, ""), expected.size()), expected);

  EXPECT_EQ(journal_.close(5), 1u);
  EXPECT_EQ(journal_.close(6), 1u);
  EXPECT_EQ(journal_.counters().connections, 1u);
  EXPECT_EQ(journal_.counters().damaged, 0u);
  EXPECT_EQ(journal_.counters().strays, 0u);
  EXPECT_TRUE(server.isRunning());
}

TEST_F(ServerTest, FindsWhatIsWrongWithRequests) {
  const Server server(traffic_, FaultSchedule(1, 0), journal_, identity_);
  std::string changed = request(5, "body");
  changed.back() = 'i';

  exchange(server, changed + request(4, "") + "no request\r\n\r\n", ~std::size_t{0});

  EXPECT_EQ(journal_.counters().strays, 2u);
  EXPECT_EQ(journal_.counters().damaged, 1u);
  EXPECT_EQ(journal_.counters().disordered, 1u);
  EXPECT_EQ(journal_.counters().malformed, 1u);
}

TEST_F(ServerTest, CommitsTheFaultsOfItsSchedule) {
  const FaultSchedule faults(1, 100);
  const Server server(traffic_, faults, journal_, identity_);
  std::uint64_t id = 1;
  while (faults.at(id, 0) != Fault::Garbage) ++id;
  journal_.open(id);

  EXPECT_EQ(exchange(server, request(id, ""), ~std::size_t{0}), "220 ready\r\n\r\n");

  EXPECT_EQ(journal_.counters().faults[static_cast<std::size_t>(Fault::Garbage)], 1u);
}

}  // namespace
