// Bodies in a content coding, sound and broken.
#include "faults/fault_test.h"
#include "support/deflated.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::deflated;
using test_support::DeflateFormat;

constexpr char kCodedBodyBroken[] = "Error processing response stream: Serious I/O error";

std::string coded(const std::string& coding, const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Encoding: " + coding +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string gzip(const std::string& text) { return deflated(text, DeflateFormat::Gzip); }

Fault sound(const std::string& name, const std::string& bytes, const std::string& text) {
  Outcome outcome = answered(text);
  outcome.kept = true;
  return {name, {{bytes}}, outcome};
}

Fault unsupported(const std::string& name, const std::string& coding) {
  const std::string text = "Unsupported Media Type: " + coding;
  Outcome outcome = answered(text);
  outcome.lines = {"WARN " + text};
  outcome.kept = true;
  return {name, {{coded(coding, "bytes")}}, outcome};
}

Fault broken(const std::string& name, const std::string& bytes) {
  return {name, {{bytes}}, failed(kCodedBodyBroken)};
}

std::string damaged(std::string bytes, std::size_t position) {
  bytes.at(position) = static_cast<char>(bytes.at(position) ^ 0x55);
  return bytes;
}

const std::string kText(5000, 'a');
const std::string kGzipped = gzip(kText);

const std::vector<Fault> kCodedBodyFaults = {
    sound("Gzip", coded("gzip", kGzipped), kText),
    sound("GzipInTwoMembers", coded("gzip", gzip("one, ") + gzip("two")), "one, two"),
    sound("GzipOfNothing", coded("gzip", gzip("")), ""),
    sound("NoBytesOfGzip", coded("gzip", ""), ""),
    sound("NoBytesOfDeflate", coded("deflate", ""), ""),
    sound("BytesBehindGzip", coded("gzip", gzip("text") + "padding"), "text"),
    sound("ZlibDeflate", coded("deflate", deflated("text", DeflateFormat::Zlib)), "text"),
    sound("RawDeflate", coded("deflate", deflated("text", DeflateFormat::Raw)), "text"),
    sound("Identity", coded("identity", "text"), "text"),
    unsupported("Brotli", "br"),
    unsupported("UpperCaseGzip", "GZIP"),
    unsupported("OldNameOfGzip", "x-gzip"),
    unsupported("TwoCodings", "gzip, gzip"),
    broken("HalfAGzip", coded("gzip", kGzipped.substr(0, kGzipped.size() / 2))),
    broken("GzipWithoutItsChecksum", coded("gzip", kGzipped.substr(0, kGzipped.size() - 8))),
    broken("GzipWithAWrongChecksum", coded("gzip", damaged(kGzipped, kGzipped.size() - 6))),
    broken("GzipThatIsNone", coded("gzip", "plain text")),
    broken("HalfASecondMember", coded("gzip", gzip("one") + kGzipped.substr(0, 15))),
    broken("HalfAZlibStream", coded("deflate", deflated(kText, DeflateFormat::Zlib).substr(0, 10))),
    broken("DeflateThatIsNone", coded("deflate", "\xFF\xFF plain text")),
    {"GzipCutByTheConnection",
     {{"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 1000\r\n\r\n" + kGzipped,
       Then::Close}},
     brokenBody("connection closed inside the body")},
};

class CodedBodyTest : public FaultTest {};

TEST_P(CodedBodyTest, IsDecodedOrFails) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, CodedBodyTest, overAllWires(kCodedBodyFaults), FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
