#include "bench/comparison/processor.h"

#include <sched.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace bench {

void useProcessor(int number) {
  if (number < 0) return;
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(static_cast<std::size_t>(number), &processors);
  if (::sched_setaffinity(0, sizeof processors, &processors) != 0) {
    throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
  }
}

}  // namespace bench
