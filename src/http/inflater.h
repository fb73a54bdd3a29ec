// http/inflater.h : undoes the gzip and deflate codings of a body that is read piece by piece.
//
// Role:      ResponseBody feeds it. gzip: one or more members, one after the other (RFC 1952,
//            section 2.2). deflate: the zlib format (RFC 1950), or a raw deflate stream (RFC 1951),
//            which some servers send under that name. Bytes behind the last stream are ignored.
// Threads:   one worker only.
// Ownership: borrows the source, and the memory that it receives in.
// Errors:    com::orvex::StreamException "Error processing response stream: Serious I/O error" when
//            the stream is corrupt or ends early; std::bad_alloc.
#pragma once

#include <zlib.h>

#include <array>
#include <cstddef>

#include "http/body_buffer.h"
#include "http/content_coding.h"
#include "http/response_reader.h"

namespace com::corvane::connectivity::plugins {

class Inflater {
 public:
  /// What it receives in, of which only what has been received means anything. Too large for the
  /// stack: a frame is touched as a whole.
  using Input = std::array<unsigned char, 16 * 1024>;

  /// REQUIRES: coding is Gzip or Deflate.
  Inflater(ContentCoding coding, ResponseReader& source, Input& input);
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// Appends the decoded body to `target`. A body of no bytes at all decodes to none.
  void inflateTo(BodyBuffer& target);

 private:
  bool need(std::size_t bytes);
  void begin();
  bool beginsAnotherMember();
  void inflateStream(BodyBuffer& target);

  ContentCoding coding_;
  ResponseReader& source_;
  Input& input_;
  z_stream stream_{};
  bool initialised_ = false;
};

}  // namespace com::corvane::connectivity::plugins
