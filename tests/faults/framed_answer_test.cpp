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

constexpr char kFramedAnswerLength[] = "Content-Length: 5";
constexpr char kFramedAnswerChunked[] = "Transfer-Encoding: chunked";
constexpr char kChunks[] = "2\r\nhe\r\n3;x=y\r\nllo\r\n0\r\n\r\n";
constexpr char kFramedAnswerFalseAnswer[] = "HTTP/1.1 500 No\r\nContent-Length: 0\r\n\r\n";

const std::vector<Fault> kFramedAnswerFaults = {
    sound("Length", kFramedAnswerLength, "hello", true),
    sound("TheSameLengthTwice", "Content-Length: 5, 5", "hello", true),
    sound("Chunks", kFramedAnswerChunked, kChunks, true),
    sound("TrailersShapedAsAnAnswer", kFramedAnswerChunked,
          "5\r\nhello\r\n0\r\nHTTP/1.1 500 No\r\nContent-Length: 0\r\n\r\n", true),
    sound("AnswerBehindTheAnswer", kFramedAnswerLength,
          std::string("hello") + kFramedAnswerFalseAnswer, false),
    sound("AnswerBehindTheChunks", kFramedAnswerChunked,
          std::string(kChunks) + kFramedAnswerFalseAnswer, false),
    sound("ByteBehindTheBody", kFramedAnswerLength, "hello!", false),
    sound("ChunkedAndLength", std::string(kFramedAnswerChunked) + "\r\nContent-Length: 1", kChunks,
          false),
    sound("CloseWithAnotherOption", std::string(kFramedAnswerLength) + "\r\nConnection: close, x",
          "hello", false, Then::Close),
    sound("CloseAnnouncedAndNotDone", std::string(kFramedAnswerLength) + "\r\nConnection: x, Close",
          "hello", false),
    sound("UntilClose", "X: y", "hello", false, Then::Close),
    sound("Http10UntilClose", "X: y", "hello", false, Then::Close, "HTTP/1.0"),
    sound("Http10WithLength", kFramedAnswerLength, "hello", false, Then::Close, "HTTP/1.0"),
    sound("Http10KeptAlive", std::string(kFramedAnswerLength) + "\r\nConnection: Keep-Alive",
          "hello", true, Then::Keep, "HTTP/1.0"),
    sound("LineFeedsAlone", std::string(kFramedAnswerLength) + "\nX: y", "hello", true),
};

class FramedAnswerTest : public FaultTest {};

TEST_P(FramedAnswerTest, CountsAndLeavesTheNextRequestAlone) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, FramedAnswerTest, overAllWires(kFramedAnswerFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
