// The connection goes away before an answer has begun, or inside its head.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kGood[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr char kHalfHead[] = "HTTP/1.1 200 OK\r\nContent-Len";
constexpr char kWholeLines[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n";

constexpr char kNoMessage[] = "Poco::Net::NoMessageException";
constexpr char kIo[] = "Poco::IOException";
constexpr char kCut[] = "Connection closed inside the response head";

Outcome answeredAfter(const std::string& line) {
  Outcome outcome = answered("ok");
  outcome.lines = {line};
  outcome.attempts = 2;
  outcome.kept = true;
  return outcome;
}

const std::vector<Fault> kFaults = {
    {"ClosedOnce",
     {{"", Then::Close}, {kGood}},
     answeredAfter(retryLine(kNoMessage, "No message received"))},
    {"ClosedOnceForAPost",
     {{"", Then::Close}, {kGood}},
     answeredAfter(retryLine(kNoMessage, "No message received")),
     "POST",
     "body"},
    {"ClosedTwice", {{"", Then::Close}}, failedTwice(kNoMessage, "No message received")},
    {"ResetOnce",
     {{"", Then::Reset}, {kGood}},
     answeredAfter(retryLine(kIo, "Connection reset by peer"))},
    {"ResetTwice", {{"", Then::Reset}}, failedTwice(kIo, "Connection reset by peer")},
    {"ClosedThenReset",
     {{"", Then::Close}, {"", Then::Reset}},
     failed("Connection reset by peer", "", {retryLine(kNoMessage, "No message received")}, 2)},
    {"ClosedInTheHeadOnce",
     {{kHalfHead, Then::Close}, {kGood}},
     answeredAfter(retryLine(kIo, "Malformed message", kCut))},
    {"ClosedInTheHeadTwice",
     {{kHalfHead, Then::Close}},
     failedTwice(kIo, "Malformed message", kCut)},
    {"ClosedBetweenHeaderLines",
     {{kWholeLines, Then::Close}},
     failedTwice(kIo, "Malformed message", kCut)},
    {"ResetInTheHeadOnce",
     {{kHalfHead, Then::Reset}, {kGood}},
     answeredAfter(retryLine(kIo, "Connection reset by peer"))},
    {"ResetInTheHeadTwice",
     {{kHalfHead, Then::Reset}},
     failedTwice(kIo, "Connection reset by peer")},
    {"ClosedBehindAnInterimAnswer",
     {{"HTTP/1.1 100 Continue\r\n\r\n", Then::Close}},
     failedTwice(kNoMessage, "No message received")},
};

class ConnectionLossTest : public FaultTest {};

TEST_P(ConnectionLossTest, IsRetriedOnce) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, ConnectionLossTest, overAllWires(kFaults), FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
