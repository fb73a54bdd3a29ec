// fuzz/value_tree.h : nested values that an input spells line by line.
//
// Role:      inputs that people can read and write: each line is KEY/KEY/KEY=K:TEXT, where K is a
//            kind: s string, b borrowed string, i integer, d double, t true, f false, c decimal,
//            x buffer, l empty list, m map without entries, e empty. The keys in front are
//            maps, made when they are not there. A key is a string; behind "~" a borrowed one,
//            behind "#" an integer. %HH stands for a byte anywhere in keys and texts. Of several
//            lines for one place the first counts; a line that is none of this is passed over.
// Threads:   caller locks.
// Ownership: the values made of a node borrow from it the texts that are to be borrowed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/map.h"

namespace fuzz {

struct TreeKey {
  char kind = 's';  // s, b or i
  std::string text;
  std::int64_t integer = 0;
  bool operator==(const TreeKey&) const = default;
};

struct TreeEntry;

struct TreeNode {
  char kind = 'm';
  std::string text;  // of a string: without NUL bytes
  std::int64_t integer = 0;
  double number = 0;
  std::vector<TreeEntry> children;  // in the order of the lines

  bool isString() const { return kind == 's' || kind == 'b'; }
  bool isMap() const { return kind == 'm'; }

  /// The child under an owned string, which a look-up by text finds; null: none.
  const TreeNode* find(std::string_view name) const;
};

struct TreeEntry {
  TreeKey key;
  TreeNode value;
};

/// The map that the lines of an input spell.
TreeNode readTree(std::string_view input);

com::corvane::connectivity10_15_0::data_t valueOf(const TreeNode& node);
com::corvane::connectivity10_15_0::map_t mapOf(const TreeNode& node);

}  // namespace fuzz
