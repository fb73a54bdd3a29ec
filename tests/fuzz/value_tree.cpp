#include "fuzz/value_tree.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "model/buffer.h"
#include "model/list.h"

namespace fuzz {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::list_t;
using com::corvane::connectivity10_15_0::map_t;
using com::orvex::decimal64;

namespace {

constexpr std::string_view kKinds = "sbidtfcxlme";
constexpr std::size_t kDepthMax = 6;
constexpr std::size_t kLinesMax = 400;

// Cuts what stands before the delimiter off the front of the text.
std::string_view cut(std::string_view& text, char delimiter) {
  const std::size_t end = text.find(delimiter);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return taken;
}

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    const char* const digits = text.data() + i + 1;
    if (text[i] == '%' && text.size() - i > 2 &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      result += static_cast<char>(byte);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::string withoutNul(std::string text) { return text.substr(0, text.find('\0')); }

std::int64_t integerOf(std::string_view text) {
  std::int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

TreeKey keyOf(std::string_view spelling) {
  TreeKey key;
  if (spelling.starts_with('#')) {
    key.kind = 'i';
    key.integer = integerOf(spelling.substr(1));
    return key;
  }
  if (spelling.starts_with('~')) {
    key.kind = 'b';
    spelling.remove_prefix(1);
  }
  key.text = withoutNul(decoded(spelling));
  return key;
}

TreeNode* findChild(TreeNode& node, const TreeKey& key) {
  for (auto& [name, child] : node.children) {
    if (name == key) return &child;
  }
  return nullptr;
}

TreeNode leafOf(char kind, std::string_view spelling) {
  TreeNode leaf;
  leaf.kind = kind;
  leaf.text = decoded(spelling);
  if (kind != 'x') leaf.text = withoutNul(leaf.text);
  if (kind == 'i') leaf.integer = integerOf(leaf.text);
  if (kind == 'd') leaf.number = std::strtod(leaf.text.c_str(), nullptr);
  return leaf;
}

void addLine(std::string_view line, TreeNode& root) {
  std::string_view path = cut(line, '=');
  if (line.size() < 2 || line[1] != ':' || kKinds.find(line[0]) == std::string_view::npos) return;
  TreeNode* node = &root;
  for (std::size_t depth = 0; depth < kDepthMax; ++depth) {
    const bool isLast = path.find('/') == std::string_view::npos;
    TreeKey key = keyOf(cut(path, '/'));
    TreeNode* const child = findChild(*node, key);
    if (isLast) {
      if (!child) node->children.push_back({std::move(key), leafOf(line[0], line.substr(2))});
      return;
    }
    if (child && !child->isMap()) return;
    if (!child) node->children.push_back({std::move(key), TreeNode()});
    node = child ? child : &node->children.back().value;
  }
}

data_t borrowed(const std::string& text) {
  kel_data value{};
  value.payload.string = const_cast<char*>(text.c_str());
  value.tag = KEL_TAG_BORROWED_STRING;
  return data_t::adopt(value);
}

data_t valueOf(const TreeKey& key) {
  if (key.kind == 'i') return data_t(key.integer);
  return key.kind == 'b' ? borrowed(key.text) : data_t(key.text);
}

}  // namespace

const TreeNode* TreeNode::find(std::string_view name) const {
  for (const auto& [key, child] : children) {
    if (key.kind == 's' && key.text == name) return &child;
  }
  return nullptr;
}

TreeNode readTree(std::string_view input) {
  TreeNode root;
  for (std::size_t lines = 0; !input.empty() && lines < kLinesMax; ++lines) {
    addLine(cut(input, '\n'), root);
  }
  return root;
}

data_t valueOf(const TreeNode& node) {
  switch (node.kind) {
    case 's':
      return data_t(node.text);
    case 'b':
      return borrowed(node.text);
    case 'i':
      return data_t(node.integer);
    case 'd':
      return data_t(node.number);
    case 't':
    case 'f':
      return data_t(node.kind == 't');
    case 'c':
      return data_t(decimal64::fromText(node.text).value_or(decimal64::fromBits(0)));
    case 'x':
      return data_t(buffer_t::copyOf(node.text.data(), node.text.size()));
    case 'l':
      return data_t(list_t());
    case 'm':
      return data_t(mapOf(node));
    default:
      return data_t();
  }
}

map_t mapOf(const TreeNode& node) {
  map_t map;
  for (const auto& [key, child] : node.children) map.insert(valueOf(key), valueOf(child));
  return map;
}

}  // namespace fuzz
