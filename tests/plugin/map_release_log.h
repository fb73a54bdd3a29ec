// plugin/map_release_log.h : which map blocks are given to kel_free_map, for programs linked with
// --wrap=kel_free_map.
#pragma once

#include <functional>

#include "kel/types.h"

namespace test_support {

/// Is told of each call of kel_free_map, before the block goes. One at a time; one thread.
class MapReleaseLog {
 public:
  explicit MapReleaseLog(std::function<void(const map_block*)> listener);
  ~MapReleaseLog();
  MapReleaseLog(const MapReleaseLog&) = delete;
  MapReleaseLog& operator=(const MapReleaseLog&) = delete;
};

}  // namespace test_support
