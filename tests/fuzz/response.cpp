// Two answers come through a socket pair; a strict reader of another making says what they are. No
// answer may be taken for more than it is, and none of the first one's bytes for the second.
//
// The input's first line: METHOD METHOD PIECE END, where a method is HEAD or any other, PIECE
// limits what one receive gives (0: no limit), and END (close, silence or reset) is what follows
// the last answer. The rest are the answers, separated by a line "--next--"; one alone is possible.

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <Poco/Net/NetException.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "fuzz/reference_inflate.h"
#include "fuzz/reference_response.h"
#include "http/messages.h"
#include "http/response_body.h"
#include "http/response_mapping.h"
#include "plugin/logger.h"

namespace {

using namespace com::corvane::connectivity::plugins;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::Logger;
using fuzz::End;
using fuzz::Form;
using fuzz::ReferenceResponse;

constexpr std::string_view kSeparator = "\n--next--\n";
constexpr std::size_t kBytesMax = 64 * 1024;  // the pair's own buffer takes more

struct Plan {
  bool toHead[2] = {false, false};
  std::size_t piece = 0;
  End end = End::Close;
};

Plan readPlan(const std::string& line) {
  std::istringstream words(line);
  std::string first, second, end;
  Plan plan;
  words >> first >> second >> plan.piece >> end;
  plan.toHead[0] = first == "HEAD";
  plan.toHead[1] = second == "HEAD";
  plan.end = end == "reset" ? End::Reset : end == "silence" ? End::Silence : End::Close;
  return plan;
}

// A connection whose two ends are ours.
class Pair {
 public:
  Pair() {
    fuzz::require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) == 0, "socketpair");
    fuzz::require(::send(ends_[0], "?", 1, 0) == 1, "send");
  }
  ~Pair() {
    ::close(ends_[0]);
    if (ends_[1] >= 0) ::close(ends_[1]);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  int clientEnd() const { return ends_[0]; }

  void sendToClient(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(ends_[1], bytes.data(), bytes.size(), MSG_NOSIGNAL);
      fuzz::require(count > 0, "send");
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  void end(End how) {
    if (how == End::Silence) return;
    char request = 0;  // one that is never read makes the close a reset
    if (how == End::Close) fuzz::require(::recv(ends_[1], &request, 1, 0) == 1, "recv");
    ::close(ends_[1]);
    ends_[1] = -1;
  }

  bool hasUnread() const {
    int count = 0;
    fuzz::require(::ioctl(ends_[0], FIONREAD, &count) == 0, "ioctl");
    return count > 0;
  }

 private:
  int ends_[2] = {-1, -1};
};

class PairSource final : public ByteSource {
 public:
  explicit PairSource(std::size_t piece) : piece_(piece == 0 ? kBytesMax : piece) {}
  void connect(const Pair& pair) { end_ = pair.clientEnd(); }

  std::size_t receive(char* buffer, std::size_t length) override {
    const ssize_t count = ::recv(end_, buffer, std::min(length, piece_), MSG_DONTWAIT);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == ECONNRESET) throw Poco::Net::ConnectionResetException();
    fuzz::require(errno == EAGAIN, "recv");
    throw Poco::TimeoutException();
  }

 private:
  const std::size_t piece_;
  int end_ = -1;
};

std::optional<std::string> firstValue(const ReferenceResponse& response, const char* name) {
  for (const auto& [field, value] : response.fields) {
    const std::string_view text = field;
    const bool isIt =
        std::equal(text.begin(), text.end(), name, name + std::char_traits<char>::length(name),
                   [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a | 0x20 : a) == b; });
    if (isIt) return value;
  }
  return std::nullopt;
}

// The body as it has to be delivered; nothing: it must not be.
std::optional<std::string> decodedBody(const ReferenceResponse& expected, bool toHead) {
  const bool isBodyless = toHead || expected.status == 204 || expected.status == 304;
  const std::string coding = firstValue(expected, "content-encoding").value_or("empty");
  if (isBodyless || coding == "empty" || coding == "identity") {
    return expected.form == Form::Invalid ? std::nullopt : std::optional(expected.body);
  }
  if (coding != "gzip" && coding != "deflate") return "Unsupported Media Type: " + coding;
  if (expected.form == Form::Invalid) return std::nullopt;
  return coding == "gzip" ? fuzz::inflatedGzip(expected.body)
                          : fuzz::inflatedDeflate(expected.body);
}

bool sameText(std::string_view actual, std::string_view expected, Form form) {
  return form == Form::Strict ? actual == expected
                              : fuzz::withSingleBlanks(actual) == fuzz::withSingleBlanks(expected);
}

