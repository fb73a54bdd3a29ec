// fuzz/reference_inflate.h : the decoded body of a whole coded one, by zlib in one piece.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

/// gzip: members one after the other, whatever follows the last one ignored. deflate: a zlib
/// stream, else a raw one, whatever follows ignored. Nothing: corrupt or cut short. An empty body
/// decodes to an empty one.
std::optional<std::string> inflatedGzip(std::string_view body);
std::optional<std::string> inflatedDeflate(std::string_view body);

}  // namespace fuzz
