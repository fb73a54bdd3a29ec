// abi/laid_out_values.h : values as a host lays them out in its own blocks.
//
// Ownership: the result is the caller's. What is given to another value is that one's.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "kel/types.h"

namespace test_support {

kel_data rawValue(std::int32_t tag, std::uint64_t bits);
kel_data integerValue(std::int64_t value);
kel_data doubleValue(double value);
kel_data textValue(const char* text);
kel_data bufferValue(std::string_view bytes);
kel_data listValue(std::initializer_list<kel_data> elements);

/// Entries stand where the host's hashes and linear probing lead them.
kel_data mapValue(std::initializer_list<std::pair<const char*, kel_data>> entries);

/// What it holds is the host's; this one holds nothing.
kel_data customValue();

}  // namespace test_support
