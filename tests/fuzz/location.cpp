// A redirect leads to the place that its Location names; a reader of URIs of another making says
// whether that is on the configured way. No request may leave it, and no location that stays may
// be refused.
//
// The input's first line: STATUS METHOD WAY, where WAY is direct or proxy. The second line is the
// location; {port} in it stands for the server's port.

#include <algorithm>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/exchange_rig.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/request_peer.h"

namespace {

using fuzz::Answer;
using fuzz::ExchangeRig;
using fuzz::WireRequest;
using fuzz::plugins::data_t;
using fuzz::plugins::Settings;

constexpr char kLastAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

// What RFC 3986 says of a reference, as far as it is written without anything odd.
struct Reference {
  bool isPlain = true;  // false: anything may be read into it
  std::optional<std::string> scheme;
  std::optional<std::string> host;
  std::optional<int> port;
  std::string path;
};

bool isUnreserved(char c) {
  const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  return isLetter || c == '-' || c == '.' || c == '_' || c == '~';
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return result;
}

bool isScheme(std::string_view text) {
  const auto isAllowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '-' || c == '.';
  };
  return !text.empty() && lowered(text.substr(0, 1)) >= "a" && lowered(text.substr(0, 1)) <= "z" &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

void readAuthority(std::string_view authority, Reference& reference) {
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    reference.isPlain =
        reference.isPlain && std::all_of(authority.begin(), authority.begin() + at, isUnreserved);
    authority.remove_prefix(at + 1);
  }
  const std::size_t colon = authority.find(':');
  const std::string_view host = authority.substr(0, colon);
  reference.host = lowered(host);
  reference.isPlain =
      reference.isPlain && !host.empty() && std::all_of(host.begin(), host.end(), isUnreserved);
  if (colon == std::string_view::npos) return;
  const std::string_view digits = authority.substr(colon + 1);
  const bool areDigits =
      !digits.empty() && digits.size() <= 5 && digits[0] != '0' &&
      std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  reference.isPlain = reference.isPlain && areDigits;
  if (areDigits) reference.port = std::stoi(std::string(digits));
}

Reference readReference(std::string_view text) {
  Reference reference;
  const std::size_t end = std::min(text.find_first_of("?#"), text.size());
  reference.isPlain = std::all_of(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(),
                                  [](char c) { return isUnreserved(c) || c == '?' || c == '='; });
  text = text.substr(0, end);
  const std::size_t colon = text.find(':');
  if (colon < text.find('/')) {
    if (isScheme(text.substr(0, colon))) {
      reference.scheme = lowered(text.substr(0, colon));
      text.remove_prefix(colon + 1);
    } else {
      reference.isPlain = false;
    }
  }
  if (reference.scheme && text.starts_with("//")) {
    text.remove_prefix(2);
    const std::size_t slash = std::min(text.find('/'), text.size());
    readAuthority(text.substr(0, slash), reference);
    text.remove_prefix(slash);
  } else if (reference.scheme || text.starts_with("//")) {
    reference.isPlain = false;
  }
  reference.path = text;
  reference.isPlain = reference.isPlain && std::all_of(text.begin(), text.end(), [](char c) {
                        return isUnreserved(c) || c == '/';
                      });
  return reference;
}

// A server with the one exchange that uses it, which keeps its connection.
class Way {
 public:
  explicit Way(bool isProxied)
      : peer_([this](std::size_t count) { return answer(count); }),
        rig_(settingsFor(isProxied, peer_.port()), false) {}

  ExchangeRig& rig() { return rig_; }
  std::uint16_t port() const { return peer_.port(); }
  std::vector<WireRequest> take() { return peer_.take(); }

  void setRedirect(const std::string& answer) {
    const std::lock_guard lock(mutex_);
    redirect_ = answer;
  }

 private:
  static Settings settingsFor(bool isProxied, std::uint16_t port) {
    Settings settings;
    settings.host = isProxied ? "server.test" : "127.0.0.1";
    settings.port = isProxied ? 80 : port;
    settings.timeoutSecs = 20;
    settings.proxyHost = isProxied ? "127.0.0.1" : "";
    settings.proxyPort = port;
    return settings;
  }

