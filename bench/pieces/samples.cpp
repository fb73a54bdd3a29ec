#include "bench/pieces/samples.h"

#include <utility>

#include "http/ascii.h"
#include "http/text_map.h"

namespace pieces {

using com::corvane::connectivity::plugins::buffer_t;
using com::corvane::connectivity::plugins::data_t;
using com::corvane::connectivity::plugins::map_t;
using com::corvane::connectivity::plugins::Message;
using com::corvane::connectivity::plugins::RequestDetails;
using com::corvane::connectivity::plugins::TextMap;

namespace ascii = com::corvane::connectivity::plugins::ascii;

namespace {

struct Field {
  const char* name;
  const char* value;
};

constexpr Field kRequestFields[kHeaders] = {
    {"Content-Type", "application/json"},
    {"Accept", "application/json"},
    {"Cache-Control", "no-cache"},
    {"X-Correlation-Id", "7f9c24e8-3b12-4bf1-a8d2-5b1f0c6a2e90"},
    {"X-Plant", "7"},
    {"X-Line", "3"},
    {"X-Source", "packing station 12"},
    {"X-Schema", "readings/2"},
};

data_t textValue(const char* text, Texts texts) {
  if (texts == Texts::Owned) return data_t(text);
  kel_data borrowed{};
  borrowed.payload.string = const_cast<char*>(text);  // never written to, nor released
  borrowed.tag = KEL_TAG_BORROWED_STRING;
  return data_t::adopt(borrowed);
}

data_t body() {
  const std::string bytes(kBodyBytes, 'x');
  return data_t(buffer_t::copyOf(bytes.data(), bytes.size()));
}

}  // namespace

Message requestMessage(Texts texts) {
  map_t headers;
  for (const Field& field : kRequestFields) {
    headers.insert(data_t(field.name), textValue(field.value, texts));
  }
  map_t http;
  http.insert(data_t("method"), textValue(kMethod, texts));
  http.insert(data_t("path"), textValue(kPath, texts));
  http.insert(data_t("headers"), data_t(std::move(headers)));
  Message message;
  message.payload = body();
  message.metadata.insert(data_t("requestId"), data_t(kRequestId));
  message.metadata.insert(data_t("http"), data_t(std::move(http)));
  return message;
}

RequestDetails requestDetails() {
  TextMap headers;
  for (const Field& field : kRequestFields) headers.insert(ascii::lowered(field.name), field.value);
  return RequestDetails(body(), data_t(kRequestId), data_t(kMethod), data_t(kPath),
                        std::move(headers), {}, {}, data_t(), 0);
}

std::string responseHead(const std::string& framing) {
  return "HTTP/1.1 200 OK\r\n"
         "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
         "Server: readings/2.4\r\n"
         "Content-Type: application/json; charset=utf-8\r\n"
         "Cache-Control: no-store\r\n"
         "X-Request-Id: 7f9c24e8-3b12-4bf1-a8d2-5b1f0c6a2e90\r\n"
         "Vary: Accept-Encoding\r\n"
         "Connection: keep-alive\r\n" +
         framing + "\r\n\r\n";
}

std::string headerName(std::size_t number) { return "X-Reading-" + std::to_string(number); }

}  // namespace pieces
