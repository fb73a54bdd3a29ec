#include "bench/journal.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

namespace bench {
namespace {

constexpr unsigned kCountBits = 8;

std::uint64_t idIn(std::uint64_t word) { return word >> kCountBits; }
unsigned arrivalsIn(std::uint64_t word) { return word & ((1u << kCountBits) - 1); }

}  // namespace

Journal::Journal() {
  // All pages at once: they must not count as growth later.
  void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "no memory to share");
  }
  shared_ = new (memory) Shared;
}

Journal::~Journal() { ::munmap(shared_, sizeof(Shared)); }

bool Journal::open(std::uint64_t id) { return slotOf(id).exchange(id << kCountBits) == 0; }

std::optional<unsigned> Journal::close(std::uint64_t id) {
  Slot& slot = slotOf(id);
  std::uint64_t word = slot;
  do {
    if (word == 0 || idIn(word) != id) return std::nullopt;
  } while (!slot.compare_exchange_weak(word, 0));
  return arrivalsIn(word);
}

std::uint64_t Journal::openIds() const {
  const auto& slots = shared_->slots;
  return static_cast<std::uint64_t>(
      std::count_if(slots.begin(), slots.end(), [](const Slot& slot) { return slot != 0; }));
}

std::optional<unsigned> Journal::arrive(std::uint64_t id) {
  ++shared_->counters.arrivals;
  Slot& slot = slotOf(id);
  std::uint64_t word = slot;
  do {
    if (word == 0 || idIn(word) != id) {
      ++shared_->counters.strays;
      return std::nullopt;
    }
  } while (!slot.compare_exchange_weak(word, word + 1));
  return arrivalsIn(word);
}

void Journal::arriveInOrder(std::uint64_t id, std::size_t order) {
  auto& latest = shared_->latest[order % kOrders];
  std::uint64_t earlier = latest;
  while (earlier < id && !latest.compare_exchange_weak(earlier, id)) {
  }
  if (earlier > id) ++shared_->counters.disordered;
}

}  // namespace bench
