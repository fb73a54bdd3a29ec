// comparison/processor.h : one processor for all threads of a program.
//
// Threads:   one thread only, before it starts others.
// Errors:    std::system_error when the system refuses.
#pragma once

namespace bench {

/// Keeps the calling thread, and those that it starts, on a processor; below 0: on any.
void useProcessor(int number);

}  // namespace bench
