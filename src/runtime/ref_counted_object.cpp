#include "runtime/ref_counted_object.h"

#ifndef NDEBUG
#include <cstdio>
#include <cstdlib>
#endif

namespace com::orvex {

RefCountedObject::RefCountedObject() = default;

RefCountedObject::~RefCountedObject() = default;

void RefCountedObject::addRef(const char* /*label*/) {
  references_.fetch_add(1, std::memory_order_relaxed);
}

void RefCountedObject::dropRef([[maybe_unused]] const char* label) {
  // Released by each holder and acquired by the last, so that its deleting comes after all uses.
  const std::int64_t before = references_.fetch_sub(1, std::memory_order_acq_rel);
#ifndef NDEBUG
  if (before <= 0) {
    std::fprintf(stderr, "Reference given back that nobody holds: \"%s\"\n", label);
    std::abort();
  }
#endif
  if (before == 1) delete this;
}

bool RefCountedObject::isReferenced() const {
  return references_.load(std::memory_order_relaxed) > 0;
}

}  // namespace com::orvex
