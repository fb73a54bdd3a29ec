// The connection goes away before an answer has begun, or inside its head.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kConnectionLossGood[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr char kHalfHead[] = "HTTP/1.1 200 OK\r\nContent-Len";
constexpr char kWholeLines[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n";

Outcome answeredAfter(const std::string& line) {
  Outcome outcome = answered("ok");
  outcome.lines = {line};
  outcome.attempts = 2;
  outcome.kept = true;
  return outcome;
}

const std::vector<Fault> kConnectionLossFaults = {
    {"ClosedOnce",
     {{"", Then::Close}, {kConnectionLossGood}},
     answeredAfter(retryLine(kNoMessage, kNothingCame))},
    {"ClosedOnceForAPost",
     {{"", Then::Close}, {kConnectionLossGood}},
     answeredAfter(retryLine(kNoMessage, kNothingCame)),
     "POST",
     "body"},
    {"ClosedTwice", {{"", Then::Close}}, failedTwice(kNoMessage, kNothingCame)},
    {"ResetOnce",
     {{"", Then::Reset}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, kReset))},
    {"ResetTwice", {{"", Then::Reset}}, failedTwice(kIo, kReset)},
    {"ClosedThenReset",
     {{"", Then::Close}, {"", Then::Reset}},
     failed(kReset, "", {retryLine(kNoMessage, kNothingCame)}, 2)},
    {"ClosedInTheHeadOnce",
     {{kHalfHead, Then::Close}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, "Malformed message", kCutHead))},
    {"ClosedInTheHeadTwice",
     {{kHalfHead, Then::Close}},
     failedTwice(kIo, "Malformed message", kCutHead)},
    {"ClosedInTheStatusLineOnce",
     {{"HTTP/1.1 2", Then::Close}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, "Malformed message", kCutHead))},
    {"ResetInTheStatusLineOnce",
     {{"HTTP/1.1 2", Then::Reset}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, kReset))},
    {"ClosedBehindTheStatusLineOnce",
     {{"HTTP/1.1 200 OK\r\n", Then::Close}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, "Malformed message", kCutHead))},
    {"ResetBehindTheStatusLineOnce",
     {{"HTTP/1.1 200 OK\r\n", Then::Reset}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, kReset))},
    {"ClosedBetweenHeaderLines",
     {{kWholeLines, Then::Close}},
     failedTwice(kIo, "Malformed message", kCutHead)},
    {"ResetInTheHeadOnce",
     {{kHalfHead, Then::Reset}, {kConnectionLossGood}},
     answeredAfter(retryLine(kIo, kReset))},
    {"ResetInTheHeadTwice", {{kHalfHead, Then::Reset}}, failedTwice(kIo, kReset)},
    {"ResetBehindAnInterimAnswer",
     {{"HTTP/1.1 103 Early Hints\r\n\r\n", Then::Reset}},
     failedTwice(kIo, kReset)},
    {"ClosedBehindAnInterimAnswer",
     {{"HTTP/1.1 100 Continue\r\n\r\n", Then::Close}},
     failedTwice(kNoMessage, kNothingCame)},
};

class ConnectionLossTest : public FaultTest {};

TEST_P(ConnectionLossTest, IsRetriedOnce) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, ConnectionLossTest, overAllWires(kConnectionLossFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
