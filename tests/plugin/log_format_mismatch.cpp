// Compiled by tests only, with CASE set: every case but the first is a mistake that the compiler
// must find.
#include <cstdint>
#include <string>

#include "plugin/logger.h"

namespace com::corvane::connectivity10_15_0 {

void write(const Logger& logger, const ThreadLogger& worker, const std::string& text) {
#if CASE == 0
  logger.log(LogLevel::Warn, "%s %d", text, 1);
  logger.info("%I64d", std::int64_t{1});
  logger.debug("%s", text);
  logger.logFromThread(1, LogLevel::Warn, "%I64u", std::uint64_t{1});
  worker.log(LogLevel::Warn, "%s", "text");
#elif CASE == 1
  logger.log(LogLevel::Warn, "%s %d", text, std::int64_t{1});
#elif CASE == 2
  logger.info("%I64d", 1);
#elif CASE == 3
  logger.debug("no conversion", text);
#elif CASE == 4
  logger.logFromThread(1, LogLevel::Warn, "%I64u", 1u);
#elif CASE == 5
  worker.log(LogLevel::Warn, "%s");
#elif CASE == 6
  logger.log(LogLevel::Warn, text.c_str());  // a composed text is not a format
#endif
  static_cast<void>(logger);
  static_cast<void>(worker);
  static_cast<void>(text);
}

}  // namespace com::corvane::connectivity10_15_0
