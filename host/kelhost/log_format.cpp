#include "kelhost/log_format.h"

#include <cinttypes>
#include <cstdio>
#include <string_view>

namespace kelhost {
namespace {

struct Conversion {
  std::string_view host;  // behind the "%"
  std::string_view printf;
};

constexpr Conversion kConversions[] = {{"s", "s"},       {"d", "d"},       {"%", "%"},
                                       {"I32d", PRId32}, {"I64d", PRId64}, {"I64u", PRIu64}};

}  // namespace

std::optional<std::string> translateFormat(const char* format) {
  std::string result;
  std::string_view rest(format);
  while (true) {
    const std::size_t percent = rest.find('%');
    result += rest.substr(0, percent);
    if (percent == std::string_view::npos) return result;
    rest.remove_prefix(percent + 1);
    const Conversion* known = nullptr;
    for (const Conversion& conversion : kConversions) {
      if (rest.starts_with(conversion.host)) known = &conversion;
    }
    if (known == nullptr) return std::nullopt;
    result += '%';
    result += known->printf;
    rest.remove_prefix(known->host.size());
  }
}

std::string formatLine(const char* format, std::va_list values) {
  const auto translated = translateFormat(format);
  if (!translated) return format;
  char line[512];  // nearly every line fits; a longer one is formatted a second
                   // time
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(line, sizeof(line), translated->c_str(), values);
  std::string text;
  if (length < 0) {
    text = format;
  } else if (static_cast<std::size_t>(length) < sizeof(line)) {
    text.assign(line, static_cast<std::size_t>(length));
  } else {
    text.resize(static_cast<std::size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, translated->c_str(), again);
  }
  va_end(again);
  return text;
}

}  // namespace kelhost
