// What sending a request costs up to the socket: the head with its eight header fields of the
// message and those that the transport adds, and 1 KiB of body, written into memory. Making the
// record is not measured.
//
//   requestWriter/N   with a jar of N cookies, all of which go into the head
#include "http/request_writer.h"

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

// Memory in the place of a connection; one request at a time.
class MemorySession final : private ByteSource, public ClientSession {
 public:
  MemorySession() : ClientSession(static_cast<ByteSource&>(*this)) {}

  void begin(RequestHead& head) override {
    bytes_.clear();
    head.append("Host", "server.example");
  }
  void send(std::string_view first, std::string_view second) override {
    bytes_.append(first).append(second);
  }
  bool hasInput() const override { return false; }
  void reset() noexcept override {}
  void rest() noexcept override {}

  const std::string& bytes() const { return bytes_; }

 private:
  std::size_t receive(char*, std::size_t) override { return 0; }

  std::string bytes_;
};

bool isWholeRequest(std::string_view bytes, bool hasCookies) {
  constexpr std::string_view kStart = "POST /plants/7/lines/3/readings HTTP/1.1\r\n";
  const std::size_t end = bytes.find("\r\n\r\n");
  const bool showsCookies = bytes.find("\r\nCookie: ") < end;
  return bytes.starts_with(kStart) && bytes.find("x-correlation-id: ") < end &&
         bytes.size() == end + 4 + pieces::kBodyBytes && showsCookies == hasCookies;
}

void requestWriter(benchmark::State& state) {
  const connectivity10_15_0::Logger log("pieces");
  const ThreadLogger logger(log, 0);
  const MessageKeys keys;
  CookieJar jar(true);
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    jar.update({"cookie" + std::to_string(i), "value", "/"});
  }
  RequestWriter writer(Settings(), false, keys, jar, logger);
  MemorySession session;
  const auto send = [&](RequestDetails& details) {
    return writer.sendRequest(session, details, pieces::kPath);
  };

  RequestDetails first = pieces::requestDetails();
  if (send(first) != pieces::kBodyBytes || !isWholeRequest(session.bytes(), state.range(0) > 0)) {
    return state.SkipWithError("the request is not whole");
  }
  pieces::measurePrepared(state, pieces::requestDetails, [&](RequestDetails& details) {
    benchmark::DoNotOptimize(send(details));
  });
}
BENCHMARK(requestWriter)->Arg(0)->Arg(10);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
