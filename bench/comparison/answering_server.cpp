#include "bench/comparison/answering_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <system_error>
#include <utility>

#include "runtime/platform.h"

namespace bench {

using com::orvex::Platform;

namespace {

// Numbers of what is watched that is no connection.
constexpr std::uint64_t kStop = 0;
constexpr std::uint64_t kPlainListener = 1;
constexpr std::uint64_t kTlsListener = 2;
constexpr std::uint64_t kFirstConnection = 3;

constexpr std::int64_t kNanosPerMilli = 1'000'000;
constexpr std::int64_t kNanosPerSecond = 1'000'000'000;

}  // namespace

AnsweringServer::AnsweringServer(int plainListener, int tlsListener, SSL_CTX* tls)
    : plainListener_(plainListener),
      tlsListener_(tlsListener),
      tls_(tls),
      poll_(::epoll_create1(EPOLL_CLOEXEC)),
      nextNumber_(kFirstConnection) {
  watch(plainListener_, kPlainListener);
  watch(tlsListener_, kTlsListener);
}

AnsweringServer::~AnsweringServer() { ::close(poll_); }

void AnsweringServer::watch(int descriptor, std::uint64_t number) const {
  epoll_event event{};
  event.events = number < kFirstConnection ? EPOLLIN : EPOLLIN | EPOLLOUT | EPOLLET;
  event.data.u64 = number;
  if (::epoll_ctl(poll_, EPOLL_CTL_ADD, descriptor, &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  }
}

void AnsweringServer::serveUntil(int stopDescriptor) {
  watch(stopDescriptor, kStop);
  while (true) {
    std::array<epoll_event, 64> events;
    const std::int64_t nanos = nanosUntilDue();
    const timespec timeout{nanos / kNanosPerSecond, nanos % kNanosPerSecond};
    const int count = ::epoll_pwait2(poll_, events.data(), static_cast<int>(events.size()),
                                     due_.empty() ? nullptr : &timeout, nullptr);
    if (count < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "epoll_pwait2");
    }
    for (int i = 0; i < count; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      if (event.data.u64 == kStop) return;
      if (event.data.u64 == kPlainListener) {
        accept(plainListener_, nullptr);
      } else if (event.data.u64 == kTlsListener) {
        accept(tlsListener_, tls_);
      } else {
        serve(event.data.u64, event.events);
      }
    }
    answerDue();
  }
}

void AnsweringServer::accept(int listener, SSL_CTX* tls) {
  const int descriptor = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) return;  // it has gone again
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const std::uint64_t number = nextNumber_++;
  connections_[number] = std::make_unique<ServedConnection>(descriptor, tls);
  watch(descriptor, number);
}

void AnsweringServer::serve(std::uint64_t number, std::uint32_t events) {
  const auto found = connections_.find(number);
  if (found == connections_.end()) return;
  ServedConnection& connection = *found->second;
  bool isOpen = (events & EPOLLOUT) == 0 || connection.sendRest();
  if (isOpen && (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) isOpen = take(number, connection);
  if (!isOpen) connections_.erase(found);
}

// No client asks again before it has been answered: what comes then is an event of its own.
bool AnsweringServer::take(std::uint64_t number, ServedConnection& connection) {
  ServedRequest request;
  const auto state = connection.receive(request);
  if (state != ServedConnection::State::Request) return state == ServedConnection::State::Waiting;
  if (request.delayMs == 0) return connection.send(answerOf(request.answerBytes));
  due_.push({Platform::monotonicNanos() + request.delayMs * kNanosPerMilli, number, request});
  return true;
}

void AnsweringServer::answerDue() {
  while (!due_.empty() && due_.top().nanos <= Platform::monotonicNanos()) {
    const Due due = due_.top();
    due_.pop();
    const auto found = connections_.find(due.connection);
    if (found == connections_.end()) continue;
    if (!found->second->send(answerOf(due.request.answerBytes))) connections_.erase(found);
  }
}

const Answer& AnsweringServer::answerOf(std::size_t bytes) {
  return answers_.try_emplace(bytes, bytes).first->second;
}

std::int64_t AnsweringServer::nanosUntilDue() const {
  if (due_.empty()) return 0;
  return std::max<std::int64_t>(due_.top().nanos - Platform::monotonicNanos(), 0);
}

}  // namespace bench
