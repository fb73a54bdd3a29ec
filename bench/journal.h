// bench/journal.h : which requests are under way and what the server has seen of them, in memory
// that the client's and the server's process share.
//
// Role:      the client opens an id before it delivers it and closes it when its answer is here;
//            in between the server counts its arrivals. Made before the server's process is.
// Threads:   any thread of both processes.
// Ownership: unmaps the memory in each process.
// Errors:    std::system_error when there is no memory.
// Limits:    kSlots ids from the oldest open one to the newest.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "bench/fault.h"

namespace bench {

class Journal {
 public:
  static constexpr std::size_t kSlots = 65536;
  static constexpr std::size_t kOrders = 1024;  // concurrency keys of all delivering threads

  struct Counters {
    std::atomic<std::uint64_t> connections{0};
    std::atomic<std::uint64_t> arrivals{0};
    std::atomic<std::uint64_t> strays{0};      // of ids that are not under way
    std::atomic<std::uint64_t> damaged{0};     // requests whose body is not what it was
    std::atomic<std::uint64_t> disordered{0};  // behind a later one of the same key
    std::atomic<std::uint64_t> malformed{0};   // what is no request at all
    std::array<std::atomic<std::uint64_t>, kFaults> faults{};
  };

  Journal();
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // ---- The client's.

  /// REQUIRES: id > 0. False: the id `kSlots` before it was still open, and is given up as lost.
  bool open(std::uint64_t id);

  /// How many times the server has seen it; none: it was not open.
  std::optional<unsigned> close(std::uint64_t id);

  /// The number of ids that are open.
  std::uint64_t openIds() const;

  // ---- The server's.

  /// The number of the attempt, from 0; none: a stray.
  std::optional<unsigned> arrive(std::uint64_t id);

  /// Checks that the ids of a concurrency key arrive in order.
  void arriveInOrder(std::uint64_t id, std::size_t order);

  Counters& counters() { return shared_->counters; }
  const Counters& counters() const { return shared_->counters; }

 private:
  // An id in the upper 56 bits, the number of its arrivals below; 0: free.
  using Slot = std::atomic<std::uint64_t>;
  struct Shared {
    std::array<Slot, kSlots> slots{};
    std::array<std::atomic<std::uint64_t>, kOrders> latest{};
    Counters counters;
  };

  Slot& slotOf(std::uint64_t id) { return shared_->slots[id % kSlots]; }

  Shared* shared_;
};

}  // namespace bench
