// A message, as value_tree.h spells it, is performed; a strict server has to read exactly one
// request with the fields that the message asks for, or none when the message is refused.
//
// "payload" is the message's payload, "way" (1: a base path and basic authentication, 2: a proxy)
// chooses the configuration, all else is the metadata.

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/exchange_rig.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/reference_inflate.h"
#include "fuzz/request_peer.h"
#include "fuzz/value_tree.h"

namespace {

using fuzz::Answer;
using fuzz::ExchangeRig;
using fuzz::TreeKey;
using fuzz::TreeNode;
using fuzz::WireRequest;
using fuzz::plugins::Message;
using fuzz::plugins::Settings;

// Thrown where the message has to be refused.
struct Refused {};

std::string lowered(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return text;
}

std::string withoutBreaks(std::string text) {
  std::erase(text, '\r');
  std::erase(text, '\n');
  return text;
}

std::string textOf(const TreeNode& node) {
  char digits[40] = "";
  switch (node.kind) {
    case 's':
    case 'b':
      return node.text;
    case 't':
      return "true";
    case 'f':
      return "false";
    case 'i':
      return std::to_string(node.integer);
    case 'd':
      std::snprintf(digits, sizeof(digits), "%g", node.number);
      return digits;
    default:
      throw Refused();
  }
}

std::string textOf(const TreeKey& key) {
  return key.kind == 'i' ? std::to_string(key.integer) : key.text;
}

const TreeNode& mapAt(const TreeNode& node, const char* name) {
  static const TreeNode none;
  const TreeNode* const found = node.find(name);
  if (found && !found->isMap()) throw Refused();
  return found ? *found : none;
}

std::string stringAt(const TreeNode& node, const char* name) {
  const TreeNode* const found = node.find(name);
  if (!found || !found->isString()) throw Refused();
  return found->text;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0; });
}

// The bytes in ISO-8859-1; nothing where a character has none, or the text is no UTF-8.
std::optional<std::string> latin1(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      result += text[i];
      continue;
    }
    const bool isPair = (byte == 0xC2 || byte == 0xC3) && i + 1 < text.size() &&
                        (static_cast<unsigned char>(text[i + 1]) & 0xC0) == 0x80;
    if (!isPair) return std::nullopt;
    result += static_cast<char>((byte << 6) | (static_cast<unsigned char>(text[++i]) & 0x3F));
  }
  return result;
}

bool isBodyless(const std::string& method) {
  return method == "HEAD" || method == "DELETE" || method == "TRACE";
}

// What the message asks for, read from it anew.
struct Intended {
  std::string method;
  std::string path;
  std::map<std::string, std::string> headers;
  std::vector<std::pair<std::string, std::string>> query;
  std::vector<std::string> cookies;  // "name=value"
  bool isForm = false;
  std::string body;
};

void readHeaders(const TreeNode& http, Intended& intended) {
  std::map<std::string, int> counts;
  for (const auto& [key, value] : mapAt(http, "headers").children) {
    const std::string name = lowered(withoutBreaks(textOf(key)));
    const bool isName = !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
      return (c >= 0 && c <= ' ') || c == '\x7F' || c == ':';
    });
    if (!isName) throw Refused();
    std::string text = withoutBreaks(textOf(value));
    if (name == "content-encoding") {
      std::erase_if(text, [](char c) { return c == ' ' || (c >= 9 && c <= 13); });
      if (text.empty()) text = "identity";
    }
    ++counts[name];
    intended.headers[name] = text;
  }
  for (const auto& [name, count] : counts) {
    if (count > 1) intended.headers.erase(name);
  }
}

void readContentType(const TreeNode& metadata, bool hasContent, Intended& intended) {
  auto& headers = intended.headers;
  const TreeNode* const contentType = metadata.find("contentType");
  if (!contentType) return;
  std::string type = withoutBreaks(lowered(textOf(*contentType)));
  headers.emplace("accept", type);
  if (const TreeNode* const charset = metadata.find("charset")) {
    std::string name = withoutBreaks(lowered(textOf(*charset)));
    if (name == "utf8") name = "utf-8";
    if (type.starts_with("text/")) type += ";charset=" + name;
    headers.emplace("accept-charset", name);
  }
  if (hasContent) headers.emplace("content-type", type);
}

void checkPayload(const TreeNode& payload) {
  if (payload.kind == 'x') return;
  if (!payload.isMap()) throw Refused();
  for (const auto& [key, value] : payload.children) {
    if (key.kind == 'i' || (!value.isString() && value.kind != 'x')) throw Refused();
  }
}

