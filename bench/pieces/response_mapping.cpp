// What building the response message costs, from the head and a body that is in a buffer of the
// host's already. Making record and buffer and releasing the message are not measured.
//
//   responseMapping/N   eight header fields, N of which (0 or 1) set a cookie, which the jar takes
//                       over
#include "http/response_mapping.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::get;

// What a response message is made of, and the message.
struct MappedResponse {
  RequestDetails details = pieces::requestDetails();
  buffer_t body = buffer_t(pieces::kBodyBytes);
  std::optional<Message> message;
};

bool isWholeResponse(const Message& message, std::uint64_t cookies) {
  if (get<buffer_t>(message.payload).size() != pieces::kBodyBytes) return false;
  if (get<std::int64_t>(message.metadata.find("requestId").value()) != pieces::kRequestId) {
    return false;
  }
  const map_t& http = get<map_t>(message.metadata.find("http").value());
  return get<std::int64_t>(http.find("statusCode").value()) == 200 &&
         get<map_t>(http.find("headers").value()).size() == pieces::kHeaders &&
         get<map_t>(http.find("cookies").value()).size() == cookies;
}

void responseMapping(benchmark::State& state) {
  const connectivity10_15_0::Logger log("pieces");
  const ThreadLogger logger(log, 0);
  const MessageKeys keys;
  CookieJar jar(true);
  ResponseMapping mapping(keys, jar, logger);
  const auto cookies = static_cast<std::uint64_t>(state.range(0));
  ResponseHead head;
  head.bytes() = pieces::responseHead(
      cookies == 0 ? "Content-Length: 1024"
                   : "Set-Cookie: session=4c1a90d27f; Path=/; HttpOnly; Max-Age=3600");
  head.parse();
  const auto map = [&](MappedResponse& response) {
    response.message.emplace(mapping.map(head, std::move(response.body), response.details));
  };

  MappedResponse first;
  map(first);
  if (!isWholeResponse(*first.message, cookies)) {
    return state.SkipWithError("the message is not whole");
  }
  pieces::measurePrepared(
      state, [] { return MappedResponse(); },
      [&](MappedResponse& response) {
        map(response);
        benchmark::DoNotOptimize(response);
      });
}
BENCHMARK(responseMapping)->Arg(0)->Arg(1);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
