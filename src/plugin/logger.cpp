#include "plugin/logger.h"

#include <utility>

namespace com::corvane::connectivity10_15_0 {

Logger::Logger(std::string category)
    : category_(std::move(category)), level_(kel_get_log_level(category_.c_str())) {}

}  // namespace com::corvane::connectivity10_15_0
