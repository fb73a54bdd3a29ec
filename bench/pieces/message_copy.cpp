// What a host's copy of a request message costs: payload of 1 KiB, two maps and a third of eight
// header fields. Releasing the copy is not measured.
//
//   messageCopy                  every text is the message's own
//   messageCopyOfBorrowedTexts   the values are lent; the copy gets its own, as every copy does
#include <benchmark/benchmark.h>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::get;

Message copyOf(const Message& message) {
  Message copy;
  copy.payload = message.payload.copy();
  copy.metadata = message.metadata.copy();
  return copy;
}

bool isWholeCopy(const Message& copy) {
  if (get<buffer_t>(copy.payload).size() != pieces::kBodyBytes) return false;
  const auto http = copy.metadata.find("http");
  if (http == copy.metadata.end()) return false;
  const map_t& fields = get<map_t>(http.value());
  const auto path = fields.find("path");
  const auto headers = fields.find("headers");
  return path != fields.end() && path.value().tag() == KEL_TAG_STRING && headers != fields.end() &&
         get<map_t>(headers.value()).size() == pieces::kHeaders;
}

void measureCopy(benchmark::State& state, pieces::Texts texts) {
  const Message message = pieces::requestMessage(texts);
  if (!isWholeCopy(copyOf(message))) return state.SkipWithError("the copy is not whole");
  pieces::measurePrepared(
      state, [] { return Message(); },
      [&](Message& copy) {
        copy = copyOf(message);
        benchmark::DoNotOptimize(copy);
      });
}

void messageCopy(benchmark::State& state) { measureCopy(state, pieces::Texts::Owned); }
BENCHMARK(messageCopy);

void messageCopyOfBorrowedTexts(benchmark::State& state) {
  measureCopy(state, pieces::Texts::Borrowed);
}
BENCHMARK(messageCopyOfBorrowedTexts);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