  std::string answer(std::size_t count) {
    const std::lock_guard lock(mutex_);
    return count == 0 ? redirect_ : kLastAnswer;
  }

  std::mutex mutex_;
  std::string redirect_;
  fuzz::RequestPeer peer_;
  ExchangeRig rig_;
};

std::string withPort(std::string text, std::uint16_t port) {
  constexpr std::string_view kMark = "{port}";
  const std::size_t at = text.find(kMark);
  return at == std::string::npos ? text : text.replace(at, kMark.size(), std::to_string(port));
}

void checkFollowed(const WireRequest& first, const WireRequest& second, const Reference& location,
                   const std::string& method, int status, bool isProxied) {
  fuzz::require(second.values("host") == first.values("host"), "another host is asked");
  std::string target = second.target;
  if (isProxied) {
    const std::string prefix = "http://server.test:80/";
    if (!target.starts_with(prefix)) fuzz::fail("the proxy is sent to " + fuzz::shown(target));
    target.erase(0, prefix.size() - 1);
  }
  const std::size_t colon = target.find(':');
  const bool isWhole = colon < target.find_first_of("/?#") && isScheme(target.substr(0, colon));
  if (isWhole) fuzz::fail("the target is a whole URI: " + fuzz::shown(target));
  const bool turns = status <= 303 && method != "GET" && method != "HEAD";
  fuzz::require(second.method == (turns ? "GET" : method), "another method");
  if (!location.isPlain) return;
  const std::string path = location.path.starts_with('/') ? location.path : "/" + location.path;
  const bool isSame = target == path || target == location.path;
  if (!isSame) fuzz::fail("the target is " + fuzz::shown(target));
}

bool leaves(const Reference& location, const Settings& settings) {
  if (location.scheme && *location.scheme != "http") return true;
  const std::string host = location.host.value_or("");
  if (!host.empty() && host != settings.host) return true;
  return location.scheme && location.port.value_or(80) != settings.port;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static Way& direct = *new Way(false);
  static Way& proxied = *new Way(true);
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::string line, location;
  std::getline(lines, line);
  std::getline(lines, location);
  std::istringstream words(line);
  int status = 0;
  std::string method, wayName;
  words >> status >> method >> wayName;
  constexpr int kStatuses[] = {301, 302, 303, 307, 308};
  if (std::find(std::begin(kStatuses), std::end(kStatuses), status) == std::end(kStatuses))
    return 0;
  if (method != "GET" && method != "HEAD" && method != "PUT") method = "POST";
  const bool isProxied = wayName == "proxy";
  Way& way = isProxied ? proxied : direct;

  // As a field's value is read.
  location = withPort(location, way.port());
  std::erase(location, '\0');
  std::replace(location.begin(), location.end(), '\r', ' ');
  location = fuzz::stripped(location);
  if (location.size() > 4000) return 0;
  const Reference reference = readReference(location);
  way.setRedirect("HTTP/1.1 " + std::to_string(status) + " X\r\nLocation: " + location +
                  "\r\nContent-Length: 0\r\n\r\n");

  auto message = fuzz::plugins::RequestMessage(method.c_str(), "/first", "").build();
  const Answer answer = way.rig().perform(message);
  static_cast<void>(fuzz::takeLogLines());
  const auto requests = way.take();
  fuzz::require(requests.size() == 1 || requests.size() == 2, "another number of requests");
  const bool isFollowed = requests.size() == 2;
  fuzz::require(answer.status == (isFollowed ? 200 : 400), "another status");
  if (isFollowed) {
    checkFollowed(requests[0], requests[1], reference, method, status, isProxied);
    if (leaves(reference, way.rig().settings())) fuzz::fail("followed: " + fuzz::shown(location));
  } else if (reference.isPlain && !leaves(reference, way.rig().settings())) {
    fuzz::fail("refused: " + fuzz::shown(location) + ": " + answer.reason);
  }
  return 0;
}
