// http/piece_source.h : a byte source that gives out a fixed text in pieces of a fixed size.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "http/response_reader.h"

namespace com::corvane::connectivity::plugins {

class PieceSource final : public ByteSource {
 public:
  explicit PieceSource(std::string text, std::size_t pieceBytes = 1)
      : text_(std::move(text)), pieceBytes_(pieceBytes) {}

  std::size_t receive(char* buffer, std::size_t length) override {
    const std::size_t count = std::min({length, pieceBytes_, text_.size() - given_});
    std::memcpy(buffer, text_.data() + given_, count);
    given_ += count;
    return count;
  }

 private:
  const std::string text_;
  const std::size_t pieceBytes_;
  std::size_t given_ = 0;
};

}  // namespace com::corvane::connectivity::plugins
