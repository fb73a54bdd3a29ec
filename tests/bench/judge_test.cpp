#include "bench/judge.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "bench/checksum.h"
#include "model/message.h"

namespace {

using bench::Fault;
using bench::FaultSchedule;
using bench::Journal;
using bench::Judge;
using bench::Tally;
using bench::Traffic;
using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

class JudgeTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kId = 17;

  // A request that has been delivered and has arrived at the server.
  void deliver(std::uint64_t id) {
    judge_.expect(id);
    journal_.arrive(id);
  }

  Message answer(std::uint64_t id, std::uint64_t ownId, std::string_view body) const {
    map_t headers;
    headers.insert(data_t("x-id"), data_t(std::to_string(ownId)));
    headers.insert(data_t("x-checksum"),
                   data_t(bench::checksumText(ownId, traffic_.responseBody(ownId))));
    map_t http;
    http.insert(data_t("statusCode"), data_t(200));
    http.insert(data_t("headers"), data_t(std::move(headers)));
    return message(id, std::move(http), body);
  }

  static Message failure(std::uint64_t id, const char* text) {
    map_t http;
    http.insert(data_t("statusCode"), data_t(400));
    http.insert(data_t("statusReason"), data_t(text));
    return message(id, std::move(http), text);
  }

  static Message message(std::uint64_t id, map_t&& http, std::string_view body) {
    Message result;
    result.payload = data_t(buffer_t::copyOf(body.data(), body.size()));
    result.metadata.insert(data_t("requestId"), data_t(id));
    result.metadata.insert(data_t("http"), data_t(std::move(http)));
    return result;
  }

  void receive(Message&& message) {
    auto* const raw = reinterpret_cast<kel_message*>(&message);
    Judge::receive(&judge_, raw, raw + 1);
  }

  const Traffic traffic_{1, 1000};
  const FaultSchedule faults_{1, 0};
  Journal journal_;
  Judge judge_{traffic_, faults_, journal_, 10};
};

TEST_F(JudgeTest, IsContentWithARequestsOwnWholeAnswer) {
  deliver(kId);

  receive(answer(kId, kId, traffic_.responseBody(kId)));
  judge_.close();

  const Tally tally = judge_.tally();
  EXPECT_TRUE(tally.isClean());
  EXPECT_EQ(tally.answered, 1u);
  EXPECT_EQ(tally.delivered, 1u);
  EXPECT_EQ(tally.seen, 1u);
}

TEST_F(JudgeTest, FindsARequestThatIsNeverAnswered) {
  deliver(kId);
  deliver(kId + 1);
  receive(answer(kId, kId, traffic_.responseBody(kId)));

  judge_.close();

  EXPECT_EQ(judge_.tally().lost, 1u);
}

TEST_F(JudgeTest, FindsARequestThatIsAnsweredTwice) {
  deliver(kId);
  receive(answer(kId, kId, traffic_.responseBody(kId)));

  receive(answer(kId, kId, traffic_.responseBody(kId)));

  EXPECT_EQ(judge_.tally().doubled, 1u);
  EXPECT_EQ(judge_.tally().answered, 1u);
}

TEST_F(JudgeTest, FindsTheAnswerOfAnotherRequest) {
  deliver(kId);

  receive(answer(kId, kId + 1, traffic_.responseBody(kId + 1)));

  EXPECT_EQ(judge_.tally().crossed, 1u);
}

TEST_F(JudgeTest, FindsABodyThatIsNotWhole) {
  deliver(kId);
  const std::string_view body = traffic_.responseBody(kId);
  ASSERT_FALSE(body.empty());

  receive(answer(kId, kId, body.substr(1)));

  EXPECT_EQ(judge_.tally().damaged, 1u);
}

TEST_F(JudgeTest, FindsTheBodyOfAnotherRequestUnderARightHead) {
  deliver(kId);
  std::string body(traffic_.responseBody(kId));
  ASSERT_FALSE(body.empty());
  body.back() = static_cast<char>(body.back() ^ 1);

  receive(answer(kId, kId, body));

  EXPECT_EQ(judge_.tally().damaged, 1u);
}

TEST_F(JudgeTest, FindsAFailureWithoutAReason) {
  deliver(kId);

  receive(failure(kId, "No message received"));

  EXPECT_EQ(judge_.tally().unexplained, 1u);
  EXPECT_EQ(judge_.tally().failed, 1u);
  EXPECT_EQ(judge_.cases(),
            std::vector<std::string>{"request 17: none, ended as No message received"});
}

TEST_F(JudgeTest, FindsARequestThatTheServerSawTwiceWithoutAReason) {
  deliver(kId);
  journal_.arrive(kId);

  receive(answer(kId, kId, traffic_.responseBody(kId)));

  EXPECT_EQ(judge_.tally().unexplained, 1u);
  EXPECT_EQ(judge_.tally().seenAgain, 1u);
}

TEST_F(JudgeTest, FindsAMessageThatIsNotInForm) {
  deliver(kId);

  receive(Message());

  EXPECT_EQ(judge_.tally().unexplained, 1u);
  EXPECT_FALSE(judge_.tally().isClean());
}

TEST_F(JudgeTest, KeepsTheFirstCasesOnly) {
  for (std::size_t i = 0; i < Judge::kCasesMax + 5; ++i) {
    Judge::logged(&judge_, "category", 2, "line");
  }

  EXPECT_EQ(judge_.tally().logged, Judge::kCasesMax + 5);
  EXPECT_EQ(judge_.cases().size(), Judge::kCasesMax);
  EXPECT_EQ(judge_.cases().front(), "category line");
}

TEST_F(JudgeTest, AwaitsTheLastAnswer) {
  EXPECT_TRUE(judge_.awaitAnswers(0));
  deliver(kId);
  EXPECT_FALSE(judge_.awaitAnswers(0));
  std::thread receiving([this] { receive(answer(kId, kId, traffic_.responseBody(kId))); });
  EXPECT_TRUE(judge_.awaitAnswers(60));
  receiving.join();
  EXPECT_EQ(judge_.tally().answered, 1u);
  for (std::uint64_t id = 1; id <= 10; ++id) deliver(id);  // all the room is free again
}

}  // namespace
