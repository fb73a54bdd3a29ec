#include "bench/bounds_case.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "support/deflated.h"

namespace bench {
namespace {

using test_support::Connection;
using Script = test_support::ScriptedServer::Script;

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;
constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

// Once the transport has made and dropped what it always does.
constexpr std::uint64_t kUsualBytes = 24 * kMiB;

const std::string& piece() {
  static const std::string bytes(64 * kKiB, 'x');
  return bytes;
}

// Reads one request and drops its body: a server that keeps what it gets would need the memory that
// is measured elsewhere.
std::optional<std::string> nextTarget(Connection& connection) {
  const auto request = connection.readHead();
  if (!request) return std::nullopt;
  const auto lengths = request->values("content-length");
  std::uint64_t left = lengths.empty() ? 0 : std::stoull(lengths.front());
  while (left > 0) {
    const std::string some = connection.readSome();
    if (some.empty()) return std::nullopt;
    left -= std::min<std::uint64_t>(left, some.size());
  }
  return request->target;
}

// Answers with "ok" what is not the case's.
Script beside(Script answerCase) {
  return [answerCase = std::move(answerCase)](Connection& connection) {
    while (const auto target = nextTarget(connection)) {
      if (*target == kCasePath) {
        answerCase(connection);
      } else {
        connection.trySend(kOk);
      }
    }
  };
}

Script withLength(std::uint64_t bytes) {
  return beside([bytes](Connection& connection) {
    connection.trySend("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(bytes) + "\r\n\r\n");
    std::uint64_t left = bytes;
    while (left > 0) {
      const std::string_view some = std::string_view(piece()).substr(0, left);
      if (!connection.trySend(some)) return;
      left -= some.size();
    }
  });
}

Script chunked(std::uint64_t bytes) {
  return beside([bytes](Connection& connection) {
    connection.trySend("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    for (std::uint64_t sent = 0; sent < bytes; sent += piece().size()) {
      if (!connection.trySend("10000\r\n" + piece() + "\r\n")) return;
    }
    connection.trySend("0\r\n\r\n");
  });
}

// Zeros, a thousandth of which goes over the wire.
Script bomb(std::uint64_t bytes) {
  const std::string member =
      test_support::deflated(std::string(kMiB, '\0'), test_support::DeflateFormat::Gzip);
  return beside([bytes, member](Connection& connection) {
    connection.trySend("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                       std::to_string(bytes / kMiB * member.size()) + "\r\n\r\n");
    for (std::uint64_t sent = 0; sent < bytes; sent += kMiB) {
      if (!connection.trySend(member)) return;
    }
  });
}

// `begin` once and then `more` until the transport has had enough.
Script endless(std::string begin, std::string more) {
  std::string many;
  while (many.size() < 16 * kKiB) many += more;
  return beside([begin = std::move(begin), many = std::move(many)](Connection& connection) {
    bool goesOn = connection.trySend(begin);
    while (goesOn) goesOn = connection.trySend(many);
  });
}

Script fullHead() {
  std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
  for (int i = 0; i < 999; ++i) {
    head += "X-Field-" + std::to_string(i) + ": " + std::string(1000, 'v') + "\r\n";
  }
  return beside([head = head + "\r\n"](Connection& connection) { connection.trySend(head); });
}

// Each answer sets 995 cookies of new names.
Script cookies() {
  const auto next = std::make_shared<std::atomic<std::uint64_t>>(0);
  return beside([next](Connection& connection) {
    std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
    for (int i = 0; i < 995; ++i)
      head += "Set-Cookie: c" + std::to_string((*next)++) + "=value\r\n";
    connection.trySend(head + "\r\n");
  });
}

// Holds all answers back until they are released.
Script heldBack() {
  struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;
  };
  const auto gate = std::make_shared<Gate>();
  return [gate](Connection& connection) {
    while (const auto target = nextTarget(connection)) {
      std::unique_lock lock(gate->mutex);
      if (*target == kReleasePath) {
        gate->open = true;
        gate->changed.notify_all();
      }
      if (*target == kCasePath) gate->changed.wait(lock, [&] { return gate->open; });
      lock.unlock();
      connection.trySend(kOk);
    }
  };
}

std::vector<BoundsCase> endlessCases() {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunks = ok + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string malformed = "Malformed message: ";
  const std::string cut = "Error processing response stream: I/O error";
  const auto refused = [](std::string name, Script script, std::string reason) {
    return BoundsCase{std::move(name), std::move(script), "400", std::move(reason), kUsualBytes};
  };
  return {
      refused("endless fields", endless(ok, "X-A: b\r\n"), malformed + "Response head too large"),
      refused("endless field", endless(ok + "X-A: ", "bbbbbbbb"),
              malformed + "Response head too large"),
      refused("endless folding", endless(ok + "X-A: b\r\n", " c\r\n"),
              malformed + "Response head too large"),
      refused("endless blank lines", endless("", "\r\n"), malformed + "Response head too large"),
      refused("endless Set-Cookie", endless(ok, "Set-Cookie: a=b\r\n"),
              malformed + "Response head too large"),
      refused("endless interim", endless("", "HTTP/1.1 103 Early Hints\r\nLink: a\r\n\r\n"),
              malformed + "Too many interim responses"),
      refused("endless chunk extension", endless(chunks + "5;", "aaaaaaaa"), cut),
      refused("endless trailers", endless(chunks + "0\r\n", "X-A: b\r\n"), cut),
  };
}

// What comes of an answer that there is no memory for.
BoundsCase limited(BoundsCase given, std::uint64_t addressSpaceBytes) {
  given.name += ", no memory";
  given.statusWanted = "400";
  given.reasonWanted = "std::bad_alloc";
  given.addressSpaceBytes = addressSpaceBytes;
  return given;
}

}  // namespace

BoundsScale BoundsScale::large() { return {1024 * kMiB, kMiB, 5, 4096 * kMiB}; }

BoundsScale BoundsScale::small() { return {96 * kMiB, 32 * kKiB, 5, 1025 * kMiB}; }

std::vector<BoundsCase> boundsCases(const BoundsScale& scale, bool withLimits) {
  const std::uint64_t bytes = scale.answerBytes;
  const std::uint64_t once = bytes + kUsualBytes;
  std::vector<BoundsCase> cases = {
      {"full queue", heldBack(), "200", "OK", 2200 * (scale.itemBytes + 4 * kKiB) + kUsualBytes,
       2048, 0, true},
      {"large answer, length known", withLength(bytes), "200", "OK", once},
      {"large answer, chunked", chunked(bytes), "200", "OK", once},
      {"gzip bomb", bomb(bytes), "200", "OK", once},
      {"head of 1,000 fields", fullHead(), "200", "OK", kUsualBytes},
      {"cookies of many names", cookies(), "200", "OK", kUsualBytes, scale.cookieAnswers},
  };
  for (BoundsCase& next : endlessCases()) cases.push_back(std::move(next));
  if (withLimits) {
    const std::uint64_t room = bytes / 4 * 3;
    for (const std::size_t index : {1u, 2u, 3u}) cases.push_back(limited(cases[index], room));
    BoundsCase untilClose{"endless body", endless("HTTP/1.1 200 OK\r\n\r\n", piece()), "", "",
                          once};
    cases.push_back(limited(std::move(untilClose), room));
    const std::uint64_t line = scale.lineBytes;
    cases.push_back({"chainhost: line without end", beside({}), "line2",
                     "the line is longer than 1073741824 bytes", 1100 * kMiB, 1, line});
  }
  return cases;
}

}  // namespace bench
