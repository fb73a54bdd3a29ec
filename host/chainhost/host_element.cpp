#include "chainhost/host_element.h"

#include <exception>
#include <string>

#include "chainhost/response_line.h"
#include "runtime/platform.h"

namespace chainhost {

namespace {

// Room that is kept from batch to batch; a rare giant gives its memory back.
constexpr std::size_t kKeptLinesBytesMax = 1 << 20;

}  // namespace

void HostElement::receive(void* self, kel_message* first, kel_message* end) noexcept {
  auto* const element = static_cast<HostElement*>(self);
  try {
    element->writeResponses(first, end);
  } catch (const std::exception& error) {
    element->state_.fail(std::string("cannot write a response: ") + error.what());
  }
  element->state_.countResponses(static_cast<std::uint64_t>(end - first));
}

void HostElement::writeResponses(const kel_message* first, const kel_message* end) {
  const com::orvex::AutoMutex lock(mutex_);
  lines_.clear(kKeptLinesBytesMax);  // of a line that there was no memory for
  for (const kel_message* message = first; message != end; ++message) {
    appendResponseLine(lines_, *message);
    summary_.countResponse(*message);
  }
  output_.append(lines_.view());
  lastResponseNanos_ = com::orvex::Platform::monotonicNanos();
  lines_.clear(kKeptLinesBytesMax);
}

RunSummary HostElement::summary() const {
  const com::orvex::AutoMutex lock(mutex_);
  return summary_;
}

std::int64_t HostElement::lastResponseNanos() const {
  const com::orvex::AutoMutex lock(mutex_);
  return lastResponseNanos_;
}

}  // namespace chainhost
