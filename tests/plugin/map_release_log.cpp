#include "plugin/map_release_log.h"

#include <utility>

namespace {

std::function<void(const map_block*)> releaseListener;

}  // namespace

namespace test_support {

MapReleaseLog::MapReleaseLog(std::function<void(const map_block*)> listener) {
  releaseListener = std::move(listener);
}

MapReleaseLog::~MapReleaseLog() { releaseListener = nullptr; }

}  // namespace test_support

// The linker sends every call of kel_free_map here, and calls of __real_kel_free_map to the host.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): its names, not ours
extern "C" {

void __real_kel_free_map(map_block* block);

void __wrap_kel_free_map(map_block* block) {
  if (releaseListener) releaseListener(block);
  __real_kel_free_map(block);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
