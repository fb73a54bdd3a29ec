#include "bench/comparison/work.h"

#include "bench/option_words.h"

namespace bench {

std::string Work::target() const {
  return "/answer/" + std::to_string(responseBytes) + "/" + std::to_string(delayMs);
}

Work parseWork(const std::vector<std::string>& words) {
  constexpr std::uint64_t kRequestsMax = 100'000'000;
  constexpr std::size_t kBytesMax = 1ul << 30;
  Work work;
  readOptions(
      words,
      {
          {"--client", [&](const auto& text) { work.client = text; }},
          {"--port",
           [&](const auto& text) { work.port = numberIn<std::uint16_t>(text, 1, 65535); }},
          {"--authority", [&](const auto& text) { work.authorityFile = text; }},
          {"--connections",
           [&](const auto& text) { work.connections = numberIn<std::int64_t>(text, 1, 1024); }},
          {"--requests",
           [&](const auto& text) { work.requests = numberIn(text, 1ul, kRequestsMax); }},
          {"--warm-up", [&](const auto& text) { work.warmUp = numberIn(text, 0ul, kRequestsMax); }},
          {"--request-bytes",
           [&](const auto& text) { work.requestBytes = numberIn(text, 0ul, kBytesMax); }},
          {"--response-bytes",
           [&](const auto& text) { work.responseBytes = numberIn(text, 0ul, kBytesMax); }},
          {"--delay",
           [&](const auto& text) { work.delayMs = numberIn<std::int64_t>(text, 0, 60'000); }},
          {"--rate", [&](const auto& text) { work.rate = numberIn(text, 0.0, 1e7); }},
          {"--processor", [&](const auto& text) { work.processor = numberIn(text, -1, 1023); }},
          {"--batch", [&](const auto& text) { work.batch = numberIn(text, 1ul, kRequestsMax); }},
          {"--under-way",
           [&](const auto& text) { work.underWay = numberIn(text, 0ul, kRequestsMax); }},
          {"--keys", [&](const auto& text) { work.keys = numberIn(text, 0ul, kRequestsMax); }},
          {"--flush-every",
           [&](const auto& text) { work.flushEvery = numberIn(text, 0ul, kRequestsMax); }},
      });
  return work;
}

}  // namespace bench
