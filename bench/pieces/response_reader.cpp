// What reading a whole response costs from the socket on: head, framing and a body of N bytes,
// which come out of memory and go into a buffer that is kept. The system's part of receiving is not
// measured.
//
//   responseReader/N          the body's length is in the head
//   responseReaderChunked/N   the body comes in chunks of 8 KiB
#include "http/response_reader.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

// One text, again and again. What is received never goes over its end, as it does not on a
// connection whose requests wait for each other.
class RepeatingSource final : public ByteSource {
 public:
  explicit RepeatingSource(std::string text) : text_(std::move(text)) {}

  std::size_t receive(char* buffer, std::size_t length) override {
    const std::size_t count = std::min(length, text_.size() - given_);
    std::memcpy(buffer, text_.data() + given_, count);
    given_ = given_ + count == text_.size() ? 0 : given_ + count;
    return count;
  }

 private:
  const std::string text_;
  std::size_t given_ = 0;
};

std::string chunked(const std::string& body) {
  constexpr std::size_t kChunkBytes = 8 * 1024;
  std::string text;
  for (std::size_t at = 0; at < body.size(); at += kChunkBytes) {
    const std::string chunk = body.substr(at, kChunkBytes);
    char size[20];
    std::snprintf(size, sizeof(size), "%zx\r\n", chunk.size());
    text += size + chunk + "\r\n";
  }
  return text + "0\r\n\r\n";
}

void measureReader(benchmark::State& state, const std::string& response) {
  const auto bodyBytes = static_cast<std::size_t>(state.range(0));
  RepeatingSource source(response);
  ResponseReader reader(source);
  ResponseHead head;
  std::vector<char> body(bodyBytes + 1);
  const auto read = [&] {
    reader.readHead(head, false);
    std::size_t stored = 0;
    while (const std::size_t count = reader.readBody(body.data() + stored, body.size() - stored)) {
      stored += count;
    }
    return stored;
  };

  const std::size_t stored = read();
  const std::string expected(bodyBytes, 'x');
  if (stored != bodyBytes || !std::equal(expected.begin(), expected.end(), body.begin()) ||
      !reader.reusable()) {
    return state.SkipWithError("the response has been read wrongly");
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(read());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(response.size()));
}

void responseReader(benchmark::State& state) {
  const std::string body(static_cast<std::size_t>(state.range(0)), 'x');
  measureReader(state,
                pieces::responseHead("Content-Length: " + std::to_string(body.size())) + body);
}
BENCHMARK(responseReader)->Arg(0)->Arg(1024)->Arg(100 * 1024)->Arg(1024 * 1024);

void responseReaderChunked(benchmark::State& state) {
  const std::string body(static_cast<std::size_t>(state.range(0)), 'x');
  measureReader(state, pieces::responseHead("Transfer-Encoding: chunked") + chunked(body));
}
BENCHMARK(responseReaderChunked)->Arg(1024)->Arg(100 * 1024)->Arg(1024 * 1024);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
