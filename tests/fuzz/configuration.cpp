// A configuration map, as value_tree.h spells it, is read; a reading of the same table by other
// means has to come to the same settings or to the same refusal.

#include <algorithm>
#include <charconv>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "config/settings.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/value_tree.h"

namespace {

using com::corvane::connectivity::plugins::readSettings;
using com::corvane::connectivity::plugins::Settings;
using com::corvane::connectivity::plugins::TransportSettings;
using fuzz::TreeKey;
using fuzz::TreeNode;

struct Refused {
  std::string text;
  bool isLeftover = false;            // any of the leftovers may be the one that is named
  std::vector<std::string> leftover;  // their names
};

[[noreturn]] void refuse(const std::string& text) { throw Refused{text, false, {}}; }

std::string lowered(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return text;
}

// The element at a path, whose groups all have to be maps.
const TreeNode* lookUp(const TreeNode& root, const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return root.find(path);
  const std::string group = path.substr(0, slash);
  const TreeNode* const map = lookUp(root, group);
  if (map == nullptr) return nullptr;
  if (!map->isMap()) refuse("HTTPClient configuration " + group + " incorrectly nested map");
  return map->find(path.substr(slash + 1));
}

std::optional<std::int64_t> integerOf(const TreeNode& node) {
  if (node.kind == 'i') return node.integer;
  if (!node.isString()) return std::nullopt;
  std::string digits = node.text;
  const bool isNegative = digits.starts_with('-');
  if (isNegative || digits.starts_with('+')) digits.erase(0, 1);
  const bool areDigits = !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) {
    return c >= '0' && c <= '9';
  });
  if (!areDigits) return std::nullopt;
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.size() > 19) return std::nullopt;  // 19 digits fit in 64 bits without a sign
  std::uint64_t value = 0;
  for (const char c : digits) value = value * 10 + static_cast<std::uint64_t>(c - '0');
  constexpr auto kMost = static_cast<std::uint64_t>(INT64_MAX);
  if (value > kMost + (isNegative ? 1 : 0)) return std::nullopt;
  return static_cast<std::int64_t>(isNegative ? 0 - value : value);
}

class Reading {
 public:
  explicit Reading(const TreeNode& root) : root_(root) {}

  TransportSettings read() {
    TransportSettings result;
    Settings& s = result.settings;
    text("host", s.host);
    integer("port", s.port);
    integer("timeoutSecs", s.timeoutSecs);
    boolean("tls", s.tls);
    text("tlsCertificateAuthorityFile", s.tlsCertificateAuthorityFile, "certificateAuthorityPath");
    boolean("tlsAcceptUnrecognizedCertificates", s.tlsAcceptUnrecognizedCertificates,
            "acceptUnrecognizedCertificates");
    std::string authentication = "none";
    kindOfAuthentication("authentication/authenticationType", authentication, "authenticationType");
    text("authentication/username", s.user, "user");
    text("authentication/password", s.password, "password");
    text("basePath", s.basePath);
    text("proxy/host", s.proxyHost);
    integer("proxy/port", s.proxyPort);
    kindOfAuthentication("proxy/authentication/authenticationType", s.proxyAuthenticationType, "");
    text("proxy/authentication/username", s.proxyUser);
    text("proxy/authentication/password", s.proxyPassword);
    boolean("followRedirects", s.followRedirects);
    boolean("cookieJar", s.cookieJar);
    integer("numClients", s.numClients);
    checkLeftovers("authentication");
    checkLeftovers("proxy/authentication");
    checkLeftovers("proxy");
    checkLeftovers("");
    result.basicAuthentication = authentication == "http_basic";
    if (s.port == -99999) s.port = s.tls ? 443 : 80;
    if (!s.proxyHost.empty() && (s.proxyPort < 1 || s.proxyPort > 65535)) {
      refuse("HTTPClient configuration proxy/port must be between 1 and 65535");
    }
    if (s.timeoutSecs < 1) refuse("HTTPClient configuration timeoutSecs must be more than 0");
    return result;
  }

 private:
  const TreeNode* find(std::string& key, const std::string& alternative) {
    known_.insert(key);
    known_.insert(alternative);
    const TreeNode* const first = lookUp(root_, key);
    if (alternative.empty()) return first;
    const TreeNode* const second = lookUp(root_, alternative);
    if (first && second) {
      refuse("You cannot specify both " + key + " and " + alternative +
             " for HTTPClient configuration");
    }
    if (!first) key = alternative;
    return first ? first : second;
  }

  [[noreturn]] static void mustBe(const std::string& key, const char* what) {
    refuse("HTTPClient configuration " + key + " must be " + what);
  }

  void text(std::string key, std::string& field, const std::string& alternative = "") {
    const TreeNode* const node = find(key, alternative);
    if (!node) return;
    if (!node->isString()) mustBe(key, "a string");
    field = node->text;
  }

