#include "http/request_body.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::ElementsAre;

// Keeps what it is given to send, call by call.
class SendRecorder final : private ByteSource, public ClientSession {
 public:
  SendRecorder() : ClientSession(static_cast<ByteSource&>(*this)) {}

  void begin(RequestHead&) override {}
  void send(std::string_view first, std::string_view second) override {
    if (failing) throw std::runtime_error("lost");
    sent.push_back(std::string(first).append(second));
    fromWhereItStands.push_back(second.data());
  }
  bool hasInput() const override { return false; }
  void reset() noexcept override {}
  void rest() noexcept override {}

  std::string all() const {
    std::string result;
    for (const std::string& piece : sent) result += piece;
    return result;
  }

  std::vector<std::string> sent;
  std::vector<const char*> fromWhereItStands;
  bool failing = false;

 private:
  std::size_t receive(char*, std::size_t) override { return 0; }
};

TEST(RequestBodyTest, LeavesWithTheHeadWhenItIsSmall) {
  SendRecorder session;
  std::string buffer = "head";
  RequestBody body(session, buffer, false);

  body.write("small ");
  body.write("body");
  body.finish();

  EXPECT_THAT(session.sent, ElementsAre("headsmall body"));
}

TEST(RequestBodyTest, LeavesFromWhereItStandsWhenItIsLarge) {
  SendRecorder session;
  std::string buffer = "head";
  const std::string large(RequestBody::kGatheredBytesMax - 3, 'x');
  RequestBody body(session, buffer, false);

  body.write(large);
  body.finish();

  EXPECT_THAT(session.sent, ElementsAre("head" + large));
  EXPECT_EQ(session.fromWhereItStands[0], large.data());
}

TEST(RequestBodyTest, IsGatheredUpToItsBound) {
  SendRecorder session;
  std::string buffer = "head";
  RequestBody body(session, buffer, false);

  body.write(std::string(RequestBody::kGatheredBytesMax - 4, 'x'));
  EXPECT_TRUE(session.sent.empty());
  body.write("y");

  EXPECT_EQ(session.sent.size(), 1u);
}

TEST(RequestBodyTest, SendsTheHeadAloneWhenThereIsNoBody) {
  SendRecorder session;
  std::string buffer = "head";

  RequestBody(session, buffer, false).finish();

  EXPECT_THAT(session.sent, ElementsAre("head"));
}

TEST(RequestBodyTest, GoesInChunksOfOneSizeHoweverItIsWritten) {
  const std::string bytes(2 * RequestBody::kChunkBytes + 10, 'x');
  const std::string full(RequestBody::kChunkBytes, 'x');
  const std::string expected =
      "1000\r\n" + full + "\r\n1000\r\n" + full + "\r\nA\r\nxxxxxxxxxx\r\n0\r\n\r\n";
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{4095}, std::size_t{4096}, std::size_t{4097}, bytes.size()}) {
    SCOPED_TRACE(piece);
    SendRecorder session;
    std::string buffer;
    RequestBody body(session, buffer, true);

    for (std::size_t i = 0; i < bytes.size(); i += piece) body.write(bytes.substr(i, piece));
    body.finish();

    EXPECT_EQ(session.all(), expected);
  }
}

TEST(RequestBodyTest, SendsChunksBeforeTheyBecomeTooMany) {
  SendRecorder session;
  std::string buffer;
  RequestBody body(session, buffer, true);

  body.write(std::string(100 * RequestBody::kChunkBytes, 'x'));
  body.finish();

  EXPECT_GT(session.sent.size(), 20u);
}

TEST(RequestBodyStreamTest, GivesTheBodyWhatIsWrittenToIt) {
  SendRecorder session;
  std::string buffer;
  RequestBody body(session, buffer, false);
  RequestBodyStream stream(body);

  stream << "a" << 1;
  stream.put('c');
  stream.requireWhole();
  body.finish();

  EXPECT_THAT(session.sent, ElementsAre("a1c"));
}

TEST(RequestBodyStreamTest, TellsWhatWentWrongBelowIt) {
  SendRecorder session;
  session.failing = true;
  std::string buffer;
  RequestBody body(session, buffer, false);
  RequestBodyStream stream(body);
  stream << std::string(100'000, 'x') << "more";

  try {
    stream.requireWhole();
    FAIL() << "took it for whole";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "lost");
  }
}

TEST(RequestBodyStreamTest, IsNotWholeWhenItsWriterHasFailed) {
  SendRecorder session;
  std::string buffer;
  RequestBody body(session, buffer, false);
  RequestBodyStream stream(body);
  stream.setstate(std::ios::badbit);

  try {
    stream.requireWhole();
    FAIL() << "took it for whole";
  } catch (const orvex::StreamException& failure) {
    EXPECT_STREQ(failure.what(), "Error processing request stream: Serious I/O error");
  }
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
