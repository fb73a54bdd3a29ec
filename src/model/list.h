// model/list.h : the host's list, read and released by the plugin, never built or changed.
//
// Threads:   one thread at a time.
// Ownership: owns its block, freed with every element through the host.
// Errors:    std::runtime_error "Iterator invalidated by modifying list", see iterator_checks.h;
//            "Out of bounds" for an element that is not there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "model/data.h"

namespace com::corvane::connectivity10_15_0 {

class list_t {
 public:
  /// A position, valid as long as the element count stays; each use checks that.
  class const_iterator {
   public:
    const data_t& operator*() const;
    const data_t* operator->() const { return &**this; }
    const_iterator& operator++();
    bool operator==(const const_iterator& other) const;

   private:
    friend class list_t;
    const_iterator(const list_t* owner, std::uint64_t index)
        : owner_(owner), count_(owner->size()), index_(index) {}
    void check() const;

    const list_t* owner_;
    std::uint64_t count_;
    std::uint64_t index_;
  };

  list_t() noexcept = default;
  list_t(list_t&& other) noexcept : block_(other.release()) {}
  list_t& operator=(list_t&& other) noexcept;
  ~list_t();

  static list_t adopt(list_block* block) noexcept;
  list_block* release() noexcept { return std::exchange(block_, nullptr); }
  list_block* raw() const noexcept { return block_; }
  list_t copy() const;

  std::uint64_t size() const noexcept { return block_ == nullptr ? 0 : block_->count; }
  bool empty() const noexcept { return size() == 0; }

  /// Throws "Out of bounds".
  const data_t& operator[](std::uint64_t index) const;

  const_iterator begin() const { return {this, 0}; }
  const_iterator end() const { return {this, size()}; }

 private:
  // REQUIRES: there is a block.
  const data_t* elements() const { return reinterpret_cast<const data_t*>(block_ + 1); }

  list_block* block_ = nullptr;
};

static_assert(sizeof(list_t) == 8 && std::is_standard_layout_v<list_t>);

}  // namespace com::corvane::connectivity10_15_0
