// What sending a request costs up to the socket: the head with its eight header fields of the
// message and those that the transport adds, and 1 KiB of body, written into memory. Making the
// record is not measured.
//
//   requestWriter/N   with a jar of N cookies, all of which go into the head
#include "http/request_writer.h"

#include <Poco/Net/HTTPClientSession.h>
#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

// Memory in the place of a connection; one request at a time.
class RequestMemory final : public std::streambuf {
 public:
  void rewind() { setp(bytes_, bytes_ + sizeof(bytes_)); }
  std::string_view written() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }

 private:
  char bytes_[16 * 1024];
};

class MemorySession final : private ByteSource, public ClientSession {
 public:
  MemorySession() : ClientSession(static_cast<ByteSource&>(*this)) {}

  std::ostream& sendRequest(Poco::Net::HTTPRequest& request) override {
    memory.rewind();
    stream_.clear();
    request.write(stream_);
    return stream_;
  }
  void flushRequest() override { stream_.flush(); }
  bool hasInput() const override { return false; }
  void reset() noexcept override {}
  Poco::Net::HTTPClientSession& base() override { return base_; }

  RequestMemory memory;

 private:
  std::size_t receive(char*, std::size_t) override { return 0; }

  std::ostream stream_{&memory};
  Poco::Net::HTTPClientSession base_;
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
  const RequestWriter writer(Settings(), false, keys, jar, logger);
  MemorySession session;
  const auto send = [&](RequestDetails& details) {
    Poco::Net::HTTPRequest request(pieces::kMethod, pieces::kPath, "HTTP/1.1");
    return writer.sendRequest(session, details, request);
  };

  RequestDetails first = pieces::requestDetails();
  if (send(first) != pieces::kBodyBytes ||
      !isWholeRequest(session.memory.written(), state.range(0) > 0)) {
    return state.SkipWithError("the request is not whole");
  }
  pieces::measurePrepared(state, pieces::requestDetails, [&](RequestDetails& details) {
    benchmark::DoNotOptimize(send(details));
  });
}
BENCHMARK(requestWriter)->Arg(0)->Arg(10);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
