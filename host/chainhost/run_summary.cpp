#include "chainhost/run_summary.h"

#include <array>
#include <charconv>
#include <numeric>
#include <string_view>

#include "chainhost/host_values.h"

namespace chainhost {

namespace {

// The status code of a response, 0 without one.
std::int64_t statusCode(const kel_message& response) {
  static const TextKey httpKey("http");
  static const TextKey statusCodeKey("statusCode");
  const kel_data* const http = find(response.metadata, httpKey);
  if (http == nullptr || http->tag != KEL_TAG_MAP) {
    return 0;
  }
  const kel_data* const status = find(http->payload.map, statusCodeKey);
  return status == nullptr || status->tag != KEL_TAG_INTEGER ? 0 : status->payload.integer;
}

void appendFixed(std::string& out, double value, int digits) {
  std::array<char, 400> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits)
          .ptr;
  out.append(text.data(), end);
}

}  // namespace

std::uint64_t RunSummary::responseCount() const noexcept {
  return std::accumulate(responses.begin(), responses.end(), std::uint64_t{0});
}

void RunSummary::countResponse(const kel_message& response) {
  const std::int64_t status = statusCode(response);
  const bool hasClass = status >= 100 && status <= 599;
  ++responses[hasClass ? static_cast<std::size_t>(status / 100) : 0];
  if (status < 200 || status > 399) {
    ++errors;
  }
}

std::string summaryText(const RunSummary& summary) {
  static constexpr std::array<std::string_view, 6> names = {"other", "1xx", "2xx",
                                                            "3xx",   "4xx", "5xx"};
  const std::uint64_t count = summary.responseCount();
  std::string text = "messages " + std::to_string(summary.messages) + ", responses " +
                     std::to_string(count) + " (";
  for (const std::size_t index : {1U, 2U, 3U, 4U, 5U, 0U}) {
    text += names[index];
    text += ' ' + std::to_string(summary.responses[index]) + (index == 0 ? ")" : ", ");
  }
  text += ", errors " + std::to_string(summary.errors);
  text += ", refused lines " + std::to_string(summary.refused) + ", seconds ";
  appendFixed(text, summary.seconds, 3);
  text += ", requests per second ";
  appendFixed(text, summary.seconds > 0 ? static_cast<double>(count) / summary.seconds : 0.0, 1);
  return text;
}

}  // namespace chainhost