// The metadata that a buffer field names has to be of the right kinds.
void checkForm(const TreeNode& http, const TreeNode& payload) {
  const TreeNode* const form = http.find("form");
  if (!form || form->kind == 'e') return;
  for (const auto& [key, value] : payload.children) {
    if (value.kind != 'x') continue;
    if (!form->isMap()) throw Refused();
    const TreeNode* const metadata = form->find(key.text);
    if (!metadata) continue;
    if (!metadata->isMap()) throw Refused();
    for (const char* const name : {"filename", "contentType", "charset"}) {
      const TreeNode* const text = metadata->find(name);
      if (text && !text->isString()) throw Refused();
    }
  }
}

Intended readMessage(const TreeNode& metadata, const TreeNode& payload, const Settings& settings) {
  Intended intended;
  const TreeNode& http = mapAt(metadata, "http");
  if (!metadata.find("requestId")) throw Refused();
  intended.method = stringAt(http, "method");
  intended.path = settings.basePath + stringAt(http, "path");
  readHeaders(http, intended);
  for (const auto& [key, value] : mapAt(http, "cookies").children) {
    intended.cookies.push_back(withoutBreaks(textOf(key)) + "=" + withoutBreaks(textOf(value)));
  }
  for (const auto& [key, value] : mapAt(http, "queryString").children) {
    intended.query.emplace_back(textOf(key), textOf(value));
  }
  const bool hasContent =
      payload.kind == 'x' ? !payload.text.empty() : payload.isMap() && !payload.children.empty();
  readContentType(metadata, hasContent, intended);
  checkPayload(payload);
  const bool isMethod = !intended.method.empty() &&
                        std::none_of(intended.method.begin(), intended.method.end(),
                                     [](char c) { return (c >= 0 && c <= ' ') || c == '\x7F'; });
  if (!isMethod) throw Refused();
  const auto coding = intended.headers.emplace("content-encoding", "identity");
  const std::string& name = coding.first->second;
  if (name != "identity" && name != "gzip" && name != "deflate") throw Refused();
  if (coding.second) intended.headers.erase("content-encoding");
  intended.isForm = payload.isMap();
  if (intended.isForm && !isBodyless(intended.method)) checkForm(http, payload);
  if (!intended.isForm && !isBodyless(intended.method)) intended.body = payload.text;
  intended.headers.emplace("accept-charset", "utf-8");
  intended.headers.emplace("accept-encoding", "identity, gzip, deflate");
  intended.headers.emplace("user-agent", "Orvex/10.15 (amd64-win)");
  return intended;
}

bool isFraming(const std::string& name) {
  return name == "content-length" || name == "transfer-encoding";
}

// A path that every reader of URIs takes as it is.
bool isPlain(const std::string& path) {
  return path.starts_with('/') && !path.starts_with("//") &&
         std::all_of(path.begin(), path.end(), [](char c) {
           const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
           return isLetter || (c >= '0' && c <= '9') || c == '/' || c == '-' || c == '.' ||
                  c == '_' || c == '~';
         });
}

void checkFields(const WireRequest& sent, const Intended& intended, bool isAuthorized) {
  for (const auto& [name, text] : intended.headers) {
    const bool isOurs = isFraming(name) || (name == "content-type" && intended.isForm) ||
                        (name == "authorization" && isAuthorized) ||
                        (name == "cookie" && !intended.cookies.empty());
    if (isOurs || !isAscii(name)) continue;
    const auto values = sent.values(name);
    if (values.size() != 1) fuzz::fail("not once: " + fuzz::shown(name));
    const auto value = latin1(text);
    if (value && values[0] != fuzz::stripped(*value)) {
      fuzz::fail(fuzz::shown(name) + " is " + fuzz::shown(values[0]));
    }
  }
  for (const auto& [name, value] : sent.fields) {
    const bool isOurs = isFraming(name) || name == "host" || name == "cookie" ||
                        name == "proxy-connection" || (name == "content-type" && intended.isForm) ||
                        (name == "authorization" && isAuthorized);
    const bool isConverted = !isAscii(name) || name.find('\x1A') != std::string::npos;
    if (!isOurs && !isConverted && !intended.headers.contains(name)) {
      fuzz::fail("nobody asked for " + fuzz::shown(name));
    }
  }
  if (isAuthorized) {
    fuzz::require(sent.values("authorization") == std::vector<std::string>{"Basic dXNlcjpwOnc="},
                  "another authorization");
  }
  fuzz::require(sent.values("host").size() == 1, "not one host");
}

void checkCookies(const WireRequest& sent, const Intended& intended) {
  const auto fields = sent.values("cookie");
  const std::size_t own = intended.headers.contains("cookie") ? 1 : 0;
  if (intended.cookies.empty()) {
    fuzz::require(fields.size() == own, "cookies without need");
    return;
  }
  fuzz::require(fields.size() == own + 1, "not one field of cookies");
  for (const std::string& cookie : intended.cookies) {
    const bool isThere = std::any_of(fields.begin(), fields.end(), [&](const std::string& field) {
      return field.find(fuzz::stripped(cookie)) != std::string::npos;
    });
    const auto name = cookie.substr(0, cookie.find('=') + 1);
    const auto isSameName = [&](const std::string& one) { return one.starts_with(name); };
    const auto sameNames =
        std::count_if(intended.cookies.begin(), intended.cookies.end(), isSameName);
    if (!isThere && sameNames == 1) fuzz::fail("missing " + fuzz::shown(cookie));
  }
}

