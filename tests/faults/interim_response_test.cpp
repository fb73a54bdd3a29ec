// Answers that announce the answer.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kInterimResponseGood[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr char kProcessing[] = "HTTP/1.1 102 Processing\r\n\r\n";
constexpr char kEarlyHints[] = "HTTP/1.1 103 Early Hints\r\nLink: </style.css>\r\n\r\n";

std::string times(int count, const std::string& text) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

Fault before(const std::string& name, const std::string& interim) {
  Outcome outcome = answered("ok");
  outcome.kept = true;
  return {name, {{interim + kInterimResponseGood}}, outcome};
}

const std::vector<Fault> kInterimResponseFaults = {
    before("Continue", kContinue),
    before("Processing", kProcessing),
    before("EarlyHints", kEarlyHints),
    before("UnknownInterim", "HTTP/1.1 199 Soon\r\nContent-Length: 5\r\n\r\n"),
    before("AllOfThem", std::string(kContinue) + kProcessing + kEarlyHints),
    before("SeventeenContinues", times(17, kContinue)),
    before("AThousand", times(1000, kEarlyHints)),
    {"NoEndOfThem",
     {{times(100, "HTTP/1.1 103 Hint\r\nX: " + std::string(20000, 'y') + "\r\n\r\n")}},
     failedTwice(kIo, "Malformed message", "Too many interim responses")},
};

class InterimResponseTest : public FaultTest {};

TEST_P(InterimResponseTest, IsPassedOver) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, InterimResponseTest, overAllWires(kInterimResponseFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
