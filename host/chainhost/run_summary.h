// chainhost/run_summary.h : the figures of a run and their one line at its end.
//
// Threads:   caller locks.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "kel/types.h"

namespace chainhost {

struct RunSummary {
  std::uint64_t messages = 0;  // taken by the transport
  std::uint64_t refused = 0;   // input lines answered with an error line
  std::uint64_t errors = 0;    // responses with a status outside 200..399, or without one
  std::array<std::uint64_t, 6> responses{};  // by status class: 0 other, 1 to 5 the hundreds
  double seconds = 0;                        // from the first read to the last response

  std::uint64_t responseCount() const noexcept;

  // Counts a response by the integer "statusCode" in its metadata's "http" map.
  void countResponse(const kel_message& response);
};

// "messages 5, responses 5 (1xx 0, 2xx 4, 3xx 0, 4xx 1, 5xx 0, other 0), errors 1, refused lines 0,
// seconds 0.012, requests per second 416.7" in one line without line feed.
// Requests per second: responses / seconds.
std::string summaryText(const RunSummary& summary);

}  // namespace chainhost
