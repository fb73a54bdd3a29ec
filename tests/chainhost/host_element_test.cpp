#include "chainhost/host_element.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "chainhost/host_values.h"
#include "chainhost/scarce_memory.h"
#include "support/temp_dir.h"

namespace chainhost {
namespace {

using test_support::ScarceMemory;

class HostElementTest : public testing::Test {
 protected:
  // Hands over one response with this text as its payload.
  void receive(const std::string& payload) {
    kel_message message{Value::buffer(payload).release(), nullptr};
    HostElement::receive(&element_, &message, &message + 1);
    releaseMessage(message);
  }

  std::string written() {
    output_.finish();
    return test_support::readFile(path_);
  }

  const test_support::TempDir folder_;
  const std::string path_ = folder_.write("output", "");
  const FileDescriptor file_{::open(path_.c_str(), O_WRONLY | O_CLOEXEC)};
  RunState state_;
  OutputWriter output_{file_.get(), [](const std::string& reason) { FAIL() << reason; }};
  HostElement element_{output_, state_};
};

TEST_F(HostElementTest, WritesAndCountsAResponse) {
  state_.countMessages(1);

  receive("answer");

  EXPECT_EQ(written(), "{\"payload\": \"answer\", \"metadata\": {}}\n");
  EXPECT_EQ(state_.unanswered(), 0u);
  EXPECT_EQ(state_.failure(), "");
  EXPECT_GT(element_.lastResponseNanos(), 0);
}

TEST_F(HostElementTest, EndsTheRunForAResponseThatThereIsNoMemoryToWrite) {
  const std::string large(1 << 20, 'x');
  state_.countMessages(2);

  {
    kel_message message{Value::buffer(large).release(), nullptr};
    std::optional<ScarceMemory> scarce(std::in_place, large.size());
    HostElement::receive(&element_, &message, &message + 1);
    scarce.reset();
    releaseMessage(message);
  }
  receive("next");

  EXPECT_EQ(state_.failure(), "cannot write a response: std::bad_alloc");
  EXPECT_EQ(state_.unanswered(), 0u);
  EXPECT_EQ(written(), "{\"payload\": \"next\", \"metadata\": {}}\n");
}

}  // namespace
}  // namespace chainhost
