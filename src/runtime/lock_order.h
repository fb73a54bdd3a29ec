// runtime/lock_order.h : in debug builds, watches the order in which named mutexes are taken.
//
// Role:    called by Mutex and Condition around every taking and releasing. Keeps, for the whole
//          process, which names have been taken while which were held, and ends the process before
//          a taking that closes a circle: two threads could block each other for ever there,
//          whether or not they do so this time. Not installed.
// Threads: any thread. What a thread holds, and the pairs it has seen lately, are its own; only a
//          pair that is new to it goes to the shared record, under a lock. So a thread that holds
//          nothing pays for one list entry, and the thread sanitizer sees no order between threads
//          that the program does not make itself.
// Limits:  kHeldMax mutexes held by one thread.
#pragma once

#include <cstdint>
#include <string>

namespace com::orvex {
class Mutex;
}

namespace com::orvex::lock_order {

#ifdef NDEBUG

inline constexpr bool kChecked = false;

inline std::uint32_t nameId(const std::string& /*name*/) { return 0; }
inline void beforeTake(const Mutex* /*mutex*/, std::uint32_t /*id*/) {}
inline void taken(const Mutex* /*mutex*/, std::uint32_t /*id*/) {}
inline void beforeRelease(const Mutex* /*mutex*/, std::uint32_t /*id*/) {}
inline void beforeWait(const Mutex* /*mutex*/, std::uint32_t /*id*/) {}
inline void beforeDestroy(const Mutex* /*mutex*/, std::uint32_t /*id*/) {}

#else

inline constexpr bool kChecked = true;
inline constexpr std::uint32_t kHeldMax = 32;

/// The number of a name, the same for the same text.
std::uint32_t nameId(const std::string& name);

/// Checks that this thread may take the mutex now; notes the order.
void beforeTake(const Mutex* mutex, std::uint32_t id);

/// Notes that this thread holds the mutex.
void taken(const Mutex* mutex, std::uint32_t id);

/// Checks that this thread holds the mutex; notes that it no longer does.
void beforeRelease(const Mutex* mutex, std::uint32_t id);

/// A wait on a condition gives the mutex back and takes it again at its end, while everything else
/// stays held: checks both. Call taken after the wait.
void beforeWait(const Mutex* mutex, std::uint32_t id);

/// Checks that this thread does not hold the mutex.
void beforeDestroy(const Mutex* mutex, std::uint32_t id);

#endif

}  // namespace com::orvex::lock_order
