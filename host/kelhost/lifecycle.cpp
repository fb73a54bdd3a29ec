// kelhost/lifecycle.cpp : which hosts are going down.
#include <mutex>
#include <set>

#include "kel/host_control.h"
#include "kel/host_services.h"

namespace {

struct Hosts {
  std::mutex mutex;
  std::set<void*> goingDown;
};

// Never destroyed: workers of plugins may ask until the process ends.
Hosts& hosts() {
  static Hosts& instance = *new Hosts;
  return instance;
}

}  // namespace

extern "C" {

int32_t kel_is_host_shutting_down(void* host_handle, bool* shutting_down) {
  const std::lock_guard lock(hosts().mutex);
  *shutting_down = hosts().goingDown.contains(host_handle);
  return 0;
}

void kel_host_set_shutting_down(void* host_handle, bool shutting_down) {
  const std::lock_guard lock(hosts().mutex);
  if (shutting_down) {
    hosts().goingDown.insert(host_handle);
  } else {
    hosts().goingDown.erase(host_handle);
  }
}

}  // extern "C"
