#include "bench/options.h"

#include <algorithm>
#include <stdexcept>

#include "bench/option_words.h"

namespace bench {
namespace {

// REQUIRES: delivering threads that wait for room must not hold all of it.
constexpr std::int64_t kUnderWayMin = 256;
constexpr std::int64_t kUnderWayMost = 32768;

std::vector<std::int64_t> clientsIn(const std::string& text) {
  std::vector<std::int64_t> clients;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    clients.push_back(numberIn<std::int64_t>(text.substr(begin, end - begin), 1, 256));
    begin = end + 1;
  }
  return clients;
}

void readWire(const std::string& text, Options& options) {
  options.plain = text == "plain" || text == "both";
  options.tls = text == "tls" || text == "both";
  if (!options.plain && !options.tls) {
    throw std::invalid_argument("neither plain nor tls nor both: " + text);
  }
}

}  // namespace

Options parseOptions(const std::vector<std::string>& words, Options options) {
  const OptionReaders readers{
      {"--clients", [&](const auto& text) { options.clients = clientsIn(text); }},
      {"--wire", [&](const auto& text) { readWire(text, options); }},
      {"--faults", [&](const auto& text) { options.faultPercent = numberIn(text, 0.0, 100.0); }},
      {"--seed", [&](const auto& text) { options.seed = numberIn(text, 0ul, ~0ul); }},
      {"--body-max",
       [&](const auto& text) { options.bodyBytesMax = numberIn(text, 0ul, 1ul << 30); }},
      {"--under-way",
       [&](const auto& text) {
         options.underWayMax = numberIn(text, kUnderWayMin, kUnderWayMost);
       }},
      {"--requests",
       [&](const auto& text) { options.requests = numberIn(text, 1ul, 1'000'000'000ul); }},
      {"--minutes", [&](const auto& text) { options.minutes = numberIn(text, 0.01, 1e6); }},
      {"--cycle", [&](const auto& text) { options.cycleSeconds = numberIn(text, 0.0, 1e6); }},
      {"--memory-max",
       [&](const auto& text) { options.memorySlopeMax = numberIn(text, 0.0, 1e9); }},
  };
  readOptions(words, readers);
  return options;
}

}  // namespace bench
