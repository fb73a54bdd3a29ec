#include "fuzz/fuzz_host.h"

#include <cstdarg>
#include <utility>

#include "kel/host_services.h"
#include "kelhost/log_format.h"

namespace fuzz {

namespace {

constexpr std::size_t kLinesMax = 1000;

std::int32_t logLevel = 3;
std::vector<std::string> logLines;
char statusItem;  // what every handle points to

}  // namespace

void setLogLevel(std::int32_t level) { logLevel = level; }

std::vector<std::string> takeLogLines() { return std::exchange(logLines, {}); }

}  // namespace fuzz

extern "C" {

std::int32_t kel_get_log_level(const char*) { return fuzz::logLevel; }

void kel_log_at(const char*, std::int32_t, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  std::string line = kelhost::formatLine(format, values);
  va_end(values);
  if (fuzz::logLines.size() < fuzz::kLinesMax) fuzz::logLines.push_back(std::move(line));
}

void* kel_create_user_status_item(void*, const char*, const char*) { return &fuzz::statusItem; }
void kel_set_user_status_item(void*, const char*) {}
void kel_delete_user_status_item(void*, void*) {}
void kel_set_user_status_map(void*, map_block*) {}

std::int32_t kel_is_host_shutting_down(void*, bool* shuttingDown) {
  *shuttingDown = false;
  return 0;
}

}  // extern "C"
