// bench/options.h : the command lines of the load and soak programs.
//
// Threads:   no state.
// Errors:    std::invalid_argument that names the word which is wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Options {
  // Traffic.
  std::vector<std::int64_t> clients;  // --clients 1,2,4
  bool plain = true;                  // --wire plain|tls|both
  bool tls = true;
  double faultPercent = 5;                 // --faults
  std::uint64_t seed = 1;                  // --seed
  std::size_t bodyBytesMax = 1024 * 1024;  // --body-max, in bytes
  std::int64_t underWayMax = 4096;         // --under-way: requests delivered and not yet answered
  // Load.
  std::uint64_t requests = 100'000;  // --requests, over all runs
  // Soak.
  double minutes = 1;         // --minutes
  double cycleSeconds = 0;    // --cycle: new transports that often; 0: never
  double memorySlopeMax = 1;  // --memory-max, in MiB an hour
};

/// Reads "--name value" pairs. `clients` is what holds without --clients.
Options parseOptions(const std::vector<std::string>& words, std::vector<std::int64_t> clients);

}  // namespace bench
