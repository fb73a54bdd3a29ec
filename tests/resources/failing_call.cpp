#include "resources/failing_call.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "resources/next_function.h"
#include "resources/plugin_threads.h"

namespace test_support {
namespace {

std::atomic<Call> chosen = Call::Close;
std::atomic<std::int64_t> untilFailure = 0;  // calls up to the one that fails; 0: none
std::atomic<int> failure = 0;
std::atomic<bool> hasFailed = false;
std::atomic<std::size_t> transferMax = 0;

// Counts this call; tells whether it is to fail.
bool isHit(Call call) {
  if (untilFailure.load(std::memory_order_relaxed) == 0 || !onPluginThread()) return false;
  if (call != chosen) return false;
  std::int64_t left = untilFailure.load();
  while (left > 0 && !untilFailure.compare_exchange_weak(left, left - 1)) {
  }
  if (left != 1) return false;
  hasFailed = true;
  return true;
}

// The same for a call that tells its error by errno.
bool fails(Call call) {
  if (!isHit(call)) return false;
  errno = failure;
  return true;
}

// By number: whether the plugin made it.
std::array<std::atomic<bool>, 1024> made{};

void mark(int descriptor, bool isPlugins) {
  const auto number = static_cast<std::size_t>(descriptor);
  if (number < made.size()) made[number] = isPlugins;  // not for -1 either
}

int noted(int descriptor) {
  if (onPluginThread()) mark(descriptor, true);
  return descriptor;
}

std::size_t limited(std::size_t bytes) {
  const std::size_t most = transferMax;
  return most == 0 || !onPluginThread() ? bytes : std::min(bytes, most);
}

}  // namespace

const char* nameOf(Call call) {
  constexpr std::array kNames = {"Close",     "Connect", "CreateThread", "DescriptorFlags",
                                 "GetOption", "Poll",    "Read",         "Resolve",
                                 "SetOption", "Socket",  "Write"};
  return kNames.at(static_cast<std::size_t>(call));
}

void failCall(Call call, std::uint64_t n, int error) {
  untilFailure = 0;
  hasFailed = false;
  chosen = call;
  failure = error;
  untilFailure = static_cast<std::int64_t>(n);
}

bool endFailure() {
  untilFailure = 0;
  return hasFailed;
}

std::size_t pluginDescriptors() {
  return static_cast<std::size_t>(std::count(made.begin(), made.end(), true));
}

void limitTransfers(std::size_t bytes) { transferMax = bytes; }

}  // namespace test_support

using test_support::Call;
using test_support::fails;
using test_support::limited;
using test_support::nextFunction;
using test_support::noted;

