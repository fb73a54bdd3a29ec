#include "chainhost/delivery.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "chainhost/report.h"
#include "chainhost/response_line.h"

namespace chainhost {

static_assert(LineReader::kPaddingBytes >= JsonParser::kPaddingBytes);

namespace {

// Room that is kept from refusal to refusal; a key or a name in a text may be very long.
constexpr std::size_t kKeptErrorLineBytesMax = 1 << 20;

bool isEmpty(const kel_message& message) {
  return message.payload.tag == KEL_TAG_EMPTY && message.metadata == nullptr;
}

}  // namespace

Delivery::Delivery(int inputFd, std::string inputName, Plugin& plugin, OutputWriter& output,
                   RunState& state)
    : Thread("delivery"),
      inputFd_(inputFd),
      inputName_(std::move(inputName)),
      plugin_(plugin),
      output_(output),
      state_(state),
      reader_(inputFd) {}

int Delivery::run() {
  std::string failure;
  try {
    deliverInput();
  } catch (const PluginFailure& error) {
    failure = error.what();
  } catch (const std::system_error& error) {
    failure = "cannot read " + inputName_ + ": " + error.code().message();
  } catch (const std::exception& error) {
    failure = std::string("reading ended: ") + error.what();
  }
  batch_.clear();
  state_.endReading(failure);
  return 0;
}

void Delivery::deliverInput() {
  while (waitForInput() && reader_.fill()) {
    deliverLines();
  }
  const auto rest = reader_.takeRest();
  if (!rest || state_.isAbandoned()) {
    return;
  }
  if (state_.isReadingStopped()) {
    report("line " + std::to_string(lineNumber_ + 1) + " of " + inputName_ +
           " was not read to its end and is dropped");
    return;
  }
  addLine(*rest);
  sendBatch();
}

// False: reading is to stop.
bool Delivery::waitForInput() const {
  std::array<pollfd, 2> waited{{{inputFd_, POLLIN, 0}, {state_.stopReadingFd(), POLLIN, 0}}};
  int ready = 0;
  do {
    ready = ::poll(waited.data(), waited.size(), -1);
  } while (ready < 0 && errno == EINTR);
  return waited[1].revents == 0;
}

void Delivery::deliverLines() {
  while (const auto line = reader_.next()) {
    if (state_.isAbandoned()) {
      return;
    }
    addLine(*line);
    if (batch_.size() == kBatchMessagesMax) {
      sendBatch();
    }
  }
  sendBatch();
}

void Delivery::addLine(std::string_view line) {
  ++lineNumber_;
  if (reader_.fault() != nullptr) {
    refuse(reader_.fault(), lineNumber_);
    return;
  }
  try {
    batchLines_.reserve(batch_.size() + 1);
    parser_.parse(line, batch_);
    batchLines_.push_back(lineNumber_);
  } catch (const JsonError& error) {
    refuse(error.what(), lineNumber_);
  } catch (const std::bad_alloc&) {
    refuse(LineReader::kNoMemory, lineNumber_);
  }
}

void Delivery::sendBatch() {
  if (batch_.empty()) {
    return;
  }
  state_.countMessages(batch_.size());
  if (!plugin_.send(batch_.begin(), batch_.end())) {
    takeBackBatch();
    throw PluginFailure("the transport's sendBatchTowardsTransport failed");
  }
  batch_.clear();
  batchLines_.clear();
}

// After a failure of the transport: what it did not take is answered here.
void Delivery::takeBackBatch() {
  std::uint64_t left = 0;
  auto lineNumber = batchLines_.begin();
  for (const kel_message& message : batch_) {
    if (!isEmpty(message)) {
      ++left;
      refuse("the transport did not take the message", *lineNumber);
    }
    ++lineNumber;
  }
  state_.takeBackMessages(left);
}

void Delivery::refuse(std::string_view reason, std::uint64_t lineNumber) {
  state_.countRefusedLine();
  errorLine_.clear(kKeptErrorLineBytesMax);
  appendErrorLine(errorLine_, reason, lineNumber);
  output_.append(errorLine_.view());
}

}  // namespace chainhost
