// kelhost/log.cpp : log lines on standard error, or to a sink; levels by
// category prefix.
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "kel/host_control.h"
#include "kel/host_services.h"
#include "kelhost/log_format.h"
#include "runtime/platform.h"

namespace {

constexpr std::int32_t kOff = -1;
constexpr std::int32_t kNoSuchLevel = -2;
constexpr std::int32_t kDefaultLevel = 4;
constexpr const char* kLevelNames[] = {"CRIT", "FATAL", "ERROR", "WARN", "INFO", "DEBUG", "TRACE"};
constexpr std::int32_t kLevels = 7;

class Levels {
 public:
  void set(const char* prefix, std::int32_t level) {
    const std::unique_lock lock(mutex_);
    levels_[prefix] = level;
  }

  // The longest prefix wins: of those that fit, the last in the order of their
  // texts.
  std::int32_t of(std::string_view category) const {
    const std::shared_lock lock(mutex_);
    for (auto entry = levels_.rbegin(); entry != levels_.rend(); ++entry) {
      if (category.starts_with(entry->first)) return entry->second;
    }
    return kDefaultLevel;
  }

 private:
  mutable std::shared_mutex mutex_;
  std::map<std::string, std::int32_t> levels_;
};

struct Sink {
  std::mutex mutex;  // held while the sink runs, so that one that was replaced
                     // runs no more
  kel_host_log_sink function = nullptr;
  void* context = nullptr;
};

// Never destroyed: threads of plugins may log until the process ends.
Levels& levels() {
  static Levels& instance = *new Levels;
  return instance;
}

Sink& sink() {
  static Sink& instance = *new Sink;
  return instance;
}

// "2026-01-31T23:59:59.123Z"
std::string timeStamp() {
  const std::int64_t now = com::orvex::Platform::sysTime();
  const std::time_t seconds = static_cast<std::time_t>(now / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + length, sizeof(text) - length, ".%03dZ", static_cast<int>(now % 1000));
  return text;
}

std::string threadName() {
  char name[16] = "";
  pthread_getname_np(pthread_self(), name, sizeof(name));
  return std::string(name) + "/" + std::to_string(::syscall(SYS_gettid));
}

// One record stays one line: what would begin a new one, or steer a terminal,
// is written as \n, \r or \xNN. Tabs stay.
void appendVisible(std::string& line, std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
      line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      line += c;
    }
  }
}

// One call of the system for a line, so that lines of several threads and
// processes do not mix.
void writeToStandardError(const std::string& line) {
  std::size_t written = 0;
  while (written < line.size()) {
    const ssize_t count = ::write(STDERR_FILENO, line.data() + written, line.size() - written);
    if (count < 0 && errno != EINTR) return;  // nobody is left to be told
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace

extern "C" {

int32_t kel_get_log_level(const char* category) { return levels().of(category); }

void kel_log_at(const char* category, int32_t level, const char* format, ...) {
  va_list values;
  va_start(values, format);
  const std::string text = kelhost::formatLine(format, values);
  va_end(values);
  {
    Sink& target = sink();
    const std::lock_guard lock(target.mutex);
    if (target.function != nullptr) {
      target.function(target.context, category, level, text.c_str());
      return;
    }
  }
  const bool isNamed = level >= 0 && level < kLevels;
  std::string line = timeStamp();
  line += ' ';
  line += isNamed ? kLevelNames[level] : std::to_string(level);
  line += " [" + threadName() + "] ";
  appendVisible(line, text);
  line += '\n';
  writeToStandardError(line);
}

void kel_host_set_log_level(const char* prefix, int32_t level) { levels().set(prefix, level); }

int32_t kel_host_log_level_of(const char* name) {
  std::string upper(name);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  if (upper == "OFF") return kOff;
  for (std::int32_t level = 0; level < kLevels; ++level) {
    if (upper == kLevelNames[level]) return level;
  }
  return kNoSuchLevel;
}

void kel_host_set_log_sink(kel_host_log_sink function, void* context) {
  Sink& target = sink();
  const std::lock_guard lock(target.mutex);
  target.function = function;
  target.context = context;
}

}  // extern "C"
