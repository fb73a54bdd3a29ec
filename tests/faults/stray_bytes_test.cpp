// Bytes that belong to no answer: the next request must never take them for its own.
#include <future>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;

constexpr char kForeign[] = "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\nforeign";

struct Sent {
  const char* name;
  const char* method;
  std::string head;
  Outcome outcome;
};

Fault followed(const Sent& sent, const std::string& name, const std::string& bytes) {
  return {sent.name + name, {{sent.head + bytes}}, sent.outcome, sent.method};
}

std::vector<Fault> allFollowed() {
  const std::vector<Sent> answers = {
      {"Head", "HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", answered("")},
      {"HeadChunked", "HEAD", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
       answered("")},
      {"NoContent",
       "GET",
       "HTTP/1.1 204 No Content\r\n\r\n",
       {204, "No Content", "", "ONLINE", {}, 1, false}},
      {"NoContentOfFiveBytes",
       "GET",
       "HTTP/1.1 204 No Content\r\nContent-Length: 5\r\n\r\n",
       {204, "No Content", "", "ONLINE", {}, 1, false}},
      {"NotModified",
       "GET",
       "HTTP/1.1 304 Not Modified\r\nContent-Length: 5\r\n\r\n",
       {304, "Not Modified", "", "ONLINE", {}, 1, false}},
      {"Answer", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", answered("ok")},
      {"Chunks", "GET", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n",
       answered("ok")},
      {"SwitchingProtocols",
       "GET",
       "HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n\r\n",
       {101, "Switching Protocols", "", "ONLINE", {}, 1, false}},
  };
  std::vector<Fault> faults;
  for (const Sent& sent : answers) {
    faults.push_back(followed(sent, "ThenABody", "hello"));
    faults.push_back(followed(sent, "ThenChunks", "5\r\nhello\r\n0\r\n\r\n"));
    faults.push_back(followed(sent, "ThenAnAnswer", kForeign));
    faults.push_back(followed(sent, "ThenHalfAnAnswer", std::string(kForeign).substr(0, 20)));
    faults.push_back(followed(sent, "ThenAnInterimAnswer", "HTTP/1.1 100 Continue\r\n\r\n"));
  }
  return faults;
}

class StrayBytesTest : public FaultTest {};

TEST_P(StrayBytesTest, CostTheConnectionAndNothingElse) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, StrayBytesTest, overAllWires(allFollowed()), FaultTest::nameOf);

struct Late {
  const char* name;
  const char* method;
  std::string answer;
  std::string late;  // after the client has taken the answer, unless that is a part of this

  friend void PrintTo(const Late& late, std::ostream* out) { *out << late.name; }
};

class LateBytesTest : public FaultFixture,
                      public testing::WithParamInterface<std::tuple<Late, Wire>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<ParamType>& info) {
    return std::get<Late>(info.param).name + std::string(nameOfWire(std::get<Wire>(info.param)));
  }
};

TEST_P(LateBytesTest, CostTheConnectionAndNothingElse) {
  const auto& [late, wire] = GetParam();
  std::promise<void> answered;
  std::promise<void> sent;
  const auto script = [&, &late = late](Connection& connection) {
    if (connection.index() == 0) {
      connection.readRequest();
      connection.send(late.answer);
      if (!late.answer.empty()) answered.get_future().wait();
      connection.send(late.late);
      sent.set_value();
    }
    ScriptedServer::answeringAll(FaultServer::nextAnswer())(connection);
  };
  const auto server = serverOver<ScriptedServer>(wire, script);
  create(server->port());

  EXPECT_NE(perform(RequestMessage(late.method, "/fault", "")).status, 400);
  answered.set_value();
  sent.get_future().wait();

  expectNextSucceeds();
  EXPECT_EQ(server->connectionCount(), 2u);
  end();
}

const std::vector<Late> kLate = {
    {"BodyOfAHead", "HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", "hello"},
    {"AnswerAfterAHead", "HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 44\r\n\r\n", kForeign},
    {"AnswerAfterNoContent", "GET", "HTTP/1.1 204 No Content\r\n\r\n", kForeign},
    {"AnswerInTheRecordOfALargeAnswer", "GET", "",
     "HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + std::string(100000, 'x') + kForeign},
    {"AnswerAfterAnAnswer", "GET", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", kForeign},
};

INSTANTIATE_TEST_SUITE_P(Faults, LateBytesTest,
                         testing::Combine(testing::ValuesIn(kLate), overAllWires()),
                         LateBytesTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
