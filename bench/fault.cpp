#include "bench/fault.h"

#include <array>

#include "bench/random.h"

namespace bench {

const char* nameOf(Fault fault) {
  static constexpr std::array<const char*, kFaults> kNames{
      "none",
      "delayed",
      "in pieces",
      "interim",
      "chunked",
      "trailers",
      "gzipped",
      "until close",
      "ask to close",
      "close after answer",
      "reset after answer",
      "server error",
      "redirect",
      "early answer",
      "early answer, then go",
      "close before answer",
      "reset before answer",
      "reset in upload",
      "cut in head",
      "garbage",
      "cut in body",
      "cut in chunk",
      "no last chunk",
      "reset in body",
      "bad length",
      "bad chunk size",
      "damaged gzip",
  };
  return kNames.at(static_cast<std::size_t>(fault));
}

Fault FaultSchedule::at(std::uint64_t id, unsigned attempt) const {
  const std::uint64_t random = mixed(seed_, id, 0xFA017, attempt);
  if (share(random) >= share_) return Fault::None;
  return static_cast<Fault>(1 + mixed(random) % (kFaults - 1));
}

}  // namespace bench
