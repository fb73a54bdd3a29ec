#include "model/list.h"

#include <stdexcept>

#include "kel/host_values.h"
#include "model/iterator_checks.h"

namespace com::corvane::connectivity10_15_0 {

list_t& list_t::operator=(list_t&& other) noexcept {
  kel_free_vector(std::exchange(block_, other.release()));
  return *this;
}

list_t::~list_t() { kel_free_vector(block_); }

list_t list_t::adopt(list_block* block) noexcept {
  list_t result;
  result.block_ = block;
  return result;
}

list_t list_t::copy() const {
  kel_data whole{};
  whole.tag = KEL_TAG_LIST;
  whole.payload.list = block_;
  return adopt(kel_copy_data(whole).payload.list);
}

const data_t& list_t::operator[](std::uint64_t index) const {
  if (index >= size()) throw std::runtime_error("Out of bounds");
  return elements()[index];
}

void list_t::const_iterator::check() const {
  if (owner_->size() != count_) iterator_checks::fail(iterator_checks::kListModified);
}

const data_t& list_t::const_iterator::operator*() const {
  check();
  if (owner_->block_ == nullptr || index_ >= count_) throw std::runtime_error("Out of bounds");
  return owner_->elements()[index_];
}

list_t::const_iterator& list_t::const_iterator::operator++() {
  check();
  ++index_;
  return *this;
}

bool list_t::const_iterator::operator==(const const_iterator& other) const {
  check();
  other.check();
  return index_ == other.index_;
}

}  // namespace com::corvane::connectivity10_15_0
