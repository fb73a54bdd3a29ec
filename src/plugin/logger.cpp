#include "plugin/logger.h"

#include <utility>

namespace com::corvane::connectivity10_15_0 {

Logger::Logger(std::string category)
    : category_(std::move(category)),
      prefix_(category_),
      level_(kel_get_log_level(category_.c_str())) {}

std::string Logger::lineFormat(const char* format) { return std::string("<%s> ") + format; }

std::string Logger::threadLineFormat(const char* format) {
  return std::string("<%s> {%I64u} ") + format;
}

}  // namespace com::corvane::connectivity10_15_0
