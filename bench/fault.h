// bench/fault.h : what the server does to an answer, and when.
//
// Threads:   no state that changes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

enum class Fault : std::uint8_t {
  None,
  // The answer arrives whole all the same.
  Delayed,            // some milliseconds late
  InPieces,           // many small writes
  Interim,            // behind a 103
  Chunked,            // in chunks
  Trailers,           // in chunks, with fields behind the last one
  Gzipped,            // compressed
  UntilClose,         // without a length: the end of the connection is its end
  AskToClose,         // "Connection: close"
  CloseAfterAnswer,   // closes a connection that was to be kept, without a word
  ResetAfterAnswer,   // the same, hard, once the peer has gone on
  ServerError,        // 503
  Redirect,           // 307 to the same place
  EarlyAnswer,        // 413 before the body has been read, which is read then
  EarlyAnswerThenGo,  // the same, and the body is never read
  // The attempt is lost before the head of an answer.
  CloseBeforeAnswer,
  ResetBeforeAnswer,
  ResetInUpload,
  CutInHead,
  Garbage,
  // The answer is lost behind its head.
  CutInBody,
  CutInChunk,
  NoLastChunk,
  ResetInBody,
  BadLength,
  BadChunkSize,
  DamagedGzip,
};
constexpr std::size_t kFaults = static_cast<std::size_t>(Fault::DamagedGzip) + 1;

const char* nameOf(Fault fault);

/// Decides by the request's id and the number of the attempt, counted from 0, alone.
class FaultSchedule {
 public:
  /// `percent` of the attempts meet a fault, every kind as often as the others.
  FaultSchedule(std::uint64_t seed, double percent) : seed_(seed), share_(percent / 100) {}

  Fault at(std::uint64_t id, unsigned attempt) const;

 private:
  std::uint64_t seed_;
  double share_;
};

}  // namespace bench
