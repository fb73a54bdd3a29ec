// Answers that are cut at every byte, in each way in which a connection can end.
#include <atomic>

#include "faults/fault_test.h"
#include "support/deflated.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;

// A part of a body's bytes, and what is said of the framing when the first missing byte is in it.
struct Piece {
  std::string bytes;
  std::string why;
};

struct Sample {
  std::string name;
  std::string head;
  std::vector<Piece> body;
  Outcome whole;
  bool untilClose = false;  // nothing but the connection's end tells that of the body

  std::string bytes() const {
    std::string all = head;
    for (const Piece& piece : body) all += piece.bytes;
    return all;
  }

  friend void PrintTo(const Sample& sample, std::ostream* out) { *out << sample.name; }
};

constexpr char kInBody[] = "connection closed inside the body";
constexpr char kInChunk[] = "connection closed inside a chunk";
constexpr char kInChunks[] = "connection closed inside the chunked framing";

const std::string kChunkedHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const std::string kCoded = test_support::deflated("hello", test_support::DeflateFormat::Gzip);

const std::vector<Sample> kSamples = {
    {"ContentLength",
     "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n",
     {{"hello", kInBody}},
     answered("hello")},
    {"Chunked",
     kChunkedHead,
     {{"2\r\n", kInChunks},
      {"he", kInChunk},
      {"\r\n3;x\r\n", kInChunks},
      {"llo", kInChunk},
      {"\r\n0\r\n\r\n", kInChunks}},
     answered("hello")},
    {"ChunkedWithTrailers",
     kChunkedHead,
     {{"5\r\n", kInChunks}, {"hello", kInChunk}, {"\r\n0\r\nX: y\r\nZ:\r\n\r\n", kInChunks}},
     answered("hello")},
    {"Gzip",
     "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
         std::to_string(kCoded.size()) + "\r\n\r\n",
     {{kCoded, kInBody}},
     answered("hello")},
    {"NoContent",
     "HTTP/1.1 204 No Content\r\n\r\n",
     {},
     {204, "No Content", "", "ONLINE", {}, 1, false}},
    {"UntilClose", "HTTP/1.1 200 OK\r\n\r\n", {{"hello", ""}}, answered("hello"), true},
};

class AnswerCutTest : public FaultFixture,
                      public testing::WithParamInterface<std::tuple<Sample, Then, Wire>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<ParamType>& info) {
    const auto& [sample, then, wire] = info.param;
    const char* const end = then == Then::Close ? "Closed" : then == Then::Cut ? "Cut" : "Reset";
    return sample.name + end + nameOfWire(wire);
  }

 protected:
  // Of an answer whose first `sent` bytes come, and then the connection's end.
  static Outcome expectedAfter(std::size_t sent) {
    const Sample& sample = std::get<Sample>(GetParam());
    if (sent < sample.head.size()) return lostHead(sent);
    if (sample.untilClose) return lostEnd(sent - sample.head.size());
    std::size_t end = sample.head.size();
    for (const Piece& piece : sample.body) {
      end += piece.bytes.size();
      if (sent < end) return lostBody(piece.why);
    }
    return sample.whole;
  }

 private:
  static Then then() { return std::get<Then>(GetParam()); }

  static Outcome lostHead(std::size_t sent) {
    if (then() == Then::Reset) return failedTwice(kIo, kReset);
    if (then() == Then::Cut && isTls(std::get<Wire>(GetParam()))) {
      return failedTwice(kIo, kSsl, kCutTls);
    }
    if (sent == 0) return failedTwice(kNoMessage, kNothingCame);
    return failedTwice(kIo, "Malformed message", kCutHead);
  }

  static Outcome lostBody(const std::string& why) {
    if (then() == Then::Reset) return failed(kReset);
    return then() == Then::Cut ? failed(kSsl, kCutTls) : brokenBody(why);
  }

  // An end in order is the body's own, wherever it comes.
  static Outcome lostEnd(std::size_t sent) {
    return then() == Then::Close ? answered(std::string("hello").substr(0, sent)) : lostBody("");
  }
};

TEST_P(AnswerCutTest, IsAFailureUnlessNothingIsMissing) {
  const auto& [sample, then, wire] = GetParam();
  const std::string bytes = sample.bytes();
  std::atomic<std::size_t> sent = 0;
  std::atomic<std::size_t> attempts = 0;
  const auto script = [&, cut = then,
                       whole = sample.untilClose ? then : Then::Keep](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      if (request->target.ends_with(FaultServer::kNextPath)) {
        connection.send(FaultServer::nextAnswer());
        continue;
      }
      ++attempts;
      const std::size_t count = sent;
      connection.send(bytes.substr(0, count));
      if (!carryOut(count < bytes.size() ? cut : whole, connection)) return;
    }
  };
  const auto server = serverOver<ScriptedServer>(wire, script);
  create(server->port());

  for (; sent <= bytes.size() && !HasFailure(); ++sent) {
    SCOPED_TRACE(testing::Message() << sent << " bytes of " << bytes.size());
    attempts = 0;
    const Outcome expected = expectedAfter(sent);
    expectOutcome(perform(RequestMessage("GET", "/cut", "")), expected);
    EXPECT_EQ(attempts, expected.attempts);
    expectNextSucceeds();
  }
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, AnswerCutTest,
                         testing::Combine(testing::ValuesIn(kSamples), testing::Values(Then::Close),
                                          overAllWires()),
                         AnswerCutTest::nameOf);

// What the ends in disorder come to depends neither on the proxy nor on the tunnel.
INSTANTIATE_TEST_SUITE_P(PlainFaults, AnswerCutTest,
                         testing::Combine(testing::ValuesIn(kSamples), testing::Values(Then::Reset),
                                          testing::Values(Wire::Plain)),
                         AnswerCutTest::nameOf);

INSTANTIATE_TEST_SUITE_P(TlsFaults, AnswerCutTest,
                         testing::Combine(testing::ValuesIn(kSamples), testing::Values(Then::Cut),
                                          testing::Values(Wire::Tls)),
                         AnswerCutTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