namespace {

int closed(int descriptor, int (*next)(int)) {
  const bool isFailing = fails(Call::Close);
  const int error = errno;
  test_support::mark(descriptor, false);
  const int result = next(descriptor);
  if (!isFailing) return result;
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

RESOURCES_EXPORT int socket(int domain, int type, int protocol) noexcept {
  static const auto next = nextFunction<decltype(&socket)>("socket");
  return fails(Call::Socket) ? -1 : noted(next(domain, type, protocol));
}

RESOURCES_EXPORT int connect(int descriptor, const sockaddr* address, socklen_t length) {
  static const auto next = nextFunction<decltype(&connect)>("connect");
  return fails(Call::Connect) ? -1 : next(descriptor, address, length);
}

RESOURCES_EXPORT int close(int descriptor) {
  static const auto next = nextFunction<decltype(&close)>("close");
  return closed(descriptor, next);
}

RESOURCES_EXPORT int getsockopt(int descriptor, int level, int name, void* value,
                                socklen_t* length) noexcept {
  static const auto next = nextFunction<decltype(&getsockopt)>("getsockopt");
  return fails(Call::GetOption) ? -1 : next(descriptor, level, name, value, length);
}

RESOURCES_EXPORT int setsockopt(int descriptor, int level, int name, const void* value,
                                socklen_t length) noexcept {
  static const auto next = nextFunction<decltype(&setsockopt)>("setsockopt");
  return fails(Call::SetOption) ? -1 : next(descriptor, level, name, value, length);
}

// Its name is fcntl64 for this program and the libraries, which are compiled for large files.
RESOURCES_EXPORT int fcntl(int descriptor, int command, ...) {
  static const auto next = nextFunction<decltype(&fcntl)>("fcntl64");
  std::va_list values;
  va_start(values, command);
  void* const value = va_arg(values, void*);
  va_end(values);
  if (fails(Call::DescriptorFlags)) return -1;
  const int result = next(descriptor, command, value);
  return command == F_DUPFD_CLOEXEC || command == F_DUPFD ? noted(result) : result;
}

RESOURCES_EXPORT int poll(pollfd* descriptors, nfds_t count, int timeoutMs) {
  static const auto next = nextFunction<decltype(&poll)>("poll");
  return fails(Call::Poll) ? -1 : next(descriptors, count, timeoutMs);
}

RESOURCES_EXPORT ssize_t recv(int descriptor, void* bytes, size_t length, int flags) {
  static const auto next = nextFunction<decltype(&recv)>("recv");
  return fails(Call::Read) ? -1 : next(descriptor, bytes, limited(length), flags);
}

RESOURCES_EXPORT ssize_t recvfrom(int descriptor, void* bytes, size_t length, int flags,
                                  sockaddr* address, socklen_t* addressLength) {
  static const auto next = nextFunction<decltype(&recvfrom)>("recvfrom");
  if (fails(Call::Read)) return -1;
  return next(descriptor, bytes, limited(length), flags, address, addressLength);
}

RESOURCES_EXPORT ssize_t read(int descriptor, void* bytes, size_t length) {
  static const auto next = nextFunction<decltype(&read)>("read");
  return fails(Call::Read) ? -1 : next(descriptor, bytes, limited(length));
}

RESOURCES_EXPORT ssize_t send(int descriptor, const void* bytes, size_t length, int flags) {
  static const auto next = nextFunction<decltype(&send)>("send");
  return fails(Call::Write) ? -1 : next(descriptor, bytes, limited(length), flags);
}

RESOURCES_EXPORT ssize_t sendto(int descriptor, const void* bytes, size_t length, int flags,
                                const sockaddr* address, socklen_t addressLength) {
  static const auto next = nextFunction<decltype(&sendto)>("sendto");
  if (fails(Call::Write)) return -1;
  return next(descriptor, bytes, limited(length), flags, address, addressLength);
}

RESOURCES_EXPORT ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  static const auto next = nextFunction<decltype(&sendmsg)>("sendmsg");
  if (fails(Call::Write)) return -1;
  iovec first = message->msg_iov[0];
  const size_t length = limited(first.iov_len);
  if (length == first.iov_len) return next(descriptor, message, flags);
  first.iov_len = length;
  msghdr part = *message;
  part.msg_iov = &first;
  part.msg_iovlen = 1;
  return next(descriptor, &part, flags);
}

RESOURCES_EXPORT ssize_t write(int descriptor, const void* bytes, size_t length) {
  static const auto next = nextFunction<decltype(&write)>("write");
  return fails(Call::Write) ? -1 : next(descriptor, bytes, limited(length));
}

RESOURCES_EXPORT int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                                 addrinfo** addresses) {
  static const auto next = nextFunction<decltype(&getaddrinfo)>("getaddrinfo");
  if (test_support::isHit(Call::Resolve)) return test_support::failure;
  if (host != nullptr && std::strcmp(host, test_support::kKnownHost) == 0) host = "127.0.0.1";
  return next(host, service, hints, addresses);
}

RESOURCES_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                    void* (*function)(void*), void* argument) noexcept {
  static const auto next = nextFunction<decltype(&pthread_create)>("pthread_create");
  if (test_support::isHit(Call::CreateThread)) return test_support::failure;
  return next(thread, attributes, function, argument);
}

}  // extern "C"
