// The body is shorter than its framing says, or the framing itself is broken.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

std::string sized(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n" + body;
}

std::string chunked(const std::string& chunks) {
  return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks;
}

std::string framedBy(const std::string& fields) {
  return "HTTP/1.1 200 OK\r\n" + fields + "\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
}

Fault cut(const std::string& name, const std::string& bytes, const std::string& why,
          Then then = Then::Close) {
  return {name, {{bytes, then}}, brokenBody(why)};
}

const std::vector<Fault> kTruncatedBodyFaults = {
    cut("HalfABody", sized("half"), "connection closed inside the body"),
    cut("NoByteOfABody", sized(""), "connection closed inside the body"),
    cut("NoLastChunk", chunked("5\r\nhello\r\n"), "connection closed inside the chunked framing"),
    cut("HalfAChunk", chunked("5\r\nhel"), "connection closed inside a chunk"),
    cut("HalfAChunkSize", chunked("5"), "connection closed inside the chunked framing"),
    cut("NoChunk", chunked(""), "connection closed inside the chunked framing"),
    cut("NoEndOfTheTrailers", chunked("5\r\nhello\r\n0\r\nX: y\r\n"),
        "connection closed inside the chunked framing"),
    cut("ChunkSizeThatIsNone", chunked("zz\r\nhello\r\n0\r\n\r\n"), "invalid chunk size",
        Then::Keep),
    cut("NegativeChunkSize", chunked("-5\r\nhello\r\n0\r\n\r\n"), "invalid chunk size", Then::Keep),
    cut("ChunkSizeBeyond63Bits", chunked("FFFFFFFFFFFFFFFFF\r\nhello\r\n0\r\n\r\n"),
        "invalid chunk size", Then::Keep),
    cut("ChunkLongerThanItsSize", chunked("3\r\nhello\r\n0\r\n\r\n"), "chunk longer than its size",
        Then::Keep),
    cut("NegativeLength", framedBy("Content-Length: -5"), "invalid Content-Length", Then::Keep),
    cut("ListOfLengths", framedBy("Content-Length: 1,0"), "invalid Content-Length", Then::Keep),
    cut("TwoLengths", framedBy("Content-Length: 1\r\nContent-Length: 2"), "invalid Content-Length",
        Then::Keep),
    cut("LengthThatIsNoNumber", framedBy("Content-Length: five"), "invalid Content-Length",
        Then::Keep),
    cut("UnknownTransferCoding", framedBy("Transfer-Encoding: gzip, chunked"),
        "unsupported Transfer-Encoding", Then::Keep),
    {"ResetInTheBody", {{sized("half"), Then::Reset}}, failed(kReset)},
    {"ResetInAChunk", {{chunked("5\r\nhel"), Then::Reset}}, failed(kReset)},
    {"HalfABodyOfAPost",
     {{sized("half"), Then::Close}},
     brokenBody("connection closed inside the body"),
     "POST",
     "body"},
};

class TruncatedBodyTest : public FaultTest {};

TEST_P(TruncatedBodyTest, FailsWithoutRetry) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, TruncatedBodyTest, overAllWires(kTruncatedBodyFaults),
                         FaultTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
