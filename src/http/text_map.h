// http/text_map.h : a small ordered map of text to text, kept in one sorted array.
//
// Role:    header, query and cookie collections of one request: a dozen entries, filled once and
//          read in byte-wise order of their names. An array beats a tree at that size.
// Threads: caller locks.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace com::corvane::connectivity::plugins {

class TextMap {
 public:
  using Entry = std::pair<std::string, std::string>;
  using Iterator = std::vector<Entry>::const_iterator;

  /// Adds an entry unless the name is there already. Returns whether it was added.
  bool insert(std::string name, std::string value) {
    const auto position = lowerBound(name);
    if (position != entries_.end() && position->first == name) return false;
    entries_.emplace(position, std::move(name), std::move(value));
    return true;
  }

  /// Adds an entry or gives the existing one of that name the new value.
  void assign(std::string name, std::string value) {
    const auto position = lowerBound(name);
    if (position != entries_.end() && position->first == name) {
      position->second = std::move(value);
    } else {
      entries_.emplace(position, std::move(name), std::move(value));
    }
  }

  /// Removes an entry; a name that is not there is no error.
  void erase(std::string_view name) {
    const auto position = lowerBound(name);
    if (position != entries_.end() && position->first == name) entries_.erase(position);
  }

  /// The value of a name, or null. Valid until the next change of the map.
  const std::string* find(std::string_view name) const {
    const auto position = std::lower_bound(entries_.begin(), entries_.end(), name, before);
    return position != entries_.end() && position->first == name ? &position->second : nullptr;
  }

  bool contains(std::string_view name) const { return find(name) != nullptr; }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  Iterator begin() const { return entries_.begin(); }
  Iterator end() const { return entries_.end(); }
  void reserve(std::size_t entries) { entries_.reserve(entries); }

 private:
  static bool before(const Entry& entry, std::string_view name) { return entry.first < name; }

  std::vector<Entry>::iterator lowerBound(std::string_view name) {
    return std::lower_bound(entries_.begin(), entries_.end(), name, before);
  }

  std::vector<Entry> entries_;
};

}  // namespace com::corvane::connectivity::plugins
