// plugin/logger.h : an element's lines in the host's log.
//
// Role:      tests the level, puts the prefix in front, hands format and values to the host, which
//            formats and writes. Start reading at Logger::log.
// Threads:   constant after construction: any thread, no lock. The host serialises its output.
// Errors:    none. Writing a line allocates nothing, and what the host makes of the line is not
//            examined: an exception that comes out of its log costs that line and nothing else.
//            Only making a logger can run out of memory (std::bad_alloc).
// Invariants: below the level nothing is built and the host is not called.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kel/host_services.h"
#include "plugin/log_format.h"

namespace com::corvane::connectivity10_15_0 {

/// The host's numbers. The plugin itself writes no line at Crit or Fatal.
enum class LogLevel : std::int32_t {
  Crit = 0,
  Fatal = 1,
  Error = 2,
  Warn = 3,
  Info = 4,
  Debug = 5,
  Trace = 6
};

class Logger {
 public:
  /// Asks the host once for the level of the category; later changes there are not seen.
  explicit Logger(std::string category);

  const std::string& category() const { return category_; }

  /// What stands between angle brackets at the start of each line: the category.
  const std::string& prefix() const { return category_; }

  /// The host's level for the category when this was made; negative: nothing is written.
  std::int32_t level() const { return level_; }

  /// Whether lines of a level are written. Ask before preparing costly arguments.
  bool enabled(LogLevel level) const { return static_cast<std::int32_t>(level) <= level_; }

  /// Writes "<prefix> " and the caller's text, if the level is enabled.
  template <typename... Args>
  void log(LogLevel level, LogFormat<Args...> format, const Args&... args) const noexcept {
    if (!enabled(level)) return;
    write(level, LineFormat(kPrefix, format.text()), logArgument(args)...);
  }

  template <typename Arg>
  void info(LogFormat<Arg> format, const Arg& arg) const noexcept {
    log(LogLevel::Info, format, arg);
  }

  template <typename Arg>
  void debug(LogFormat<Arg> format, const Arg& arg) const noexcept {
    log(LogLevel::Debug, format, arg);
  }

  /// As log, for a line of a worker: "<prefix> {clientIndex} " and the caller's text.
  template <typename... Args>
  void logFromThread(std::uint64_t clientIndex, LogLevel level, LogFormat<Args...> format,
                     const Args&... args) const noexcept {
    if (!enabled(level)) return;
    write(level, LineFormat(kThreadPrefix, format.text()), clientIndex, logArgument(args)...);
  }

 private:
  static constexpr std::string_view kPrefix = "<%s> ";
  static constexpr std::string_view kThreadPrefix = "<%s> {%I64u} ";
  static_assert(kThreadPrefix.size() <= LineFormat::kPrefixBytesMax);

  template <typename... Values>
  void write(LogLevel level, const LineFormat& format, Values... values) const noexcept {
    try {
      kel_log_at(category_.c_str(), static_cast<std::int32_t>(level), format.text(),
                 category_.c_str(), values...);
    } catch (...) {
      return;  // the host may be written in a language with exceptions; nothing hangs on a line
    }
  }

  const std::string category_;
  const std::int32_t level_;
};

/// What a worker writes its lines with. Borrows the logger.
class ThreadLogger {
 public:
  ThreadLogger(const Logger& logger, std::uint64_t clientIndex)
      : logger_(logger), clientIndex_(clientIndex) {}

  bool enabled(LogLevel level) const { return logger_.enabled(level); }

  template <typename... Args>
  void log(LogLevel level, LogFormat<Args...> format, const Args&... args) const noexcept {
    logger_.logFromThread(clientIndex_, level, format, args...);
  }

 private:
  const Logger& logger_;
  const std::uint64_t clientIndex_;
};

}  // namespace com::corvane::connectivity10_15_0
