// What comes in place of a head is none, or is more than is taken.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

std::string head(const std::string& fields) {
  return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: 2\r\n\r\nok";
}

std::string manyFields(int count) {
  std::string fields;
  for (int i = 0; i < count; ++i) fields += "X-" + std::to_string(i) + ": y\r\n";
  return fields;
}

Fault refused(const std::string& name, const std::string& bytes, const std::string& message) {
  return {name, {{bytes}}, failedTwice(kIo, "Malformed message", message)};
}

const std::vector<Fault> kMalformedHeadFaults = {
    refused("Garbage", "garbage\r\n\r\n", "Invalid status line"),
    refused("BinaryGarbage", "\xFF\xFE\x01\r\n\r\n", "Invalid status line"),
    refused("AnotherProtocol", "SSH-2.0-server\r\n\r\n", "Invalid status line"),
    refused("AnotherVersion", "HTTP/2.0 200 OK\r\n\r\n", "Invalid status line"),
    refused("NoCode", "HTTP/1.1 OK OK OK\r\n\r\n", "Invalid status code"),
    refused("CodeOfFourDigits", "HTTP/1.1 2000 OK\r\n\r\n", "Invalid status code"),
    refused("FieldWithoutColon", head("no colon\r\n"), "Malformed header field"),
    refused("FieldWithoutName", head(": value\r\n"), "Malformed header field"),
    refused("NulByte", head(std::string("X: a\0b\r\n", 8)), "NUL byte in the response head"),
    refused("AThousandAndOneFields", head(manyFields(1000)), "Too many header fields"),
    refused("FieldOfMoreThan64Kib", head("X: " + std::string(64 * 1024 - 2, 'y') + "\r\n"),
            "Header field too long"),
    refused("HeadWithoutEnd", head("X: " + std::string(1024 * 1024, 'y')),
            "Response head too large"),
};

class MalformedHeadTest : public FaultTest {};

TEST_P(MalformedHeadTest, FailsAfterOneRetry) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, MalformedHeadTest, overAllWires(kMalformedHeadFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
