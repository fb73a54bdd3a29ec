#include "model/iterator_checks.h"

#include <cstdlib>
#include <stdexcept>

namespace com::corvane::connectivity10_15_0::iterator_checks {

void fail(const char* text) {
  if (std::getenv("OV_SKIP_DATA_T_ITERATOR_CHECKS") == nullptr) throw std::runtime_error(text);
}

}  // namespace com::corvane::connectivity10_15_0::iterator_checks
