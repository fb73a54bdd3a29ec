// kelhost/value_text.h : the host's text of a value.
//
// Threads: one thread at a time for one value.
//
// Form: like JSON, for people to read. A string by itself is its characters as
// they are; inside a list or map it stands in quotes, with quotes, backslashes
// and control characters escaped. Empty is "null", an empty list "[]", an empty
// map "{}". A buffer is "<N bytes>", a custom object
// "<custom>". Doubles are the shortest text that reads back the same, decimals
// as decimal64 writes them. Entries of a map come in slot order, separated by
// ", ".
#pragma once

#include <string>

#include "kel/types.h"

namespace kelhost {

std::string valueText(const kel_data& value);

}  // namespace kelhost
