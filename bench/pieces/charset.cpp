// What the conversion of one header text of N letters costs, from message to wire (UTF-8 to
// ISO-8859-1) and back, the memory for the result included.
//
//   charsetToLatin1OfAscii/N   nothing but ASCII: looked through and copied
//   charsetToLatin1/N          one letter in eight is not ASCII: ICU converts it
//   charsetToUtf8OfAscii/N     nothing but ASCII
//   charsetToUtf8/N            one letter in eight is not ASCII
#include "http/charset.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kAsciiLetters[] = "abcdefgh";
constexpr char kLatin1Letters[] = "abcdefg\xFC";
constexpr char kUtf8Letters[] = "abcdefg\xC3\xBC";

// `letters` are eight.
std::string repeated(const char* letters, std::int64_t count) {
  std::string text;
  for (std::int64_t i = 0; i < count; i += 8) text += letters;
  return text;
}

template <typename Convert>
void measureCharset(benchmark::State& state, const char* from, const char* to,
                    const Convert& convert) {
  const std::string text = repeated(from, state.range(0));
  if (convert(text.c_str()).get() != repeated(to, state.range(0)))
    return state.SkipWithError("converted wrongly");
  for (auto _ : state) {
    benchmark::DoNotOptimize(convert(text.c_str()).get());
    benchmark::ClobberMemory();
  }
}

void charsetToLatin1OfAscii(benchmark::State& state) {
  measureCharset(state, kAsciiLetters, kAsciiLetters, charset::utf8ToLatin1);
}
BENCHMARK(charsetToLatin1OfAscii)->Arg(24)->Arg(256);

void charsetToLatin1(benchmark::State& state) {
  measureCharset(state, kUtf8Letters, kLatin1Letters, charset::utf8ToLatin1);
}
BENCHMARK(charsetToLatin1)->Arg(24)->Arg(256);

void charsetToUtf8OfAscii(benchmark::State& state) {
  measureCharset(state, kAsciiLetters, kAsciiLetters, charset::latin1ToUtf8);
}
BENCHMARK(charsetToUtf8OfAscii)->Arg(24)->Arg(256);

void charsetToUtf8(benchmark::State& state) {
  measureCharset(state, kLatin1Letters, kUtf8Letters, charset::latin1ToUtf8);
}
BENCHMARK(charsetToUtf8)->Arg(24)->Arg(256);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
