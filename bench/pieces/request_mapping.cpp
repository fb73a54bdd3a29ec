// What reading a request message into the worker's record costs: a plain POST with eight header
// fields and 1 KiB of payload, which is moved. Making the message and releasing the record are not
// measured.
//
//   requestMappingOfOwnedTexts      every text is the message's own, and some are moved
//   requestMappingOfBorrowedTexts   the values are lent, and copied
#include "http/request_mapping.h"

#include <benchmark/benchmark.h>

#include <optional>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {
namespace {

// A message, and the record that it becomes.
struct MappedRequest {
  Message message;
  std::optional<RequestDetails> details;
};

bool isMapped(const RequestDetails& details) {
  const std::string* const type = details.headers.find("content-type");
  return type != nullptr && *type == "application/json" &&
         details.headers.size() == pieces::kHeaders &&
         connectivity10_15_0::get<buffer_t>(details.payload).size() == pieces::kBodyBytes;
}

void measureRequestMapping(benchmark::State& state, pieces::Texts texts) {
  const connectivity10_15_0::Logger log("pieces");
  const ThreadLogger logger(log, 0);
  const MessageKeys keys;
  const Settings settings;
  RequestMapping mapping(keys, settings, logger);
  Message first = pieces::requestMessage(texts);
  if (!isMapped(mapping.map(first, 0))) return state.SkipWithError("the record is not whole");
  pieces::measurePrepared(
      state,
      [&] {
        return MappedRequest{pieces::requestMessage(texts), std::nullopt};
      },
      [&](MappedRequest& request) {
        request.details.emplace(mapping.map(request.message, 0));
        benchmark::DoNotOptimize(request);
      });
}

void requestMappingOfOwnedTexts(benchmark::State& state) {
  measureRequestMapping(state, pieces::Texts::Owned);
}
BENCHMARK(requestMappingOfOwnedTexts);

void requestMappingOfBorrowedTexts(benchmark::State& state) {
  measureRequestMapping(state, pieces::Texts::Borrowed);
}
BENCHMARK(requestMappingOfBorrowedTexts);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
