#include "bench/incoming_request.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

namespace {

using bench::IncomingRequest;
using bench::parseHead;
using bench::RequestSource;
using bench::ServerSocket;

TEST(IncomingRequestTest, ReadsWhatTheHeadSays) {
  const IncomingRequest request = parseHead(
      "PUT /bench/42 HTTP/1.1\r\nHost: a\r\nX-Order: 7\r\nx-checksum: 0123\r\nContent-Length: 9");

  EXPECT_EQ(request.id, 42u);
  EXPECT_EQ(request.order, 7u);
  EXPECT_EQ(request.checksum, "0123");
  EXPECT_EQ(request.bodyBytes, 9u);
}

TEST(IncomingRequestTest, HasNoOrderAndNoBodyUnlessTheHeadSaysSo) {
  const IncomingRequest request = parseHead("GET /bench/1 HTTP/1.1\r\nHost: a");

  EXPECT_EQ(request.id, 1u);
  EXPECT_EQ(request.order, std::nullopt);
  EXPECT_EQ(request.bodyBytes, 0u);
}

TEST(IncomingRequestTest, HasNoIdWhenItIsNoRequestOfOurs) {
  for (const char* head :
       {"", "x", "GET / HTTP/1.1", "GET /bench/1", "GET /bench/x HTTP/1.1", "GET /bench/ HTTP/1.1",
        "GET /bench/1 HTTP/1.0", "GET /bench/1 HTTP/1.1\r\nno field"}) {
    EXPECT_EQ(parseHead(head).id, 0u) << head;
  }
}

class RequestSourceTest : public testing::Test {
 protected:
  RequestSourceTest() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    peer_.emplace(ends[0], nullptr);
    server_.emplace(ends[1], nullptr);
  }

  void receive(const std::string& bytes) {
    EXPECT_TRUE(peer_->send(bytes));
    peer_->finish();
  }

  std::optional<ServerSocket> peer_;
  std::optional<ServerSocket> server_;
};

TEST_F(RequestSourceTest, ReadsRequestsOneBehindTheOther) {
  receive(
      "POST /bench/1 HTTP/1.1\r\ncontent-length: 4\r\n\r\nbody"
      "GET /bench/2 HTTP/1.1\r\n\r\n");
  RequestSource source(*server_);

  const auto first = source.nextHead();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->id, 1u);
  EXPECT_EQ(source.body(*first), "body");
  const auto second = source.nextHead();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->id, 2u);
  EXPECT_EQ(source.body(*second), "");
  EXPECT_FALSE(source.nextHead());
}

TEST_F(RequestSourceTest, TellsABodyThatIsCutShort) {
  receive("POST /bench/1 HTTP/1.1\r\ncontent-length: 5\r\n\r\nbody");
  RequestSource source(*server_);

  const auto request = source.nextHead();

  ASSERT_TRUE(request);
  EXPECT_FALSE(source.body(*request));
}

TEST_F(RequestSourceTest, GivesNoRequestForAHeadThatIsCutShort) {
  receive("POST /bench/1 HTTP/1.1\r\ncontent-le");
  RequestSource source(*server_);

  const auto request = source.nextHead();

  ASSERT_TRUE(request);
  EXPECT_EQ(request->id, 0u);
}

}  // namespace