void compareHead(const ResponseHead& actual, const ReferenceResponse& expected) {
  const Form form = expected.form;
  fuzz::require(actual.status() == expected.status, "another status");
  fuzz::require(sameText(actual.reason(), expected.reason, form), "another reason");
  fuzz::require(actual.fields().size() == expected.fields.size(), "another number of fields");
  for (std::size_t i = 0; i < expected.fields.size(); ++i) {
    const HeaderField& field = actual.fields()[i];
    fuzz::require(field.name == expected.fields[i].first, "another field name");
    if (sameText(field.value, expected.fields[i].second, form)) continue;
    fuzz::fail("value " + fuzz::shown(field.value) + " instead of " +
               fuzz::shown(expected.fields[i].second));
  }
}

class Client {
 public:
  explicit Client(std::size_t piece) : source_(piece), reader_(source_) {}

  void connect(const Pair& pair) {
    source_.connect(pair);
    reader_.clear();
  }

  // Reads one answer as an exchange does. Returns whether the connection may be used again.
  bool read(const ReferenceResponse& expected, bool toHead) {
    const auto body = decodedBody(expected, toHead);
    try {
      reader_.readHead(head_, toHead);
      const bool hasBody = !toHead && head_.status() != 204 && head_.status() != 304;
      body_.read(head_, hasBody, reader_);
    } catch (const std::exception& failure) {
      if (expected.form == Form::Strict && body) {
        fuzz::fail(std::string("refused: ") + failure.what() + ", " + reader_.framingError());
      }
      return false;
    }
    if (!body || !expected.hasHead) fuzz::fail("delivered, although " + expected.why);
    compareHead(head_, expected);
    // The name of a coding stands in a body, with its blanks.
    fuzz::require(sameText(body_.view(), *body, expected.form), "another body");
    map(expected, toHead);
    if (reader_.reusable()) {
      fuzz::require(expected.form != Form::Invalid, "reused, although the end is not proven");
    } else if (expected.form == Form::Strict) {
      fuzz::require(!expected.isReusable, "not reused for no reason");
    }
    return reader_.reusable();
  }

 private:
  void map(const ReferenceResponse& expected, bool toHead) {
    RequestDetails details(bufferValue(""), data_t(std::int64_t{7}),
                           data_t(toHead ? "HEAD" : "GET"), data_t("/"), {}, {}, {}, data_t(), 0);
    const std::string body(body_.view());
    Message message = mapping_.map(head_, body_.take(), details);
    map_t& http = mapAt(message.metadata, "http");
    fuzz::require(get<std::int64_t>(at(http, "statusCode")) == expected.status, "mapped status");
    fuzz::require(get<buffer_t>(message.payload).view() == body, "mapped body");
    fuzz::require(get<std::int64_t>(at(message.metadata, "requestId")) == 7, "mapped id");
    fuzz::require(get<map_t>(at(http, "headers")).size() <= expected.fields.size(),
                  "mapped headers");
  }

  const Logger log_{"fuzz"};
  const ThreadLogger logger_{log_, 0};
  const MessageKeys keys_;
  CookieJar jar_{true};
  ResponseMapping mapping_{keys_, jar_, logger_};
  PairSource source_;
  ResponseReader reader_;
  ResponseHead head_;
  ResponseBody body_{logger_};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), std::min<size_t>(size, kBytesMax));
  const std::size_t feed = std::min(input.find('\n'), input.size());
  const Plan plan = readPlan(std::string(input.substr(0, feed)));
  input.remove_prefix(std::min(feed + 1, input.size()));
  const std::size_t separator = input.find(kSeparator);
  const bool hasSecond = separator != std::string_view::npos;
  const std::string_view first = input.substr(0, separator);

  Client client(plan.piece);
  std::optional<Pair> connection(std::in_place);
  client.connect(*connection);
  connection->sendToClient(first);
  if (!hasSecond) connection->end(plan.end);
  const auto expected =
      fuzz::readResponse(first, hasSecond ? End::Silence : plan.end, plan.toHead[0]);
  const bool isReusable = client.read(expected, plan.toHead[0]);
  if (!hasSecond) return 0;

  // What is still on the wire is the session's to see; here the connection ends with it.
  const bool isKept = isReusable && !connection->hasUnread();
  if (isKept) fuzz::require(expected.isReusable, "reused, although it must not be");
  if (!isKept) {
    connection.emplace();
    client.connect(*connection);
  }
  const std::string_view second = input.substr(separator + kSeparator.size());
  connection->sendToClient(second);
  connection->end(plan.end);
  client.read(fuzz::readResponse(second, plan.end, plan.toHead[1]), plan.toHead[1]);
  return 0;
}
