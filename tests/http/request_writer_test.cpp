#include "http/request_writer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/form_messages.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

// Keeps what is written instead of sending it.
class RecordingSession final : private ByteSource, public ClientSession {
 public:
  RecordingSession() : ClientSession(static_cast<ByteSource&>(*this)) {}

  void begin(RequestHead&) override {}
  void send(std::string_view first, std::string_view second) override {
    bytes.append(first).append(second);
  }
  bool hasInput() const override { return false; }
  void reset() noexcept override {}
  void rest() noexcept override {}

  std::string bytes;

 private:
  std::size_t receive(char*, std::size_t) override { return 0; }
};

class RequestWriterTest : public testing::Test {
 protected:
  /// What sendRequest gives for a message, after comparing it with what it wrote.
  std::optional<std::uint64_t> sent(const char* method, data_t payload, const char* coding,
                                    const char* contentType = "text/plain") {
    TextMap headers;
    headers.insert("content-encoding", coding);
    headers.insert("content-type", contentType);
    RequestDetails details(std::move(payload), data_t(1), data_t(method), data_t("/"),
                           std::move(headers), {}, {}, data_t(), 0);
    RecordingSession session;
    const auto count = writer_.sendRequest(session, details, "/");
    const std::size_t headEnd = session.bytes.find("\r\n\r\n");
    EXPECT_EQ(headEnd != std::string::npos, count.has_value());
    if (count) {
      EXPECT_EQ(session.bytes.size() - headEnd - 4, *count);
    }
    return count;
  }

  connectivity10_15_0::Logger debugLogger() {
    host_.setLogLevel(5);
    return connectivity10_15_0::Logger("category");
  }

  test_support::FakeHost host_;
  const connectivity10_15_0::Logger log_ = debugLogger();
  const ThreadLogger logger_{log_, 0};
  const MessageKeys keys_;
  const Settings settings_;
  CookieJar jar_{false};
  RequestWriter writer_{settings_, false, keys_, jar_, logger_};
};

TEST_F(RequestWriterTest, CountsTheBytesOfTheBody) {
  EXPECT_EQ(sent("POST", bufferValue("body"), "identity"), 4u);
  EXPECT_EQ(sent("POST", bufferValue(""), "identity"), 0u);
  EXPECT_EQ(sent("DELETE", bufferValue("body"), "identity"), 0u);
}

TEST_F(RequestWriterTest, CountsCompressedBytes) {
  EXPECT_EQ(sent("POST", bufferValue(""), "gzip"), 20u);
  EXPECT_EQ(sent("POST", bufferValue(std::string(1000, 'x')), "deflate"), 17u);
  EXPECT_EQ(sent("DELETE", bufferValue("body"), "gzip"), 0u);
}

TEST_F(RequestWriterTest, CountsTheBytesOfAForm) {
  EXPECT_EQ(sent("POST", data_t(textMap({{"a", "1&2"}})), "identity"), 7u);
  EXPECT_EQ(sent("GET", data_t(textMap({{"a", "1&2"}})), "identity"), 7u);
  EXPECT_EQ(sent("HEAD", data_t(textMap({{"a", "1&2"}})), "identity"), 0u);
  // Between boundary lines of 34 and 36 bytes.
  const std::string part = "Content-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n";
  EXPECT_EQ(sent("POST", data_t(textMap({{"a", "1"}})), "identity", "multipart/form-data"),
            34 + part.size() + 36);
}

TEST_F(RequestWriterTest, SaysThatABufferIsDroppedOnlyWhenSomethingIs) {
  sent("DELETE", bufferValue(""), "identity");
  EXPECT_EQ(host_.texts(), std::vector<std::string>{});

  sent("DELETE", bufferValue("body"), "identity");
  EXPECT_EQ(host_.textsAt(5),
            std::vector<std::string>{
                "<category> {0} Ignoring specified payload for DELETE request method"});
}

TEST_F(RequestWriterTest, CountsNothingForACodingThatIsNotKnown) {
  EXPECT_EQ(sent("POST", bufferValue("body"), "GZip"), std::nullopt);
  EXPECT_EQ(sent("POST", data_t(map_t()), "br"), std::nullopt);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
