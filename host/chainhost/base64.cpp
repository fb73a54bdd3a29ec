#include "chainhost/base64.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace chainhost {

namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> makeDigits() {
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::uint8_t value = 0; value < 64; ++value) {
    digits[static_cast<unsigned char>(alphabet[value])] = value;
  }
  return digits;
}

constexpr std::array<std::uint8_t, 256> kDigits = makeDigits();

}  // namespace

void appendBase64(TextBuffer& out, std::string_view bytes) {
  // The encoder counts in int and writes a NUL behind the text: pieces of whole triples.
  constexpr std::size_t kPieceBytes = 3 << 20;
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, std::min(bytes.size(), kPieceBytes));
    bytes.remove_prefix(piece.size());
    const std::size_t textBytes = (piece.size() + 2) / 3 * 4;
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.room(textBytes + 1)),
                    reinterpret_cast<const unsigned char*>(piece.data()),
                    static_cast<int>(piece.size()));
    out.take(textBytes);
  }
}

// Written here because the decoders at hand skip blanks and accept unused bits that are not zero.
std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) {
    return std::nullopt;
  }
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') {
    ++padding;
  }
  std::string out;
  out.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (const char character : text.substr(0, text.size() - padding)) {
    const std::uint8_t digit = kDigits[static_cast<unsigned char>(character)];
    if (digit == kNoDigit) {
      return std::nullopt;
    }
    bits = (bits << 6 | digit) & 0xFFFF;
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      out.push_back(static_cast<char>(bits >> bitCount & 0xFF));
    }
  }
  if ((bits & ((1U << bitCount) - 1)) != 0) {
    return std::nullopt;
  }
  return out;
}

}  // namespace chainhost
