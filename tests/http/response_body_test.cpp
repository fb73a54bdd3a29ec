#include "http/response_body.h"

#include <gtest/gtest.h>

#include <string>

#include "http/piece_source.h"
#include "plugin/logger.h"
#include "runtime/exception.h"
#include "support/deflated.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::deflated;
using test_support::DeflateFormat;

std::string answer(const std::string& coding, const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Encoding: " + coding +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class ResponseBodyTest : public testing::Test {
 protected:
  std::string read(const std::string& text, bool hasBody = true) {
    PieceSource source(text, 100);
    ResponseReader reader(source);
    ResponseHead head;
    reader.readHead(head, !hasBody);
    body_.read(head, hasBody, reader);
    reusable_ = reader.reusable();
    return std::string(body_.view());
  }

  std::string failure(const std::string& text) {
    try {
      return "read " + read(text);
    } catch (const orvex::StreamException& failed) {
      return failed.what();
    }
  }

  test_support::FakeHost host_;
  connectivity10_15_0::Logger log_{"category"};
  ThreadLogger logger_{log_, 0};
  ResponseBody body_{logger_};
  bool reusable_ = false;
};

TEST_F(ResponseBodyTest, IsTakenIntoABufferOfTheHosts) {
  read(answer("identity", "the body"));

  EXPECT_EQ(body_.take().view(), "the body");
  EXPECT_EQ(body_.view(), "");
}

TEST_F(ResponseBodyTest, IsReceivedWhereTheHostFindsItUpToABound) {
  for (const std::size_t bytes :
       {ResponseBody::kDirectBytesMax, ResponseBody::kDirectBytesMax + 1}) {
    SCOPED_TRACE(bytes);
    const std::string text(bytes, 'x');

    read(answer("identity", text));
    const void* const received = body_.view().data();
    const buffer_t taken = body_.take();

    EXPECT_EQ(taken.view(), text);
    EXPECT_EQ(taken.data() == received, bytes == ResponseBody::kDirectBytesMax);
    EXPECT_TRUE(reusable_);
  }
}

TEST_F(ResponseBodyTest, IsForgottenWhereverItWasReceived) {
  for (const std::string& text : {answer("identity", "direct"), answer("br", "replaced")}) {
    read(text);

    body_.drop();

    EXPECT_EQ(body_.view(), "");
    EXPECT_EQ(body_.take().size(), 0u);
  }
}

TEST_F(ResponseBodyTest, LeavesNothingOfABodyThatBreaksOff) {
  const std::string whole = answer("identity", "the body");

  EXPECT_EQ(failure(whole.substr(0, whole.size() - 1)),
            "Error processing response stream: I/O error");

  EXPECT_EQ(body_.view(), "");
  EXPECT_EQ(read(answer("identity", "next")), "next");
}

TEST_F(ResponseBodyTest, ReadsAPlainBodyLargerThanOnePiece) {
  const std::string text(300000, 'x');

  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 300000\r\n\r\n" + text), text);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\n\r\n" + text), text);
  EXPECT_EQ(read(answer("identity", "abc")), "abc");
  EXPECT_EQ(read(answer("empty", "abc")), "abc");
}

TEST_F(ResponseBodyTest, InflatesGzipAndBothFormsOfDeflate) {
  const std::string text(200000, 'y');

  EXPECT_EQ(read(answer("gzip", deflated(text, DeflateFormat::Gzip))), text);
  EXPECT_TRUE(reusable_);
  EXPECT_EQ(read(answer("deflate", deflated(text, DeflateFormat::Zlib))), text);
  EXPECT_EQ(read(answer("deflate", deflated(text, DeflateFormat::Raw))), text);
}

TEST_F(ResponseBodyTest, TakesMemoryToInflateWithTheFirstCodedBodyAndUsesItAgain) {
  const std::string coded = answer("gzip", deflated("the body", DeflateFormat::Gzip));

  read(answer("identity", "the body"));
  EXPECT_EQ(body_.inputForTest(), nullptr);
  read(coded);
  const auto* const input = body_.inputForTest();
  EXPECT_NE(input, nullptr);
  EXPECT_EQ(read(coded), "the body");
  EXPECT_EQ(body_.inputForTest(), input);
}

