// pieces/samples.h : the request and the response that the benchmarks share.
//
// Role:      a small event as many are: eight header fields and 1 KiB of body each way.
// Ownership: what is returned is the caller's; borrowed texts live as long as the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "http/names.h"
#include "http/request_details.h"

namespace pieces {

inline constexpr std::size_t kBodyBytes = 1024;
inline constexpr std::size_t kHeaders = 8;
inline constexpr std::int64_t kRequestId = 4711;
inline constexpr char kMethod[] = "POST";
inline constexpr char kPath[] = "/plants/7/lines/3/readings";

/// Whether the texts of a message are the message's own, or a host's that has only lent them.
enum class Texts { Owned, Borrowed };

/// A request with kHeaders header fields and a buffer of kBodyBytes.
com::corvane::connectivity::plugins::Message requestMessage(Texts texts);

/// The record that such a message becomes.
com::corvane::connectivity::plugins::RequestDetails requestDetails();

/// The head of a response with status 200 and kHeaders fields, the empty line included. `framing`
/// is the field that tells how the body ends.
std::string responseHead(const std::string& framing);

/// A name as header fields have them, another for every number.
std::string headerName(std::size_t number);

}  // namespace pieces
