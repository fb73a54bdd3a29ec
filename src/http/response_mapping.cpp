#include "http/response_mapping.h"

#include <Poco/Net/MediaType.h>
#include <Poco/Net/MessageHeader.h>

#include <set>
#include <utility>

#include "http/ascii.h"
#include "http/charset.h"
#include "http/set_cookie.h"
#include "model/get.h"
#include "model/text.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using connectivity10_15_0::valueText;

namespace {

// REQUIRES: a NUL byte follows the text. Header text is nearly always plain ASCII, which needs no
// conversion.
data_t utf8Value(std::string_view latin1) {
  if (ascii::isPlain(latin1)) return data_t(latin1.data());
  return data_t(charset::latin1ToUtf8(latin1.data()).get());
}

std::string utf8Text(std::string_view latin1) {
  if (ascii::isPlain(latin1)) return std::string(latin1);
  return charset::latin1ToUtf8(latin1.data()).get();
}

data_t bufferOf(std::string_view bytes) {
  return data_t(buffer_t::copyOf(bytes.data(), bytes.size()));
}

std::string charsetOf(const Poco::Net::MediaType& type) {
  std::string charset;
  Poco::Net::MessageHeader::quote(type.getParameter("charset"), charset, false);
  ascii::lower(charset);
  return charset == "utf8" ? "utf-8" : charset;
}

}  // namespace

map_t ResponseMapping::readHeaders(const ResponseHead& head,
                                   std::set<std::string>& duplicates) const {
  map_t headers;
  std::string name;
  for (const HeaderField& field : head.fields()) {
    name = field.name;
    ascii::lower(name);
    if (!ascii::isPlain(name)) name = charset::latin1ToUtf8(name.c_str()).get();
    const bool inserted = headers.insert(data_t(name), utf8Value(field.value)).second;
    if (!inserted) duplicates.insert(name);
  }
  return headers;
}

void ResponseMapping::dropDuplicates(map_t& headers,
                                     const std::set<std::string>& duplicates) const {
  for (const std::string& name : duplicates) {
    logger_.log(LogLevel::Debug, "Ignoring HTTP header %s because it's duplicated in the message",
                name);
    headers.erase(headers.find(name.c_str()));
  }
}

// Of several cookies of one name the first counts here and the last in the jar; one that cannot be
// read is left out, one that the server deletes is not reported. The bytes stay as they are, so
// that a message that sends them back sends what the server has set.
map_t ResponseMapping::takeCookies(const ResponseHead& head) const {
  map_t cookies;
  for (const HeaderField& field : head.fields()) {
    if (!ascii::equalsIgnoringCase(field.name, "set-cookie")) continue;
    auto cookie = SetCookie::parse(field.value);
    if (!cookie) continue;
    if (!cookie->isDeletion()) cookies.insert(data_t(cookie->name), data_t(cookie->value));
    jar_.update(std::move(*cookie));
  }
  return cookies;
}

void ResponseMapping::trace(const ResponseHead& head, const data_t& body) const {
  if (!logger_.enabled(LogLevel::Trace)) return;
  for (const HeaderField& field : head.fields()) {
    logger_.log(LogLevel::Trace, "   response header %s = %s", field.name.data(),
                field.value.data());
  }
  const std::string text = get<buffer_t>(body).empty() ? "<no payload>" : valueText(body);
  logger_.log(LogLevel::Trace, "   response payload: %s", text);
}

// Of several fields the last counts.
void ResponseMapping::setContentType(map_t& metadata, const ResponseHead& head) {
  std::string_view header;
  for (const HeaderField& field : head.fields()) {
    if (ascii::equalsIgnoringCase(field.name, "content-type")) header = field.value;
  }
  if (header.empty()) return;
  if (header != contentType_.header) {
    const Poco::Net::MediaType type(utf8Text(header));
    contentType_.header.clear();  // until the rest belongs to it
    contentType_.type.assign(type.getType()).append("/").append(type.getSubType());
    ascii::lower(contentType_.type);
    contentType_.hasCharset = type.hasParameter("charset");
    if (contentType_.hasCharset) contentType_.charset = charsetOf(type);
    contentType_.header = header;
  }
  if (contentType_.hasCharset) metadata.insert(keys_.charset, data_t(contentType_.charset));
  metadata.insert(keys_.contentType, data_t(contentType_.type));
}

Message ResponseMapping::map(const ResponseHead& head, buffer_t body, RequestDetails& details) {
  logger_.log(LogLevel::Trace, "   response status = %I64d", std::int64_t{head.status()});
  std::set<std::string> duplicates;
  Message message;
  message.payload = data_t(std::move(body));
  map_t headers = readHeaders(head, duplicates);
  trace(head, message.payload);
  dropDuplicates(headers, duplicates);

  message.metadata.insert(keys_.requestId, data_t());
  setContentType(message.metadata, head);
  map_t http;
  http.insert(keys_.statusCode, data_t(std::int64_t{head.status()}));
  http.insert(keys_.statusReason, data_t(head.reason().data()));
  http.insert(keys_.method, data_t());
  http.insert(keys_.path, data_t());
  http.insert(keys_.cookies, data_t(takeCookies(head)));
  http.insert(keys_.headers, data_t(std::move(headers)));
  message.metadata.insert(keys_.http, data_t(std::move(http)));

  // Nothing fails from here on. Before, the record has to stay whole for a failure response.
  map_t& placed = get<map_t>(*message.metadata.valueOf(keys_.http));
  *message.metadata.valueOf(keys_.requestId) = std::move(details.requestId);
  *placed.valueOf(keys_.method) = std::move(details.method);
  *placed.valueOf(keys_.path) = std::move(details.path);
  return message;
}

Message ResponseMapping::mapFailure(const char* text) const {
  Message message;
  message.payload = bufferOf(text);
  map_t http;
  http.insert(keys_.statusCode, data_t(std::int64_t{kFailureStatus}));
  http.insert(keys_.statusReason, data_t(text));
  http.insert(keys_.method, data_t(""));
  http.insert(keys_.path, data_t(""));
  message.metadata.insert(keys_.requestId, data_t());
  message.metadata.insert(keys_.charset, data_t("utf-8"));
  message.metadata.insert(keys_.contentType, data_t("text/plain"));
  message.metadata.insert(keys_.http, data_t(std::move(http)));
  return message;
}

void ResponseMapping::address(Message& failure, data_t&& requestId, data_t&& method,
                              data_t&& path) const noexcept {
  map_t& http = get<map_t>(*failure.metadata.valueOf(keys_.http));
  *failure.metadata.valueOf(keys_.requestId) = std::move(requestId);
  if (!method.isEmpty()) *http.valueOf(keys_.method) = std::move(method);
  if (!path.isEmpty()) *http.valueOf(keys_.path) = std::move(path);
}

}  // namespace com::corvane::connectivity::plugins
