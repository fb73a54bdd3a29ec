// http/request_head.h : the request line and header fields of one request, as they are to be sent.
//
// Role:      RequestWriter fills it, ClientSession adds what only the connection knows; then it is
//            appended to the bytes that leave. The counterpart for responses is ResponseHead.
// Threads:   one worker only.
// Ownership: names and values are borrowed until the head has been sent, unless keep has taken
//            them over.
// Errors:    std::bad_alloc.
// Invariants: fields of one name, without regard to case, stand side by side.
// Limits:    nothing is checked or changed: who adds a text answers for it.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace com::corvane::connectivity::plugins {

class RequestHead {
 public:
  struct Field {
    std::string_view name;
    std::string_view value;
  };

  /// Begins the head of another request, whose texts are borrowed. The memory is used again.
  void begin(std::string_view method, std::string_view target);

  std::string_view method() const { return method_; }
  std::string_view target() const { return target_; }
  void setTarget(std::string_view target) { target_ = target; }

  /// What stands before the target: of the whole URI that a proxy is given.
  void setTargetPrefix(std::string_view prefix) { targetPrefix_ = prefix; }

  bool has(std::string_view name) const { return indexOf(name) != fields_.size(); }

  /// Adds a field behind those of its name, or at the end.
  void add(std::string_view name, std::string_view value);

  /// Adds a field at the end. REQUIRES: none of its name.
  void append(std::string_view name, std::string_view value) { fields_.push_back({name, value}); }

  /// Gives the first field of its name the value, or adds one at the end.
  void set(std::string_view name, std::string_view value);

  /// Takes a text over; the view is valid until the next begin.
  std::string_view keep(std::string text) { return kept_.emplace_back(std::move(text)); }

  const std::vector<Field>& fields() const { return fields_; }

  /// Appends the head's bytes, the empty line behind it included.
  void appendTo(std::string& bytes) const;

 private:
  std::size_t indexOf(std::string_view name) const;

  std::string_view method_;
  std::string_view targetPrefix_;
  std::string_view target_;
  std::vector<Field> fields_;
  std::deque<std::string> kept_;  // whose strings stay where they are
};

}  // namespace com::corvane::connectivity::plugins