void checkTarget(const WireRequest& sent, const Intended& intended, const Settings& settings) {
  std::string target = sent.target;
  if (!settings.proxyHost.empty()) {
    const std::string prefix = "http://server.test:8080/";
    if (!target.starts_with(prefix)) fuzz::fail("the proxy is sent to " + fuzz::shown(target));
    target.erase(0, prefix.size() - 1);
  }
  if (!isPlain(intended.path)) return;
  const std::size_t mark = std::min(target.find('?'), target.size());
  if (target.substr(0, mark) != intended.path) fuzz::fail("target " + fuzz::shown(target));
  const bool hasFields = intended.isForm && intended.method != "POST" && intended.method != "PUT";
  if (hasFields) return;
  auto query = fuzz::readUrlEncoded(target.substr(std::min(mark + 1, target.size())));
  if (!query) fuzz::fail("not encoded: " + fuzz::shown(target));
  auto wanted = intended.query;
  std::sort(wanted.begin(), wanted.end());
  std::sort(query->begin(), query->end());
  const bool areUnique = std::adjacent_find(wanted.begin(), wanted.end(), [](auto& a, auto& b) {
                           return a.first == b.first;
                         }) == wanted.end();
  if (areUnique && *query != wanted) fuzz::fail("another query: " + fuzz::shown(target));
}

void checkBody(const WireRequest& sent, const Intended& intended) {
  if (isBodyless(intended.method)) {
    fuzz::require(sent.body.empty() && sent.values("content-length").empty(), "a body is sent");
    return;
  }
  if (intended.isForm) return;
  const auto coding = intended.headers.find("content-encoding");
  const std::string name = coding == intended.headers.end() ? "identity" : coding->second;
  const auto body = name == "gzip"      ? fuzz::inflatedGzip(sent.body)
                    : name == "deflate" ? fuzz::inflatedDeflate(sent.body)
                                        : std::optional(sent.body);
  fuzz::require(body == intended.body, "another body");
}

Settings settingsFor(int way, std::uint16_t port) {
  Settings settings;
  settings.host = "127.0.0.1";
  settings.port = port;
  settings.timeoutSecs = 20;
  if (way == 1) {
    settings.basePath = "/base";
    settings.user = "user";
    settings.password = "p:w";
  }
  if (way == 2) {
    settings.host = "server.test";
    settings.port = 8080;
    settings.proxyHost = "127.0.0.1";
    settings.proxyPort = port;
  }
  return settings;
}

struct Way {
  explicit Way(int number)
      : peer([](std::size_t) { return "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"; }),
        rig(settingsFor(number, peer.port()), number == 1) {}

  fuzz::RequestPeer peer;
  ExchangeRig rig;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static Way* const ways[] = {new Way(0), new Way(1), new Way(2)};
  fuzz::setLogLevel(5);  // DEBUG
  TreeNode metadata = fuzz::readTree({reinterpret_cast<const char*>(data), size});
  const TreeNode* const number = metadata.find("way");
  const std::size_t index = number ? static_cast<std::size_t>(number->integer) % 3 : 0;
  Way& way = *ways[index];
  TreeNode payload;
  payload.kind = 'e';
  if (const TreeNode* const given = metadata.find("payload")) payload = *given;
  std::erase_if(metadata.children, [](const auto& entry) {
    return entry.key == TreeKey{'s', "payload", 0} || entry.key == TreeKey{'s', "way", 0};
  });

  std::optional<Intended> intended;
  try {
    intended = readMessage(metadata, payload, way.rig.settings());
  } catch (const Refused&) {
  }
  Message message;
  message.payload = fuzz::valueOf(payload);
  message.metadata = fuzz::mapOf(metadata);
  const Answer answer = way.rig.perform(message);
  const auto requests = way.peer.take();
  static_cast<void>(fuzz::takeLogLines());

  fuzz::require(requests.size() <= 1, "more than one request");
  fuzz::require(answer.status == (requests.empty() ? 400 : 200), "another status");
  if (requests.empty()) {
    const bool mustSend = intended && isPlain(intended->path);
    if (mustSend) fuzz::fail("refused: " + answer.reason);
    return 0;
  }
  if (!intended) fuzz::fail("sent, although it has to be refused");
  const WireRequest& sent = requests[0];
  fuzz::require(sent.method == intended->method, "another method");
  checkTarget(sent, *intended, way.rig.settings());
  checkFields(sent, *intended, index == 1);
  checkCookies(sent, *intended);
  checkBody(sent, *intended);
  return 0;
}
