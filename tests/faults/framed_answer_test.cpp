// Unusual framing that is sound: the answer counts, and the connection is kept only when the end of
// the answer is certain and nothing follows it.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

Outcome of(const std::string& payload, bool kept) {
  Outcome outcome = answered(payload);
  outcome.kept = kept;
  return outcome;
}

Fault sound(const std::string& name, const std::string& fields, const std::string& body, bool kept,
            Then then = Then::Keep, const char* version = "HTTP/1.1") {
  const std::string head = std::string(version) + " 200 OK\r\n" + fields + "\r\n\r\n";
  return {name, {{head + body, then}}, of("hello", kept)};
}

constexpr char kLength[] = "Content-Length: 5";
constexpr char kChunked[] = "Transfer-Encoding: chunked";
constexpr char kChunks[] = "2\r\nhe\r\n3;x=y\r\nllo\r\n0\r\n\r\n";
constexpr char kFalseAnswer[] = "HTTP/1.1 500 No\r\nContent-Length: 0\r\n\r\n";

const std::vector<Fault> kFaults = {
    sound("Length", kLength, "hello", true),
    sound("TheSameLengthTwice", "Content-Length: 5, 5", "hello", true),
    sound("Chunks", kChunked, kChunks, true),
    sound("TrailersShapedAsAnAnswer", kChunked,
          "5\r\nhello\r\n0\r\nHTTP/1.1 500 No\r\nContent-Length: 0\r\n\r\n", true),
    sound("AnswerBehindTheAnswer", kLength, std::string("hello") + kFalseAnswer, false),
    sound("AnswerBehindTheChunks", kChunked, std::string(kChunks) + kFalseAnswer, false),
    sound("ByteBehindTheBody", kLength, "hello!", false),
    sound("ChunkedAndLength", std::string(kChunked) + "\r\nContent-Length: 1", kChunks, false),
    sound("CloseWithAnotherOption", std::string(kLength) + "\r\nConnection: close, x", "hello",
          false, Then::Close),
    sound("CloseAnnouncedAndNotDone", std::string(kLength) + "\r\nConnection: x, Close", "hello",
          false),
    sound("UntilClose", "X: y", "hello", false, Then::Close),
    sound("Http10UntilClose", "X: y", "hello", false, Then::Close, "HTTP/1.0"),
    sound("Http10WithLength", kLength, "hello", false, Then::Close, "HTTP/1.0"),
    sound("Http10KeptAlive", std::string(kLength) + "\r\nConnection: Keep-Alive", "hello", true,
          Then::Keep, "HTTP/1.0"),
    sound("LineFeedsAlone", std::string(kLength) + "\nX: y", "hello", true),
};

class FramedAnswerTest : public FaultTest {};

TEST_P(FramedAnswerTest, CountsAndLeavesTheNextRequestAlone) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, FramedAnswerTest, overAllWires(kFaults), FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
