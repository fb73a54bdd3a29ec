// http/messages.h : request messages for the tests of the HTTP room.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "http/names.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {

/// A map of texts.
inline map_t textMap(std::initializer_list<std::pair<const char*, const char*>> entries) {
  map_t map;
  for (const auto& [name, value] : entries) map.insert(data_t(name), data_t(value));
  return map;
}

inline data_t bufferValue(const std::string& bytes) {
  return data_t(buffer_t::copyOf(bytes.data(), bytes.size()));
}

/// A request message that can be performed as it is, and be spoiled at will.
class RequestMessage {
 public:
  explicit RequestMessage(const char* method = "POST", const char* path = "/path",
                          const std::string& body = "body") {
    http_.insert(data_t("method"), data_t(method));
    http_.insert(data_t("path"), data_t(path));
    metadata_.insert(data_t("requestId"), data_t(std::int64_t{7}));
    payload_ = bufferValue(body);
  }

  RequestMessage& metadata(const char* key, data_t value) {
    return set(metadata_, key, std::move(value));
  }
  RequestMessage& http(const char* key, data_t value) { return set(http_, key, std::move(value)); }
  RequestMessage& header(const char* name, data_t value) {
    return set(headers_, name, std::move(value));
  }
  RequestMessage& payload(data_t value) {
    payload_ = std::move(value);
    return *this;
  }
  RequestMessage& without(const char* key) {
    for (map_t* map : {&metadata_, &http_}) {
      const auto found = map->find(key);
      if (found != map->end()) map->erase(found);
    }
    withoutHttp_ = withoutHttp_ || std::string(key) == "http";
    return *this;
  }

  /// The message; this builder is used up.
  Message build() {
    if (!headers_.empty()) http_.insert(data_t("headers"), data_t(std::move(headers_)));
    if (!withoutHttp_) metadata_.insert(data_t("http"), data_t(std::move(http_)));
    Message message;
    message.payload = std::move(payload_);
    message.metadata = std::move(metadata_);
    return message;
  }

 private:
  RequestMessage& set(map_t& map, const char* key, data_t value) {
    const auto found = map.find(key);
    if (found != map.end()) map.erase(found);
    map.insert(data_t(key), std::move(value));
    return *this;
  }

  map_t metadata_;
  map_t http_;
  map_t headers_;
  data_t payload_;
  bool withoutHttp_ = false;
};

/// The value of a key that must be there.
inline data_t& at(map_t& map, const char* key) {
  const auto found = map.find(key);
  if (found == map.end()) throw std::runtime_error(std::string("no such key: ") + key);
  return found.value();
}

inline std::string textAt(map_t& map, const char* key) {
  return connectivity10_15_0::get<const char*>(at(map, key));
}

inline map_t& mapAt(map_t& map, const char* key) {
  return connectivity10_15_0::get<map_t>(at(map, key));
}

}  // namespace com::corvane::connectivity::plugins
