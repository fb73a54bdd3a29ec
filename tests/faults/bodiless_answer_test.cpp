// Answers that have no body, whatever their header says.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

Fault bodiless(const std::string& name, const std::string& status, const std::string& fields,
               bool kept, const std::string& method = "GET") {
  const std::string head = "HTTP/1.1 " + status + "\r\n" + fields + "\r\n";
  const Outcome outcome{std::stoi(status), status.substr(4), "", "ONLINE", {}, 1, kept};
  return {name, {{head}}, outcome, method};
}

constexpr char kGzip[] = "Content-Encoding: gzip\r\n";
constexpr char kBodilessAnswerLength[] = "Content-Length: 5\r\n";
constexpr char kBodilessAnswerChunked[] = "Transfer-Encoding: chunked\r\n";
constexpr char kUnknown[] = "Content-Encoding: br\r\nContent-Length: 5\r\n";

const std::vector<Fault> kBodilessAnswerFaults = {
    bodiless("NoContent", "204 No Content", "", true),
    bodiless("NoContentCoded", "204 No Content", kGzip, true),
    bodiless("NoContentOfFiveBytes", "204 No Content", kBodilessAnswerLength, false),
    bodiless("NotModified", "304 Not Modified", "", true),
    bodiless("NotModifiedCoded", "304 Not Modified", kGzip, true),
    bodiless("NotModifiedOfFiveBytes", "304 Not Modified", kBodilessAnswerLength, true),
    bodiless("Head", "200 OK", kBodilessAnswerLength, true, "HEAD"),
    bodiless("HeadCoded", "200 OK", std::string(kGzip) + kBodilessAnswerLength, true, "HEAD"),
    bodiless("HeadCodedUnknown", "200 OK", kUnknown, true, "HEAD"),
    bodiless("HeadChunked", "200 OK", kBodilessAnswerChunked, true, "HEAD"),
    bodiless("HeadWithoutFraming", "200 OK", "", true, "HEAD"),
    bodiless("SwitchingProtocols", "101 Switching Protocols", "Upgrade: x\r\n", false),
};

class BodilessAnswerTest : public FaultTest {};

TEST_P(BodilessAnswerTest, IsAnsweredWithAnEmptyBody) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, BodilessAnswerTest, overAllWires(kBodilessAnswerFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
