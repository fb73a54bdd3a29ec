// What parsing the head of a response with eight fields costs, filling the head's buffer with its
// bytes included.
//
//   responseHead/0   as most heads are
//   responseHead/1   with one field folded over two lines
#include "http/response_head.h"

#include <benchmark/benchmark.h>

#include <string>

#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

void responseHead(benchmark::State& state) {
  const bool isFolded = state.range(0) != 0;
  const std::string bytes =
      pieces::responseHead(isFolded ? "Content-Length:\r\n 1024" : "Content-Length: 1024");
  ResponseHead head;
  const auto parse = [&] {
    head.clear();
    head.bytes() = bytes;
    head.parse();
  };
  parse();
  if (head.status() != 200 || head.fields().size() != pieces::kHeaders ||
      head.find("content-length") != "1024") {
    return state.SkipWithError("the head has been read wrongly");
  }
  for (auto _ : state) {
    parse();
    benchmark::DoNotOptimize(head);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(responseHead)->Arg(0)->Arg(1);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
