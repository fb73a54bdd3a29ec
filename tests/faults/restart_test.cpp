// The server's process dies and comes back while several workers send requests.
#include <atomic>

#include "faults/fault_test.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ConnectionLost;
using test_support::FaultServer;
using test_support::RefusingPort;
using test_support::ScriptedServer;

constexpr int kDeaths = 20;
constexpr int kWorkers = 4;
constexpr int kRequestsPerLife = 24;  // the server dies in the midst of them

class RestartTest : public WireTest {
 protected:
  /// Sends requests whose paths and bodies are their ids.
  void sendSome(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string id = std::to_string(sent_++);
      send(RequestMessage("POST", ("/" + id).c_str(), id));
    }
  }

  static bool isKnown(const std::string& reason) {
    return reason == "Connection refused" || reason.starts_with(kReset) ||
           reason == "No message received" || reason == "I/O error: Broken pipe" ||
           reason == kBrokenBody || reason == std::string("Malformed message: ") + kCutHead ||
           reason == std::string(kSsl) + ": " + kCutTls;
  }

  int sent_ = 0;
};

// The answer is the id of the request, in two parts: a death may come between them.
void answerIds(Connection& connection) {
  try {
    while (const auto request = connection.readRequest()) {
      const std::string& id = request->body;
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(id.size()) + "\r\n");
      connection.send("\r\n" + id);
    }
  } catch (const std::runtime_error&) {
    // What is cut off in the middle of a request or an answer is the death that is meant.
  }
}

TEST_P(RestartTest, CostsFailuresButNeverAnAnswerOrAForeignOne) {
  const RefusingPort port;
  configure("numClients", data_t(kWorkers));
  const auto server = serverOver<ScriptedServer>(GetParam(), answerIds);
  server->listenOn(port.listen());
  create(port.port());

  for (int death = 0; death < kDeaths; ++death) {
    const std::size_t before = server->requests().size();
    sendSome(kRequestsPerLife);
    server->waitForRequests(before + kRequestsPerLife / 3);
    server->die();
    sendSome(kWorkers);  // nobody listens
    server->listenOn(port.listen());
  }
  const std::size_t underFire = waitForAnswers().size();
  sendSome(kWorkers);
  const std::vector<Answer> answers = waitForAnswers();

  std::size_t successes = 0;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const Answer& answer = answers[i];
    SCOPED_TRACE(answer.requestId);
    if (answer.status == 200) {
      EXPECT_EQ(answer.payload, std::to_string(answer.requestId));
      ++successes;
    } else {
      EXPECT_EQ(answer.status, 400);
      EXPECT_TRUE(isKnown(answer.reason)) << answer.reason;
      EXPECT_LT(i, underFire) << "the server is well";
    }
  }
  EXPECT_GE(successes, std::size_t{kDeaths} * (kRequestsPerLife / 3 - kWorkers));
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, RestartTest, overAllWires(), WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
