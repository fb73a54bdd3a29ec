// comparison/work.h : what one client of the comparison does, in one run.
//
// Threads:   no state.
// Errors:    std::invalid_argument that names the word which is wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Work {
  std::string client = "plugin";     // --client plugin|socket|poco|curl|lifecycle
  std::uint16_t port = 0;            // --port, on 127.0.0.1
  std::string authorityFile{};       // --authority FILE: over TLS, the server verified against it
  std::int64_t connections = 1;      // --connections; the plugin's clients
  std::uint64_t requests = 10'000;   // --requests, measured
  std::uint64_t warmUp = 1'000;      // --warm-up: requests before them
  std::size_t requestBytes = 1024;   // --request-bytes: the body of a POST; 0: a GET
  std::size_t responseBytes = 1024;  // --response-bytes: of the answer's body
  std::int64_t delayMs = 0;          // --delay: before the server answers
  double rate = 0;                   // --rate: requests a second; 0: as fast as they are answered
  int processor = -1;                // --processor that all threads share; -1: any
  // Of the plugin alone.
  std::uint64_t batch = 64;      // --batch: messages that the host delivers at once
  std::uint64_t underWay = 0;    // --under-way: at most so many, answer outstanding; 0: any
  std::uint64_t keys = 0;        // --keys: concurrency keys, by turns; 0: none
  std::uint64_t flushEvery = 0;  // --flush-every: so many messages a barrier; 0: none

  /// What the server of the comparison, or nginx set up for it, answers as wanted.
  std::string target() const;
};

/// Reads "--name value" pairs.
Work parseWork(const std::vector<std::string>& words);

}  // namespace bench
