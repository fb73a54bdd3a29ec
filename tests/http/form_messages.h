// http/form_messages.h : form payloads and their metadata for tests.
#pragma once

#include <initializer_list>
#include <utility>

#include "http/messages.h"

namespace com::corvane::connectivity::plugins {

inline map_t fieldMap(const char* name, data_t value) {
  map_t fields;
  fields.insert(data_t(name), std::move(value));
  return fields;
}

/// The form metadata of one field.
inline map_t formOf(const char* field,
                    std::initializer_list<std::pair<const char*, const char*>> metadata) {
  return fieldMap(field, data_t(textMap(metadata)));
}

}  // namespace com::corvane::connectivity::plugins
