#include "runtime/lock_order.h"

#ifndef NDEBUG

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <vector>

namespace com::orvex::lock_order {
namespace {

[[noreturn]] void fail(const std::string& text) {
  const std::string line = text + "\n";
  // One write, so that lines of other threads do not mix in; its failure has nobody to be told to.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
  std::abort();
}

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

// Which names have been taken while which were held, over the whole process.
class Record {
 public:
  std::uint32_t nameId(const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto [position, isNew] = ids_.try_emplace(name, static_cast<std::uint32_t>(ids_.size()));
    if (isNew) {
      names_.push_back(name);
      later_.emplace_back();
    }
    return position->second;
  }

  std::string name(std::uint32_t id) {
    const std::lock_guard lock(mutex_);
    return names_[id];
  }

  // Notes that `wanted` is taken while `held` is; ends the process if the opposite has been seen.
  void add(std::uint32_t held, std::uint32_t wanted) {
    const std::lock_guard lock(mutex_);
    for (const std::uint32_t known : later_[held]) {
      if (known == wanted) return;
    }
    const std::vector<std::uint32_t> path = pathBetween(wanted, held);
    if (!path.empty()) {
      std::string order;
      for (const std::uint32_t id : path) order += (order.empty() ? "" : ", ") + quoted(names_[id]);
      fail("Mutex " + quoted(names_[wanted]) + " is taken while " + quoted(names_[held]) +
           " is held, against the earlier order " + order);
    }
    later_[held].push_back(wanted);
  }

 private:
  // The shortest way from one name to another over the noted orders, both ends included; empty if
  // there is none.
  std::vector<std::uint32_t> pathBetween(std::uint32_t from, std::uint32_t to) const {
    std::vector<std::uint32_t> reached{from};
    std::vector<std::size_t> cameFrom{0};
    std::vector<bool> seen(names_.size(), false);
    seen[from] = true;
    for (std::size_t at = 0; at < reached.size(); ++at) {
      if (reached[at] == to) {
        std::vector<std::uint32_t> path{to};
        for (std::size_t back = at; back != 0; back = cameFrom[back]) {
          path.insert(path.begin(), reached[cameFrom[back]]);
        }
        return path;
      }
      for (const std::uint32_t next : later_[reached[at]]) {
        if (seen[next]) continue;
        seen[next] = true;
        reached.push_back(next);
        cameFrom.push_back(at);
      }
    }
    return {};
  }

  std::mutex mutex_;
  std::map<std::string, std::uint32_t> ids_;
  std::vector<std::string> names_;                 // by id
  std::vector<std::vector<std::uint32_t>> later_;  // by id: what was taken while it was held
};

// Never destroyed: mutexes are taken until the process ends.
Record& record() {
  static Record& instance = *new Record;
  return instance;
}

struct Held {
  const Mutex* mutex;
  std::uint32_t id;
};

// What one thread holds, and pairs of names it knows to be in the record. Without a destructor:
// mutexes are taken until the thread ends, in destructors of other thread-local objects too.
struct ThreadState {
  std::array<Held, kHeldMax> held;
  std::uint32_t heldCount;
  std::array<std::uint64_t, 64> knownPairs;  // (held id + 1) and wanted id; 0 is no pair
};

thread_local ThreadState threadState;

void noteOrder(std::uint32_t held, std::uint32_t wanted) {
  const std::uint64_t pair = (std::uint64_t{held} + 1) << 32 | wanted;
  std::uint64_t& known =
      threadState.knownPairs[(held * 31 + wanted) % threadState.knownPairs.size()];
  if (known == pair) return;
  try {
    record().add(held, wanted);
  } catch (const std::bad_alloc&) {
    return;  // taking a mutex needs no memory without this check: it is noted the next time
  }
  known = pair;
}

bool isHeld(const Mutex* mutex) {
  for (std::uint32_t i = 0; i < threadState.heldCount; ++i) {
    if (threadState.held[i].mutex == mutex) return true;
  }
  return false;
}

// Takes the mutex out of what the thread holds; false if it is not in there.
bool forget(const Mutex* mutex) {
  Held* const begin = threadState.held.data();
  Held* const end = begin + threadState.heldCount;
  Held* const kept =
      std::remove_if(begin, end, [mutex](const Held& held) { return held.mutex == mutex; });
  threadState.heldCount = static_cast<std::uint32_t>(kept - begin);
  return kept != end;
}

[[noreturn]] void failFor(std::uint32_t id, const std::string& what) {
  fail("Mutex " + quoted(record().name(id)) + " is " + what);
}

}  // namespace

std::uint32_t nameId(const std::string& name) { return record().nameId(name); }

void beforeTake(const Mutex* mutex, std::uint32_t id) {
  if (threadState.heldCount == 0) return;
  if (isHeld(mutex)) failFor(id, "taken twice by one thread");
  if (threadState.heldCount == kHeldMax) {
    failFor(id, "taken by a thread that holds " + std::to_string(kHeldMax) + " others");
  }
  for (std::uint32_t i = 0; i < threadState.heldCount; ++i) {
    if (threadState.held[i].id != id) noteOrder(threadState.held[i].id, id);
  }
}

void taken(const Mutex* mutex, std::uint32_t id) {
  threadState.held[threadState.heldCount++] = Held{mutex, id};
}

void beforeRelease(const Mutex* mutex, std::uint32_t id) {
  if (!forget(mutex)) failFor(id, "released by a thread that does not hold it");
}

void beforeWait(const Mutex* mutex, std::uint32_t id) {
  if (!forget(mutex)) failFor(id, "waited on by a thread that does not hold it");
  beforeTake(mutex, id);
}

void beforeDestroy(const Mutex* mutex, std::uint32_t id) {
  if (isHeld(mutex)) failFor(id, "destroyed while it is held");
}

}  // namespace com::orvex::lock_order

#endif
