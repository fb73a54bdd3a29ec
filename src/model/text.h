// model/text.h : values as text, in the host's form and in the plugin's own.
//
// Threads: one thread at a time for one value.
// Errors:  hostText: the typed-access error for a string when the host gives no text. valueText:
//          the iterator texts of map_t and list_t.
#pragma once

#include <string>

#include "model/data.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

/// The host's text of a value (kel_data_to_string).
std::string hostText(const data_t& value);

/// The same of a map, shown to the host without copying it.
std::string hostText(const map_t& map);

/// The plugin's own compact form: [1,a] for a list, {k:v,m:w} for a map in slot order, [0x01,0xff]
/// for a buffer, "(null)" for empty, "(custom)"; nothing is quoted or escaped.
std::string valueText(const data_t& value);
std::string valueText(const map_t& map);

}  // namespace com::corvane::connectivity10_15_0
