// runtime/ref_counted_object.h : an object that lives as long as somebody holds a reference to it.
//
// Threads:   any thread.
// Ownership: shared by those that hold a reference. Made with new, with no reference; whoever makes
//            it takes the first one. Giving back the last reference deletes it, on that thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "runtime/export.h"

namespace com::orvex {

class OV_EXPORT RefCountedObject {
 public:
  RefCountedObject();
  RefCountedObject(const RefCountedObject&) = delete;
  RefCountedObject& operator=(const RefCountedObject&) = delete;

  /// Deletes the object whatever its references: for an object that never had one.
  virtual ~RefCountedObject();

  /// Takes one more reference. The label says who holds it, for people who look for the holder of a
  /// reference in a debugger; it is not kept.
  virtual void addRef(const char* label);

  /// Gives back one reference; with the last one, deletes the object. In a debug build, giving back
  /// a reference that nobody holds ends the process with a line that names the label.
  virtual void dropRef(const char* label);

  /// Whether anybody holds a reference. True is reliable only for one who holds one.
  bool isReferenced() const;

 private:
  std::atomic<std::int64_t> references_ = 0;
};

/// Holds one reference to an object, or none. One thread at a time may use it.
template <typename T>
class RefPtr {
 public:
  RefPtr() = default;
  explicit RefPtr(T* object) : object_(object) {
    if (object_ != nullptr) object_->addRef(kLabel);
  }
  RefPtr(const RefPtr& other) : RefPtr(other.object_) {}
  RefPtr(RefPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  RefPtr& operator=(RefPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~RefPtr() {
    if (object_ != nullptr) object_->dropRef(kLabel);
  }

  /// Gives back the reference it holds, then holds one to `object`, or none.
  void reset(T* object = nullptr) { *this = RefPtr(object); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const RefPtr& other) const { return object_ == other.object_; }
  bool operator==(std::nullptr_t) const { return object_ == nullptr; }

 private:
  static constexpr const char* kLabel = "RefPtr";

  T* object_ = nullptr;
};

}  // namespace com::orvex
