#include "http/request_details.h"

#include <stdexcept>
#include <utility>

#include "model/get.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;

const char* const kPayloadErrorText =
    "HTTPClient payloads must be binary buffers or dictionary having string key and either string "
    "or binary value (did you mean to use the StringCodec to encode a string to a buffer?)";

namespace {

void checkPayload(const data_t& payload) {
  if (payload.tag() == KEL_TAG_BUFFER) return;
  if (payload.tag() != KEL_TAG_MAP) throw std::runtime_error(kPayloadErrorText);
  for (const auto& field : get<map_t>(payload)) {
    const bool isField = field.value().isString() || field.value().tag() == KEL_TAG_BUFFER;
    if (!field.key().isString() || !isField) throw std::runtime_error(kPayloadErrorText);
  }
}

}  // namespace

RequestDetails::RequestDetails(data_t payload_, data_t requestId_, data_t method_, data_t path_,
                               TextMap headers_, TextMap queryParameters_, TextMap cookies_,
                               data_t form_, double startTime_)
    : payload(std::move(payload_)),
      requestId(std::move(requestId_)),
      method(std::move(method_)),
      path(std::move(path_)),
      headers(std::move(headers_)),
      queryParameters(std::move(queryParameters_)),
      cookies(std::move(cookies_)),
      form(std::move(form_)),
      startTime(startTime_) {
  checkPayload(payload);
}

}  // namespace com::corvane::connectivity::plugins
