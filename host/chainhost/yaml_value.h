// chainhost/yaml_value.h : turns a YAML document into host values.
//
// Role:      plain scalars become the kinds of YAML's core schema (null, boolean, integer,
//            float), quoted and block scalars strings; the tags !!str, !!int, !!float, !!bool and
//            !!null choose the kind themselves. A decimal integer beyond 64 bits becomes a double.
//            A key is taken as its text. Maps with the only key "$decimal" or "$base64" stand for
//            the same kinds as in JSON.
// Threads:   caller locks.
// Errors:    YamlError, "line N: " and the reason:
//            the syntax errors in the library's words; the key "KEY" occurs twice; a key must be
//            a scalar; a string must not contain U+0000; the tag "TAG" is not known; "TEXT" is no
//            integer (float, boolean, null); it is nested too deeply; and those of specialValue.
//            Without a line: there is more than one document; it must be a map.
// Limits:    200 levels of nesting.
#pragma once

#include <stdexcept>
#include <string>

#include "chainhost/host_values.h"

namespace chainhost {

class YamlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The map that the only document of `text` holds.
Map parseYamlMap(const std::string& text);

}  // namespace chainhost
