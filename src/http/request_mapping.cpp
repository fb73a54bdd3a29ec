#include "http/request_mapping.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "http/ascii.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using connectivity10_15_0::parseText;

namespace {

// A value that the message owns is moved; a borrowed string, or a container that may hold some, is
// copied, because it has to outlive the message.
data_t take(data_t& value) {
  return value.tag() <= KEL_TAG_STRING ? std::move(value) : value.copy();
}

bool hasContent(const data_t& payload) {
  if (payload.tag() == KEL_TAG_BUFFER) return get<buffer_t>(payload).size() > 0;
  if (payload.tag() == KEL_TAG_MAP) return !get<map_t>(payload).empty();
  return false;
}

data_t takeString(map_t& http, const MapKey& key, const char* absent, const char* otherKind) {
  data_t* const value = http.valueOf(key);
  if (value == nullptr) throw std::runtime_error(absent);
  if (!value->isString()) throw std::runtime_error(otherKind);
  return take(*value);
}

// A name that would end before its end, or be read as another one, must not reach the wire. The
// text ends with what is wrong: behind a colon may stand a credential.
void checkName(const std::string& name) {
  const auto isBreaking = [](char c) { return (c >= 0 && c <= ' ') || c == '\x7F' || c == ':'; };
  const auto breaking = std::find_if(name.begin(), name.end(), isBreaking);
  if (!name.empty() && breaking == name.end()) return;
  const std::string shown(name.begin(), breaking == name.end() ? breaking : breaking + 1);
  throw std::runtime_error("Invalid HTTP header name: \"" + shown + "\"");
}

}  // namespace

std::string textOf(const data_t& value) {
  switch (value.tag()) {
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      return get<const char*>(value);
    case KEL_TAG_BOOLEAN:
    case KEL_TAG_INTEGER:
    case KEL_TAG_DOUBLE:
      return parseText(value);
    default:
      return get<const char*>(value);  // raises
  }
}

std::string withoutLineBreaks(std::string text) {
  std::erase_if(text, [](char c) { return c == '\n' || c == '\r'; });
  return text;
}

TextMap RequestMapping::readHeaders(map_t& http, std::vector<std::string>& duplicates) const {
  TextMap headers;
  constexpr std::size_t kContentHeaders = 3;
  data_t* const found = http.valueOf(keys_.headers);
  if (found == nullptr) {
    headers.reserve(kContentHeaders);
    return headers;
  }
  map_t& entries = get<map_t>(*found);
  headers.reserve(entries.size() + kContentHeaders);
  for (auto& entry : entries) {
    std::string name = withoutLineBreaks(textOf(entry.key()));
    checkName(name);
    ascii::lower(name);
    std::string value = withoutLineBreaks(textOf(entry.value()));
    if (name == "content-encoding") {
      std::erase_if(value, ascii::isSpace);
      if (value.empty()) value = "identity";
    }
    if (headers.contains(name)) {
      duplicates.push_back(std::move(name));
    } else {
      headers.insert(std::move(name), std::move(value));
    }
  }
  return headers;
}

TextMap RequestMapping::readTexts(map_t& http, const MapKey& key, bool clean) const {
  TextMap texts;
  data_t* const found = http.valueOf(key);
  if (found == nullptr) return texts;
  for (auto& entry : get<map_t>(*found)) {
    std::string name = textOf(entry.key());
    std::string value = textOf(entry.value());
    if (clean) {
      name = withoutLineBreaks(std::move(name));
      value = withoutLineBreaks(std::move(value));
    }
    texts.assign(std::move(name), std::move(value));
  }
  return texts;
}

void RequestMapping::addContentHeaders(map_t& metadata, const data_t& payload,
                                       TextMap& headers) const {
  const data_t* const contentType = metadata.valueOf(keys_.contentType);
  if (contentType == nullptr) return;  // a charset alone says nothing
  std::string type = withoutLineBreaks(textOf(*contentType));
  ascii::lower(type);
  headers.insert("accept", type);

  const data_t* const charset = metadata.valueOf(keys_.charset);
  if (charset != nullptr) {
    std::string name = withoutLineBreaks(textOf(*charset));
    ascii::lower(name);
    if (name == "utf8") name = "utf-8";
    if (type.starts_with("text/")) type += ";charset=" + name;
    headers.insert("accept-charset", std::move(name));
  }
  if (hasContent(payload)) headers.insert("content-type", std::move(type));
}

data_t RequestMapping::fullPath(data_t& path) const {
  if (settings_.basePath.empty()) return std::move(path);
  return data_t(settings_.basePath + get<const char*>(path));
}

RequestDetails RequestMapping::map(Message& message, double startTime) {
  requestId_ = data_t();
  map_t noHttp;
  data_t* const httpValue = message.metadata.valueOf(keys_.http);
  map_t& http = httpValue == nullptr ? noHttp : get<map_t>(*httpValue);

  data_t* const id = message.metadata.valueOf(keys_.requestId);
  if (id == nullptr) throw std::runtime_error("No request Id");
  requestId_ = take(*id);

  data_t method = takeString(http, keys_.method, "No method", "http.method must be a string");
  data_t path = takeString(http, keys_.path, "No path", "http.path must be a string");

  std::vector<std::string> duplicates;
  TextMap headers = readHeaders(http, duplicates);
  TextMap cookies = readTexts(http, keys_.cookies, true);
  TextMap query = readTexts(http, keys_.queryString, false);

  data_t form;
  data_t* const formValue = http.valueOf(keys_.form);
  if (formValue != nullptr) form = take(*formValue);

  for (const std::string& name : duplicates) {
    logger_.log(LogLevel::Warn,
                "Ignoring HTTP header %s because it was set multiple times (headers are "
                "case-insensitive)",
                name);
    headers.erase(name);
  }
  addContentHeaders(message.metadata, message.payload, headers);

  // The id stays here until the payload has been checked: a failure response needs it.
  RequestDetails details(std::move(message.payload), data_t(), std::move(method), fullPath(path),
                         std::move(headers), std::move(query), std::move(cookies), std::move(form),
                         startTime);
  details.requestId = std::move(requestId_);
  return details;
}

}  // namespace com::corvane::connectivity::plugins
