#include "resources/failing_allocation.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "resources/next_function.h"
#include "resources/plugin_threads.h"

namespace {

std::atomic<std::int64_t> untilFailure = 0;  // allocations up to the one that fails; 0: none
std::atomic<bool> lasting = false;
std::atomic<std::uint64_t> failures = 0;

// Counts this allocation; tells whether it is to fail.
bool isShort() {
  if (untilFailure.load(std::memory_order_relaxed) == 0 || !test_support::onPluginThread()) {
    return false;
  }
  // Counts down to the one that fails. In a lasting shortage it stays there; else it ends at 0.
  const std::int64_t last = lasting ? 1 : 0;
  std::int64_t left = untilFailure.load();
  while (left > last && !untilFailure.compare_exchange_weak(left, left - 1)) {
  }
  if (left != 1) return false;
  ++failures;
  return true;
}

}  // namespace

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace {

// The addresses of the blocks, by their hash; it allocates nothing itself.
class Blocks {
 public:
  void add(void* block) {
    if (block == nullptr || !test_support::onPluginThread()) return;
    const Hold hold(busy_);
    if (++count_ > kPlaces / 2) std::abort();
    std::size_t place = placeOf(block);
    while (places_[place] != nullptr) place = (place + 1) % kPlaces;
    places_[place] = block;
  }

  void remove(void* block) {
    if (block == nullptr) return;
    const Hold hold(busy_);
    std::size_t place = placeOf(block);
    while (places_[place] != block) {
      if (places_[place] == nullptr) return;
      place = (place + 1) % kPlaces;
    }
    --count_;
    closeGap(place);
  }

  std::size_t count() {
    const Hold hold(busy_);
    return count_;
  }

 private:
  static constexpr std::size_t kPlaces = std::size_t{1} << 17;

  class Hold {
   public:
    explicit Hold(std::atomic_flag& busy) : busy_(busy) {
      while (busy_.test_and_set(std::memory_order_acquire)) {
      }
    }
    ~Hold() { busy_.clear(std::memory_order_release); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    std::atomic_flag& busy_;
  };

  static std::size_t placeOf(const void* block) {
    const std::uint64_t mixed = reinterpret_cast<std::uint64_t>(block) * 0x9E3779B97F4A7C15;
    return static_cast<std::size_t>(mixed >> 47);  // 17 bits
  }

  // Moves up what would no longer be found behind the gap.
  void closeGap(std::size_t gap) {
    std::size_t place = gap;
    while (true) {
      places_[gap] = nullptr;
      while (true) {
        place = (place + 1) % kPlaces;
        if (places_[place] == nullptr) return;
        const std::size_t distance = (place - placeOf(places_[place])) % kPlaces;
        if (distance >= (place - gap) % kPlaces) break;
      }
      places_[gap] = places_[place];
      gap = place;
    }
  }

  std::atomic_flag busy_ = ATOMIC_FLAG_INIT;
  std::size_t count_ = 0;
  void* places_[kPlaces] = {};
};

constinit Blocks blocks;

void* noMemory() {
  errno = ENOMEM;
  return nullptr;
}

void* noted(void* block) {
  blocks.add(block);
  return block;
}

}  // namespace

extern "C" {

// The C library's own, under the names it has for those who stand in front of it.
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);

RESOURCES_EXPORT void* malloc(std::size_t bytes) noexcept {
  return isShort() ? noMemory() : noted(__libc_malloc(bytes));
}

RESOURCES_EXPORT void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return isShort() ? noMemory() : noted(__libc_calloc(count, bytes));
}

RESOURCES_EXPORT void* realloc(void* block, std::size_t bytes) noexcept {
  if (isShort()) return noMemory();
  blocks.remove(block);
  void* const moved = __libc_realloc(block, bytes);
  if (moved == nullptr && bytes > 0) return noted(block), nullptr;
  return noted(moved);
}

RESOURCES_EXPORT void* memalign(std::size_t alignment, std::size_t bytes) noexcept {
  return isShort() ? noMemory() : noted(__libc_memalign(alignment, bytes));
}

RESOURCES_EXPORT void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return memalign(alignment, bytes);
}

RESOURCES_EXPORT int posix_memalign(void** block, std::size_t alignment,
                                    std::size_t bytes) noexcept {
  void* const made = memalign(alignment, bytes);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

RESOURCES_EXPORT void free(void* block) noexcept {
  blocks.remove(block);
  __libc_free(block);
}

}  // extern "C"

#else

// The linker puts these in the place of the calls of this program, libraries linked into it
// included (--wrap).
extern "C" {

void* __real_malloc(std::size_t bytes);
void* __real_calloc(std::size_t count, std::size_t bytes);
void* __real_realloc(void* block, std::size_t bytes);

RESOURCES_EXPORT void* __wrap_malloc(std::size_t bytes) {
  return isShort() ? nullptr : __real_malloc(bytes);
}

RESOURCES_EXPORT void* __wrap_calloc(std::size_t count, std::size_t bytes) {
  return isShort() ? nullptr : __real_calloc(count, bytes);
}

RESOURCES_EXPORT void* __wrap_realloc(void* block, std::size_t bytes) {
  return isShort() ? nullptr : __real_realloc(block, bytes);
}

}  // extern "C"

void* operator new(std::size_t bytes) {
  void* const block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

#endif

namespace test_support {

void failAllocation(std::uint64_t n, Shortage shortage) {
  untilFailure = 0;
  failures = 0;
  lasting = shortage == Shortage::Lasting;
  untilFailure = static_cast<std::int64_t>(n);
}

std::uint64_t failedAllocations() { return failures; }

std::uint64_t endShortage() {
  untilFailure = 0;
  return failures;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
std::size_t liveBlocks() { return blocks.count(); }
#else
std::size_t liveBlocks() { return 0; }
#endif

}  // namespace test_support
