// model/prefetch.h : fetches a message that another thread has made into the processor's cache.
#pragma once

#include "model/message.h"

namespace com::corvane::connectivity10_15_0 {

/// Tells the processor what is going to be read of a message: its metadata with the texts and the
/// maps in it, and the beginning of a buffer. Else each of these reads waits for memory by itself.
/// Changes nothing.
void prefetch(const Message& message) noexcept;

}  // namespace com::corvane::connectivity10_15_0
