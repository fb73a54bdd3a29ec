#include "chainhost/run_state.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <future>
#include <string>

namespace chainhost {
namespace {

using End = RunState::End;

bool isReadable(int fd) {
  pollfd waited{fd, POLLIN, 0};
  return ::poll(&waited, 1, 0) == 1;
}

class RunStateTest : public testing::Test {
 protected:
  RunStateTest() : file_(::open("/dev/null", O_WRONLY | O_CLOEXEC)) {}

  End wait(std::int64_t answerTimeoutMs = 0) { return state_.wait(output_, answerTimeoutMs); }

  FileDescriptor file_;
  OutputWriter output_{file_.get(), [](const std::string&) {}};
  RunState state_{1, 5};
};

TEST_F(RunStateTest, EndsWhenTheInputHadNoMessage) {
  state_.endReading();

  EXPECT_EQ(wait(), End::AllAnswered);
}

TEST_F(RunStateTest, EndsWithTheLastResponseAfterTheEndOfTheReading) {
  state_.countMessages(3);
  state_.countResponses(2);
  auto end = std::async(std::launch::async, [this] { return wait(); });
  state_.endReading();

  state_.countResponses(1);

  EXPECT_EQ(end.get(), End::AllAnswered);
  EXPECT_EQ(state_.unanswered(), 0U);
}

TEST_F(RunStateTest, EndsWithTheEndOfTheReadingAfterTheLastResponse) {
  state_.countMessages(1);
  state_.countResponses(1);
  auto end = std::async(std::launch::async, [this] { return wait(); });

  state_.endReading();

  EXPECT_EQ(end.get(), End::AllAnswered);
}

TEST_F(RunStateTest, DoesNotWaitForMessagesThatWereTakenBack) {
  state_.countMessages(5);
  state_.takeBackMessages(5);
  state_.endReading("the sending failed");

  EXPECT_EQ(wait(), End::AllAnswered);
  EXPECT_EQ(state_.failure(), "the sending failed");
}

TEST_F(RunStateTest, KeepsTheFirstFailure) {
  state_.fail("first");
  state_.fail("second");
  state_.endReading("third");

  EXPECT_EQ(wait(), End::Failed);
  EXPECT_EQ(state_.failure(), "first");
}

TEST_F(RunStateTest, StopsTheReadingOnAFailure) {
  EXPECT_FALSE(isReadable(state_.stopReadingFd()));

  state_.fail("failure");

  EXPECT_TRUE(isReadable(state_.stopReadingFd()));
  EXPECT_TRUE(state_.isReadingStopped());
  EXPECT_TRUE(state_.isAbandoned());
}

TEST_F(RunStateTest, OnlyStopsTheReadingOnAFirstSignal) {
  state_.countMessages(2);
  testing::internal::CaptureStderr();

  state_.signalReceived(SIGTERM);

  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "chainhost: SIGTERM: reading ended, responses due: 2; a second signal abandons them\n");
  EXPECT_TRUE(isReadable(state_.stopReadingFd()));
  EXPECT_TRUE(state_.isReadingStopped());
  EXPECT_FALSE(state_.isAbandoned());
}

TEST_F(RunStateTest, EndsTheWaitOnASecondSignal) {
  state_.countMessages(1);
  auto end = std::async(std::launch::async, [this] { return wait(); });
  state_.signalReceived(SIGTERM);

  state_.signalReceived(SIGINT);

  EXPECT_EQ(end.get(), End::Abandoned);
  EXPECT_EQ(state_.lastSignal(), SIGINT);
  EXPECT_EQ(state_.signalCount(), 2);
}

TEST_F(RunStateTest, GivesUpWhenNoResponseComes) {
  state_.countMessages(2);
  state_.countResponses(1);
  state_.endReading();

  EXPECT_EQ(wait(10), End::Unanswered);
  EXPECT_EQ(state_.unanswered(), 1U);
}

TEST_F(RunStateTest, GivesUpAlsoWhileTheInputGoesOn) {
  state_.countMessages(1);

  EXPECT_EQ(wait(10), End::Unanswered);
}

TEST_F(RunStateTest, NoticesASilenceAgainAndAgain) {
  state_.countMessages(1);
  testing::internal::CaptureStderr();

  wait(1100);

  const std::string text = testing::internal::GetCapturedStderr();
  const std::string first = "chainhost: responses due: 1, seconds without one: 0\n";
  const std::string last = "chainhost: responses due: 1, seconds without one: 1\n";
  EXPECT_TRUE(text.starts_with(first)) << text;
  EXPECT_TRUE(text.ends_with(last)) << text;
}

TEST_F(RunStateTest, DoesNotBlameTheTransportForAnOutputThatIsBehind) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  const FileDescriptor pipe(ends[1]);
  OutputWriter stuck(pipe.get(), [](const std::string&) {});
  stuck.append(std::string(1 << 20, '.'));  // more than a pipe holds
  state_.countMessages(1);
  auto end = std::async(std::launch::async, [this, &stuck] { return state_.wait(stuck, 20); });

  EXPECT_EQ(end.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);

  state_.endReading();
  state_.countResponses(1);
  EXPECT_EQ(end.get(), End::AllAnswered);
}

}  // namespace
}  // namespace chainhost
