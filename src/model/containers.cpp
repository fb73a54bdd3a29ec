#include <cstring>
#include <stdexcept>

#include "kel/host_values.h"
#include "model/buffer.h"
#include "model/custom.h"
#include "model/iterator_checks.h"
#include "model/list.h"

namespace com::corvane::connectivity10_15_0 {

// ---- list_t

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

// ---- buffer_t

buffer_t::buffer_t(std::uint64_t length) : block_(kel_allocate_buffer(length)) {}

buffer_t& buffer_t::operator=(buffer_t&& other) noexcept {
  kel_free_buffer(std::exchange(block_, other.release()));
  return *this;
}

buffer_t::~buffer_t() { kel_free_buffer(block_); }

buffer_t buffer_t::copyOf(const void* bytes, std::size_t length) {
  buffer_t result(length);
  if (length > 0) std::memcpy(result.data(), bytes, length);
  return result;
}

buffer_t buffer_t::adopt(buffer_block* block) noexcept {
  buffer_t result;
  result.block_ = block;
  return result;
}

unsigned char* buffer_t::data() noexcept {
  return block_ == nullptr ? nullptr : reinterpret_cast<unsigned char*>(block_ + 1);
}

const unsigned char* buffer_t::data() const noexcept {
  return block_ == nullptr ? nullptr : reinterpret_cast<const unsigned char*>(block_ + 1);
}

unsigned char& buffer_t::at(std::uint64_t index) {
  if (index >= size()) throw std::runtime_error("Out of bounds");
  return data()[index];
}

unsigned char buffer_t::at(std::uint64_t index) const {
  if (index >= size()) throw std::runtime_error("Out of bounds");
  return data()[index];
}

// ---- custom_t

custom_t& custom_t::operator=(custom_t&& other) noexcept {
  kel_free_custom(std::exchange(block_, other.release()));
  return *this;
}

custom_t::~custom_t() { kel_free_custom(block_); }

custom_t custom_t::adopt(custom_block* block) noexcept {
  custom_t result;
  result.block_ = block;
  return result;
}

}  // namespace com::corvane::connectivity10_15_0
