// support/fake_host.h : the host's log, status display and shutdown flag, recorded and scripted.
//
// Role:      defines kel_get_log_level, kel_log_at, the status functions and
//            kel_is_host_shutting_down for programs that test the inside of the plugin. The value
//            functions come from kelhost_core.
// Threads:   any thread, internal lock, the innermost of all. A predicate runs under the lock and
//            must not call the host. The waits have no time-out of their own: the test's is enough.
// Ownership: one object at a time, made by the test (a fixture's member); while there is none the
//            level is INFO, nothing is recorded, items are refused and shutdown queries fail.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

class FakeHost {
 public:
  /// One call of kel_log_at.
  struct Line {
    std::string category;
    std::int32_t level;
    std::string format;  // as the plugin gave it
    std::string text;    // formatted
    bool operator==(const Line&) const = default;
  };

  /// One call of a status function, in the order of the calls.
  struct StatusCall {
    enum class Kind { Create, Set, Delete, Map };
    Kind kind;
    std::string key;     // empty for Map
    std::string value;   // empty for Delete and Map; for Create the initial one
    void* statusHandle;  // null for Set
    bool operator==(const StatusCall&) const = default;
  };

  using Entries = std::vector<std::pair<std::string, std::string>>;

  FakeHost();
  ~FakeHost();
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  // ---- Log

  /// The level of every category from now on; INFO (4) at first.
  void setLogLevel(std::int32_t level);

  /// The categories whose level was asked for, in order.
  std::vector<std::string> levelQueries() const;

  std::vector<Line> lines() const;
  std::vector<std::string> texts() const;                      // of all lines
  std::vector<std::string> textsAt(std::int32_t level) const;  // of the lines of one level
  void clearLines();

  /// Blocks until a line, earlier or to come, satisfies the predicate; returns the first that does.
  Line waitForLine(const std::function<bool(const Line&)>& predicate) const;

  /// As waitForLine, for a line whose text contains `part`.
  Line waitForText(const std::string& part) const;

  /// Every later kel_log_at throws this, after recording the line; null: it returns again.
  void throwFromLog(std::exception_ptr failure);

  // ---- Status

  std::vector<StatusCall> statusCalls() const;
  void clearStatusCalls();

  /// The calls that concern one item, as "create:STARTING", "set:ONLINE", "delete:".
  std::vector<std::string> statusHistory(const std::string& key) const;

  /// The value of an item as it stands, or none if there is no such item.
  std::optional<std::string> statusValue(const std::string& key) const;

  /// Names of the items as they stand, in the order of creation.
  std::vector<std::string> statusKeys() const;

  /// Blocks until an item has a value.
  void waitForStatus(const std::string& key, const std::string& value) const;

  /// The entries of each published map, in slot order.
  std::vector<Entries> statusMaps() const;

  /// Whether creating items fails from now on, as after the element has been shut down.
  void refuseStatusItems(bool refuse);

  /// Every later set or delete of an item throws this, after its work; null: it returns again.
  void throwFromStatus(std::exception_ptr failure);

  // ---- Shutdown flag

  void setShuttingDown(bool shuttingDown);

  /// The n-th query (1: the first since this object was made) and all later ones say yes.
  void shutDownAtQuery(std::uint64_t query);

  /// The n-th query and all later ones fail.
  void failShutdownQueriesFrom(std::uint64_t query);

  std::uint64_t shutdownQueries() const;
  void waitForShutdownQueries(std::uint64_t count) const;

  /// The handle of the latest query.
  void* lastHostHandle() const;

  struct State;  // what the kel_ functions work on

 private:
  const std::unique_ptr<State> state_;
};

}  // namespace test_support
