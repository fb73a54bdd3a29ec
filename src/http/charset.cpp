#include "http/charset.h"

#include <unicode/ucnv.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "http/ascii.h"
#include "runtime/memory.h"

namespace com::corvane::connectivity::plugins::charset {
namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kLatin1[] = "iso8859-1";

ConvertedText allocate(std::size_t capacityBytes) {
  ConvertedText result(static_cast<char*>(ov_malloc(capacityBytes)));
  if (!result) throw std::runtime_error("Failed to allocate memory");
  return result;
}

}  // namespace

ConvertedText convert(const char* text, const char* from, const char* to,
                      std::size_t capacityBytes) {
  ConvertedText result = allocate(capacityBytes);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_convert(to, from, result.get(), static_cast<std::int32_t>(capacityBytes), text, -1, &status);
  if (U_FAILURE(status)) {
    throw std::runtime_error(std::string("Could not convert argument from ") + from + " to " + to);
  }
  return result;
}

ConvertedText toUtf8(const char* text, const char* from) {
  return convert(text, from, kUtf8, 4 * std::strlen(text) + 8);
}

ConvertedText latin1ToUtf8(const char* text) {
  const std::size_t length = std::strlen(text);
  ConvertedText result = allocate(4 * length + 8);
  char* out = result.get();
  for (std::size_t i = 0; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      *out++ = text[i];
    } else {
      *out++ = static_cast<char>(0xC0 | (byte >> 6));
      *out++ = static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  *out = '\0';
  return result;
}

ConvertedText utf8ToLatin1(const char* text) {
  const std::size_t length = std::strlen(text);
  if (!ascii::isPlain({text, length})) return convert(text, kUtf8, kLatin1, length + 2);
  ConvertedText result = allocate(length + 2);
  std::memcpy(result.get(), text, length + 1);
  return result;
}

}  // namespace com::corvane::connectivity::plugins::charset
