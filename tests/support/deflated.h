// support/deflated.h : text in the formats that content codings name.
//
// Threads: any thread; no state.
// Errors:  std::runtime_error when zlib refuses.
#pragma once

#include <string>

namespace test_support {

enum class DeflateFormat { Gzip, Zlib, Raw };

/// `text` as one gzip member, one zlib stream or one raw deflate stream.
std::string deflated(const std::string& text, DeflateFormat format);

}  // namespace test_support