TEST_F(ResponseBodyTest, InflatesEveryMemberOfAGzipBody) {
  const std::string body = deflated("one ", DeflateFormat::Gzip) +
                           deflated("two ", DeflateFormat::Gzip) +
                           deflated(std::string(1000, 'z'), DeflateFormat::Gzip);

  EXPECT_EQ(read(answer("gzip", body)), "one two " + std::string(1000, 'z'));
}

TEST_F(ResponseBodyTest, IgnoresBytesBehindTheCodedStreamAndKeepsTheConnection) {
  EXPECT_EQ(read(answer("gzip", deflated("text", DeflateFormat::Gzip) + "trailing bytes")), "text");
  EXPECT_TRUE(reusable_);
}

TEST_F(ResponseBodyTest, DecodesAnEmptyBodyToAnEmptyBody) {
  EXPECT_EQ(read(answer("gzip", "")), "");
  EXPECT_EQ(read(answer("deflate", "")), "");
}

TEST_F(ResponseBodyTest, DecodesNothingWhereNoBodyBelongs) {
  EXPECT_EQ(read("HTTP/1.1 304 Not Modified\r\nContent-Encoding: gzip\r\n\r\n", false), "");
}

TEST_F(ResponseBodyTest, RaisesASeriousErrorForACorruptOrShortStream) {
  const std::string body = deflated(std::string(5000, 'a'), DeflateFormat::Gzip);
  std::string corrupt = body;
  corrupt[body.size() - 6] ^= 1;  // in the checksum

  const std::string serious = "Error processing response stream: Serious I/O error";
  EXPECT_EQ(failure(answer("gzip", corrupt)), serious);
  EXPECT_EQ(failure(answer("gzip", "no gzip at all")), serious);
  for (std::size_t cut = 1; cut < body.size(); ++cut) {
    EXPECT_EQ(failure(answer("gzip", body.substr(0, cut))), serious) << cut;
  }
}

TEST_F(ResponseBodyTest, RaisesAnIoErrorWhenTheFramingOfACodedBodyIsCut) {
  const std::string whole = answer("gzip", deflated("text", DeflateFormat::Gzip) + "tail");

  EXPECT_EQ(failure(whole.substr(0, whole.size() - 1)),
            "Error processing response stream: I/O error");
}

TEST_F(ResponseBodyTest, DeliversATextInPlaceOfABodyInAnUnknownCoding) {
  EXPECT_EQ(read(answer("br", "whatever")), "Unsupported Media Type: br");
  EXPECT_TRUE(reusable_);
  EXPECT_EQ(read(answer("GZIP", "x")), "Unsupported Media Type: GZIP");
  EXPECT_EQ(read(answer("gzip, deflate", "x")), "Unsupported Media Type: gzip, deflate");

  const auto lines = host_.lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_EQ(lines[0].format, "<%s> {%I64u} %s");
  EXPECT_EQ(lines[0].text, "<category> {0} Unsupported Media Type: br");
}

TEST_F(ResponseBodyTest, TakesACodingWithoutANameForAnUnknownOne) {
  EXPECT_EQ(read(answer("", "text")), "Unsupported Media Type: ");
  EXPECT_EQ(read(answer("empty", "text")), "text");
}

TEST_F(ResponseBodyTest, DropsTheConnectionRatherThanDrainAnUnknownCodingOfAnySize) {
  EXPECT_EQ(read(answer("br", std::string(3 * 1024 * 1024, 'x'))), "Unsupported Media Type: br");
  EXPECT_FALSE(reusable_);
}

TEST_F(ResponseBodyTest, LosesOnlyTheConnectionWhenAnUnknownCodingIsCut) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Encoding: br\r\n";

  EXPECT_EQ(read(head + "Content-Length: 9\r\n\r\ncut"), "Unsupported Media Type: br");
  EXPECT_FALSE(reusable_);
  EXPECT_EQ(read(head + "Transfer-Encoding: chunked\r\n\r\nz"), "Unsupported Media Type: br");
  EXPECT_FALSE(reusable_);
}

// A worker's buffer goes from body to body; a rare giant gives its memory back.
TEST_F(ResponseBodyTest, ReadsASmallBodyAfterAGiant) {
  const std::string giant(BodyBuffer::kKeptBytesMax + 1, 'x');

  EXPECT_EQ(read(answer("identity", giant)), giant);
  EXPECT_EQ(read(answer("identity", "small")), "small");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
