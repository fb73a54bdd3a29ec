// http/body_compressor.h : applies the gzip and deflate codings to a request body.
//
// Role:      RequestWriter calls it; the head names the length, so a body is compressed as a whole
//            before anything is sent. The counterpart for responses is Inflater.
// Threads:   any thread; no state.
// Errors:    com::orvex::StreamException "Error processing request stream: Serious I/O error" when
//            the body cannot be read or compressed; std::bad_alloc.
#pragma once

#include <iosfwd>

#include "http/content_coding.h"
#include "http/names.h"
#include "model/buffer.h"

namespace com::corvane::connectivity::plugins {

/// The rest of `body`, compressed at zlib's default level into a buffer of exactly that length. An
/// empty body gives the format's frame around nothing. REQUIRES: coding is Gzip or Deflate.
buffer_t compress(std::istream& body, ContentCoding coding);

}  // namespace com::corvane::connectivity::plugins
