// resources/failing_call.h : system calls that fail, or move fewer bytes than asked, when the test
// says so.
//
// Role:      stands in front of the C library's functions for the whole program. Only calls of the
//            plugin's threads (plugin_threads.h) are met.
// Threads:   any thread.
// Limits:    what is to be closed is closed, whatever close then says, as the system does it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace test_support {

enum class Call {
  Close,
  Connect,
  CreateThread,
  DescriptorFlags,  // fcntl
  GetOption,
  Poll,
  Read,     // recv, recvfrom and read
  Resolve,  // getaddrinfo; its errors are EAI_...
  SetOption,
  Socket,
  Write,  // send, sendto, sendmsg and write
};

const char* nameOf(Call call);
inline void PrintTo(Call call, std::ostream* out) { *out << nameOf(call); }

/// From now on the n-th such call (1: the next one) fails once with an error of errno.
void failCall(Call call, std::uint64_t n, int error);

/// No call fails any more. Returns whether one has.
bool endFailure();

/// From now on a call reads or writes at most so many bytes; 0: as many as it is asked for.
void limitTransfers(std::size_t bytes);

/// Descriptors that the plugin's threads have made and nobody has closed.
std::size_t pluginDescriptors();

/// The name that getaddrinfo knows, as 127.0.0.1, without asking anybody.
inline constexpr char kKnownHost[] = "server.test";

}  // namespace test_support
