// The waits of one connection. Time is the test's own wherever an outcome hangs on it.
#include "http/peer_socket.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "runtime/condition.h"
#include "runtime/manual_clock.h"
#include "runtime/mutex.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using Poco::Net::SocketAddress;

constexpr std::int64_t kEverMs = 3'600'000;

// Signals that interrupt system calls and do nothing else, as a profiler's do.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &before_);
  }
  ~Interruptions() { sigaction(SIGUSR1, &before_, nullptr); }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

  /// Runs `work` on a thread that is interrupted, each time after a `step` of the caller, until it
  /// has returned.
  static void during(const std::function<void()>& work, const std::function<void()>& step) {
    std::atomic<bool> done = false;
    std::thread worker([&] {
      work();
      done = true;
    });
    while (!done) {
      step();
      pthread_kill(worker.native_handle(), SIGUSR1);
      std::this_thread::yield();
    }
    worker.join();
  }

 private:
  struct sigaction before_ = {};
};

class PeerSocketTest : public testing::Test {
 protected:
  ~PeerSocketTest() override {
    if (peer_ >= 0) ::close(peer_);
    ::close(listening_);
  }

  void connect(std::int64_t timeoutMs) {
    socket_.open(AF_INET, timeoutMs);
    socket_.connect(SocketAddress("127.0.0.1", test_support::boundPort(listening_)));
    peer_ = ::accept(listening_, nullptr, nullptr);
    ASSERT_GE(peer_, 0);
  }

  /// One byte from the peer, which has come when this returns.
  void bringByte() {
    ASSERT_EQ(::send(peer_, "x", 1, MSG_NOSIGNAL), 1);
    pollfd polled{socket_.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&polled, 1, -1), 1);
  }

  std::size_t receive() {
    char buffer[16];
    return socket_.receive(buffer, sizeof(buffer));
  }

  /// What sending more than any buffer holds fails with; "" when it does not.
  std::string failureOfLargeSend(std::size_t bytes = 32 * 1024 * 1024) {
    const std::string large(bytes, 'x');
    try {
      socket_.send(large);
      return "";
    } catch (const Poco::Exception& failure) {
      return failure.displayText();
    }
  }

  int untakenBytes() const {
    int count = 0;
    EXPECT_EQ(::ioctl(socket_.descriptor(), SIOCOUTQ, &count), 0);
    return count;
  }

  const int listening_ = test_support::listenLoopback();
  int peer_ = -1;
  Connections connections_;
  PeerSocket socket_{connections_};
};

// ---- Sending

