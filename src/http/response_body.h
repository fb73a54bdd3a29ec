// http/response_body.h : reads the body of one response and undoes its content coding.
//
// Role:      the executor calls read once a response. A body whose length is known, and that is not
//            large, is received where the host will find it; any other in memory of the worker's.
// Threads:   one worker only.
// Errors:    ResponseReader's and Inflater's, which leave no memory of a large body behind. A
//            coding that is not known is none: the text "Unsupported Media Type: " + coding takes
//            the place of the body, logged at WARN.
#pragma once

#include <memory>

#include "http/body_buffer.h"
#include "http/inflater.h"
#include "http/names.h"
#include "http/response_head.h"
#include "http/response_reader.h"

namespace com::corvane::connectivity::plugins {

class ResponseBody {
 public:
  /// Bytes left behind by a body of which only a part was wanted are read up to this number to
  /// keep the connection; beyond it, a new connection is cheaper.
  static constexpr std::size_t kDrainBytesMax = 1024 * 1024;

  /// A body that is announced as larger is received in the worker's memory: a peer may announce any
  /// length.
  static constexpr std::size_t kDirectBytesMax = BodyBuffer::kKeptBytesMax;

  explicit ResponseBody(const ThreadLogger& logger) : logger_(logger) {}

  /// Reads the body that follows `head`, after which view gives it. Where the connection then
  /// stands, reader.reusable() tells. `hasBody` is false for an answer to HEAD and for the
  /// statuses 204 and 304, whatever their header says.
  void read(const ResponseHead& head, bool hasBody, ResponseReader& reader);

  /// The decoded body; valid until the next call of anything else.
  std::string_view view() const { return isDirect_ ? direct_.view() : body_.view(); }

  /// The decoded body in a buffer of the host's; gives the memory of a large one back. Once a read.
  /// Throws std::bad_alloc; the memory is given back then, too.
  buffer_t take();

  /// Gives the memory of a large body back, of one that nobody takes.
  void drop();

  const Inflater::Input* inputForTest() const { return input_.get(); }

 private:
  void readDecoded(const ResponseHead& head, ResponseReader& reader);
  void readInflated(ContentCoding coding, ResponseReader& reader);
  void readPlain(ResponseReader& reader);
  void readDirect(ResponseReader& reader);
  void replaceUnsupported(std::string_view coding, ResponseReader& reader);

  const ThreadLogger& logger_;
  bool isDirect_ = false;  // where the body is
  buffer_t direct_;
  BodyBuffer body_;
  std::unique_ptr<Inflater::Input> input_;  // of coded bodies; made for the first of them
};

}  // namespace com::corvane::connectivity::plugins
