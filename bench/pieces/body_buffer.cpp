// What the memory of a response body of 1 MiB costs when it comes in steps of 100 KiB. One byte of
// each page is written, so that the system has to provide it; copying the bytes is not measured.
//
//   bodyBufferGrown   a worker's first body of that size, in a process without memory to spare
//   bodyBufferKept    every later one
#include "http/body_buffer.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstddef>

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::size_t kStepBytes = 100 * 1024;
constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kWholeBytes = 1024 * 1024;

void fillBodyBuffer(BodyBuffer& buffer) {
  while (buffer.size() < kWholeBytes) {
    char* const room = buffer.room(kStepBytes);
    for (std::size_t at = 0; at < kStepBytes; at += kPageBytes) room[at] = 'x';
    benchmark::DoNotOptimize(room);
    benchmark::ClobberMemory();
    buffer.add(kStepBytes);
  }
}

void bodyBufferGrown(benchmark::State& state) {
  BodyBuffer first;
  fillBodyBuffer(first);
  for (std::size_t at = 0; at < kWholeBytes; at += kStepBytes) {
    if (first.view()[at] != 'x') return state.SkipWithError("the buffer has lost bytes");
  }
  for (auto _ : state) {
    state.PauseTiming();
    malloc_trim(0);  // what the last one has given back belongs to the system again
    state.ResumeTiming();
    BodyBuffer buffer;
    fillBodyBuffer(buffer);
  }
}
BENCHMARK(bodyBufferGrown);

void bodyBufferKept(benchmark::State& state) {
  BodyBuffer buffer;
  fillBodyBuffer(buffer);
  const std::size_t capacity = buffer.capacityForTest();
  for (auto _ : state) {
    buffer.clear();
    fillBodyBuffer(buffer);
  }
  if (buffer.capacityForTest() != capacity) state.SkipWithError("the memory was not kept");
}
BENCHMARK(bodyBufferKept);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
