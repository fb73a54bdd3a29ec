// bench/checksum.h : a number that tells whose a body is and whether it is whole.
//
// Role:      no cryptography: it finds what goes wrong by accident, at some bytes a cycle.
// Threads:   no state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

/// Depends on every byte, on their order, on their number, and on the id.
std::uint64_t checksum(std::uint64_t id, std::string_view body);

/// 16 hexadecimal digits, as in the header "x-checksum".
std::string checksumText(std::uint64_t id, std::string_view body);

}  // namespace bench
