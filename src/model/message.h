// model/message.h : the unit that travels along the chain: a body, and what is said of it.
//
// Threads:   belongs to one thread at a time.
// Ownership: owns both; releasing a message releases both through the host.
// Invariants: 24 bytes, byte for byte the host's kel_message.
#pragma once

#include <string>
#include <type_traits>

#include "kel/types.h"
#include "model/buffer.h"
#include "model/data.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

struct Message {
  data_t payload;
  map_t metadata;
};

static_assert(sizeof(Message) == sizeof(kel_message) && std::is_standard_layout_v<Message>);

/// "Message<metadata=..., payload=...>" in the host's texts. A payload text of more than 200 bytes
/// is cut to 196 and " ..." if `shorten` is set; then its line feeds and carriage returns are
/// written as \n and \r.
std::string toText(const Message& message, bool shorten);

}  // namespace com::corvane::connectivity10_15_0