  void integer(std::string key, std::int64_t& field) {
    const TreeNode* const node = find(key, "");
    if (!node) return;
    const auto value = integerOf(*node);
    if (!value) mustBe(key, "an integer");
    field = *value;
  }

  void boolean(std::string key, bool& field, const std::string& alternative = "") {
    const TreeNode* const node = find(key, alternative);
    if (!node) return;
    const std::string word = node->isString() ? lowered(node->text) : "";
    const bool isTrue = node->kind == 't' || word == "true";
    if (!isTrue && node->kind != 'f' && word != "false") mustBe(key, "a boolean");
    field = isTrue;
  }

  void kindOfAuthentication(std::string key, std::string& field, const std::string& alternative) {
    const TreeNode* const node = find(key, alternative);
    if (!node) return;
    const std::string word = node->isString() ? lowered(node->text) : "";
    if (word != "none" && word != "http_basic") mustBe(key, "none or HTTP_BASIC");
    field = word;
  }

  static std::string nameOf(const TreeKey& key) {
    return key.kind == 'i' ? std::to_string(key.integer) : key.text;
  }

  void checkLeftovers(const std::string& group) {
    const TreeNode* const map = group.empty() ? &root_ : lookUp(root_, group);
    if (!map) return;
    const std::string prefix = group.empty() ? "" : group + "/";
    Refused refused{"", true, {}};
    for (const auto& [key, child] : map->children) {
      const std::string path = prefix + nameOf(key);
      const bool isGroup =
          path == "proxy" || path == "authentication" || path == "proxy/authentication";
      if (key.kind == 's' && !key.text.empty() && (known_.count(path) != 0 || isGroup)) continue;
      if (key.kind == 's' && key.text.empty() && child.isMap()) {
        refuse("HTTPClient configuration cannot specify an empty nested{} name");
      }
      refused.leftover.push_back("Unknown configuration element " + path + " in HTTPClient");
    }
    if (!refused.leftover.empty()) throw refused;
  }

  const TreeNode& root_;
  std::set<std::string> known_;
};

bool same(const TransportSettings& one, const TransportSettings& other) {
  const Settings& a = one.settings;
  const Settings& b = other.settings;
  return a.basePath == b.basePath && a.cookieJar == b.cookieJar && a.port == b.port &&
         a.timeoutSecs == b.timeoutSecs && a.host == b.host && a.tls == b.tls &&
         a.tlsCertificateAuthorityFile == b.tlsCertificateAuthorityFile &&
         a.tlsAcceptUnrecognizedCertificates == b.tlsAcceptUnrecognizedCertificates &&
         a.user == b.user && a.password == b.password && a.proxyPort == b.proxyPort &&
         a.proxyHost == b.proxyHost && a.proxyUser == b.proxyUser &&
         a.proxyPassword == b.proxyPassword &&
         a.proxyAuthenticationType == b.proxyAuthenticationType &&
         a.followRedirects == b.followRedirects && a.numClients == b.numClients &&
         one.basicAuthentication == other.basicAuthentication;
}

// The host's copy of a map has owned keys. One that has a twin then is not looked into.
void dropBorrowedTwins(TreeNode& node) {
  const TreeNode& all = node;
  std::vector<TreeKey> twins;
  for (auto& [key, child] : node.children) {
    if (key.kind == 'b' && all.find(key.text)) twins.push_back(key);
    dropBorrowedTwins(child);
  }
  std::erase_if(node.children, [&](const auto& entry) {
    return std::find(twins.begin(), twins.end(), entry.key) != twins.end();
  });
}

TreeNode withOwnedKeys(TreeNode node) {
  for (auto& [key, child] : node.children) {
    if (key.kind == 'b') key.kind = 's';
    child = withOwnedKeys(std::move(child));
  }
  return node;
}

void compareRefusal(const Refused& expected, const std::string& text) {
  const auto& names = expected.leftover;
  const bool isExpected = expected.isLeftover
                              ? std::find(names.begin(), names.end(), text) != names.end()
                              : text == expected.text;
  if (isExpected) return;
  fuzz::fail("refused with " + fuzz::shown(text) + " instead of " +
             fuzz::shown(expected.isLeftover ? names.front() : expected.text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  TreeNode root = fuzz::readTree({reinterpret_cast<const char*>(data), size});
  dropBorrowedTwins(root);
  const TreeNode expectedRoot = withOwnedKeys(root);
  std::optional<TransportSettings> expected;
  Refused refused;
  try {
    expected = Reading(expectedRoot).read();
  } catch (const Refused& refusal) {
    refused = refusal;
  }

  const auto config = fuzz::mapOf(root);
  try {
    const TransportSettings actual = readSettings(config);
    if (!expected) fuzz::fail("accepted, although " + fuzz::shown(refused.text));
    fuzz::require(same(actual, *expected), "the settings differ");
  } catch (const std::exception& failure) {
    if (expected) fuzz::fail("refused with " + fuzz::shown(failure.what()));
    compareRefusal(refused, failure.what());
  }
  return 0;
}