TEST_F(PeerSocketTest, SendsBothPiecesHoweverLittleTheSystemTakes) {
  connect(kEverMs);
  const int few = 1;  // as few as it can
  ASSERT_EQ(::setsockopt(socket_.descriptor(), SOL_SOCKET, SO_SNDBUF, &few, sizeof(few)), 0);
  const std::string first(100'000, 'a');
  const std::string second(300'000, 'b');
  std::string received;
  std::thread reader([&] {
    std::string piece(10'000, '\0');
    while (received.size() < first.size() + second.size()) {
      const ssize_t count = ::recv(peer_, piece.data(), piece.size(), 0);
      if (count <= 0) return;
      received.append(piece, 0, static_cast<std::size_t>(count));
    }
  });

  socket_.send(first, second);
  socket_.send({}, "");
  reader.join();

  EXPECT_TRUE(received == first + second);
  EXPECT_EQ(socket_.takenBytes(), received.size());
}

// ---- Cut

TEST_F(PeerSocketTest, DoesNotWaitForAConnectionThatWasCutBeforehand) {
  const test_support::UnansweringPort unanswering;
  socket_.open(AF_INET, kEverMs);
  connections_.cut();

  try {
    socket_.connect(SocketAddress("127.0.0.1", unanswering.port()));
    FAIL() << "connected";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), Connections::kCutText);
  }
}

TEST_F(PeerSocketTest, DoesNotConnectWhenItWasCutBeforehand) {
  socket_.open(AF_INET, kEverMs);
  connections_.cut();

  EXPECT_THROW(connect(kEverMs), std::runtime_error);
  EXPECT_THROW(PeerSocket(connections_).open(AF_INET, kEverMs), std::runtime_error);
}

// ---- Receiving

TEST_F(PeerSocketTest, EndsAStepWhoseTimeIsOverThoughBytesKeptComing) {
  orvex::ManualClockForTest clock;
  connect(kEverMs);
  socket_.boundStep();
  bringByte();
  EXPECT_EQ(receive(), 1u);
  clock.advanceMs(kEverMs - 1);
  bringByte();
  EXPECT_EQ(receive(), 1u);

  clock.advanceMs(1);

  EXPECT_THROW(receive(), Poco::TimeoutException);
}

TEST_F(PeerSocketTest, TakesWhatHasComeWhenTheTimeIsOver) {
  orvex::ManualClockForTest clock;
  connect(kEverMs);
  socket_.boundStep();
  bringByte();
  EXPECT_EQ(receive(), 1u);
  clock.advanceMs(2 * kEverMs);

  bringByte();

  EXPECT_EQ(receive(), 1u);
}

TEST_F(PeerSocketTest, BeginsAStretchAnewWithEachByte) {
  orvex::ManualClockForTest clock;
  connect(kEverMs);
  socket_.boundStep();
  bringByte();
  EXPECT_EQ(receive(), 1u);
  socket_.boundStretches();

  for (int i = 0; i < 10; ++i) {
    clock.advanceMs(kEverMs - 1);
    bringByte();
    EXPECT_EQ(receive(), 1u);
  }
}

TEST_F(PeerSocketTest, EndsAStretchWithoutAByte) {
  connect(20);

  EXPECT_THROW(receive(), Poco::TimeoutException);
}

TEST_F(PeerSocketTest, EndsAStretchThatIsInterruptedAgainAndAgain) {
  const Interruptions interruptions;
  orvex::ManualClockForTest clock;
  connect(kEverMs);

  Interruptions::during([&] { EXPECT_THROW(receive(), Poco::TimeoutException); },
                        [&] { clock.advanceMs(kEverMs); });
}

TEST_F(PeerSocketTest, WaitsForNothingWhenToldSo) {
  connect(kEverMs);
  socket_.stopWaiting();

  EXPECT_THROW(receive(), Poco::TimeoutException);
  socket_.boundStep();
  EXPECT_THROW(receive(), Poco::TimeoutException);
  EXPECT_EQ(failureOfLargeSend(), "Timeout");

  bringByte();
  EXPECT_EQ(receive(), 1u);
}

// ---- Sending

TEST_F(PeerSocketTest, EndsASendOfWhichNothingIsTaken) {
  connect(20);

  EXPECT_EQ(failureOfLargeSend(), "I/O error: Operation would block");
}

TEST_F(PeerSocketTest, GivesNoMoreTimeToAPeerThatTookNothing) {
  const Interruptions interruptions;
  orvex::ManualClockForTest clock;
  connect(kEverMs);
  Interruptions::during(
      [&] { EXPECT_EQ(failureOfLargeSend(), "I/O error: Operation would block"); },
      [&] { clock.advanceMs(kEverMs); });

  socket_.boundStep();

  EXPECT_THROW(receive(), Poco::TimeoutException);
}

// The system reports no room until much is taken: here the time would be over many times before.
// The pauses let the sender see the time pass.
TEST_F(PeerSocketTest, IsPatientWithAPeerThatTakesLittleAtATime) {
  orvex::ManualClockForTest clock;
  orvex::Mutex mutex("Pause");
  orvex::Condition pause(mutex);
  const int window = 16 * 1024;  // of the peer's system, much less than ours keeps
  ASSERT_EQ(::setsockopt(listening_, SOL_SOCKET, SO_RCVBUF, &window, sizeof(window)), 0);
  connect(20);
  std::string failure = "not ended";
  std::thread sender([&] {
    failure = failureOfLargeSend(8 * 1024 * 1024);
    ::shutdown(socket_.descriptor(), SHUT_WR);
  });

  std::vector<char> buffer(16 * 1024);
  int pauses = 50;
  for (ssize_t count = 1; count > 0;) {
    const int before = untakenBytes();
    do {
      count = ::recv(peer_, buffer.data(), buffer.size(), 0);
    } while (count > 0 && before > 0 && untakenBytes() >= before);
    if (before > 0) clock.advanceMs(15);
    orvex::AutoMutex lock(mutex);
    if (before > 0 && pauses-- > 0) pause.timedwaitRelative(5);
  }
  sender.join();

  EXPECT_EQ(failure, "");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
