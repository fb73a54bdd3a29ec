// fuzz/fuzz_check.h : how a fuzz target says what it has found.
//
// Role:    an oracle that disagrees with the code ends the program, so that the fuzzer keeps the
//          input and the replay of the corpus fails.
// Threads: any thread.
#pragma once

#include <string>
#include <string_view>

namespace fuzz {

/// Writes "fuzz: WHAT" to the standard error of the program's start and aborts.
[[noreturn]] void fail(const std::string& what);

inline void require(bool holds, const char* what) {
  if (!holds) fail(what);
}

/// The text between quotation marks, with every byte outside of printable ASCII as \xHH.
std::string shown(std::string_view text);

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size);
