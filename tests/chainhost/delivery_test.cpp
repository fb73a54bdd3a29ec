#include "chainhost/delivery.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "chainhost/host_element.h"
#include "chainhost/host_values.h"
#include "chainhost/scarce_memory.h"
#include "support/temp_dir.h"

namespace chainhost {
namespace {

class DeliveryTest : public testing::Test {
 protected:
  DeliveryTest() {
    plugin_.setNextTowardsHost(&element_, &HostElement::receive);
    plugin_.start();
  }
  ~DeliveryTest() override { plugin_.shutdown(); }

  FileDescriptor input(const std::string& lines) {
    const std::string path = folder_.write("input", lines);
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  }

  // Delivers on the test's thread. Memory comes in pieces of less than `memoryBytes` meanwhile.
  void deliver(int inputFd, std::size_t memoryBytes = std::string::npos) {
    const com::orvex::RefPtr<Delivery> delivery(
        new Delivery(inputFd, "the input", plugin_, output_, state_));
    const test_support::ScarceMemory scarce(memoryBytes);
    delivery->run();
  }

  std::string written() {
    output_.finish();
    return test_support::readFile(outputPath_);
  }

  const test_support::TempDir folder_;
  const std::string outputPath_ = folder_.write("output", "");
  const FileDescriptor outputFile_{::open(outputPath_.c_str(), O_WRONLY | O_CLOEXEC)};
  RunState state_;
  OutputWriter output_{outputFile_.get(), [](const std::string& reason) { FAIL() << reason; }};
  HostElement element_{output_, state_};
  const Value config_ = Value::map(Map());
  const PluginLibrary library_{TEST_PLUGIN_FOLDER "/faultless.so", "HTTPClient"};
  Plugin plugin_{library_, "name", "chain", config_.raw(), &state_, &state_};
};

TEST_F(DeliveryTest, DeliversEveryLine) {
  const FileDescriptor file = input("{\"payload\": \"a\"}\n{\"payload\": \"b\"}");

  deliver(file.get());

  EXPECT_EQ(state_.failure(), "");
  EXPECT_EQ(state_.messages(), 2u);
  EXPECT_EQ(written(),
            "{\"payload\": \"a\", \"metadata\": {}}\n{\"payload\": \"b\", \"metadata\": {}}\n");
}

TEST_F(DeliveryTest, AnswersALineThatThereIsNoMemoryFor) {
  constexpr std::size_t kBytes = 4 << 20;
  const FileDescriptor file = input("{\"payload\": \"" + std::string(kBytes, 'x') + "\"}\n");

  deliver(file.get(), kBytes);

  EXPECT_EQ(state_.failure(), "");
  EXPECT_EQ(state_.messages(), 0u);
  EXPECT_EQ(written(), "{\"error\": \"there is no memory for the line\", \"line\": 1}\n");
}

TEST_F(DeliveryTest, EndsTheReadingOfWhatCannotBeRead) {
  const FileDescriptor folder(::open(folder_.path().c_str(), O_RDONLY | O_CLOEXEC));

  deliver(folder.get());

  EXPECT_EQ(state_.failure(), "cannot read the input: Is a directory");
}

TEST_F(DeliveryTest, EndsTheReadingWhenNotEvenARefusalHasMemory) {
  const FileDescriptor file = input("no message\n{\"payload\": \"a\"}\n");

  deliver(file.get(), 48);

  EXPECT_EQ(state_.failure(), "reading ended: std::bad_alloc");
  EXPECT_EQ(state_.messages(), 0u);
  EXPECT_EQ(written(), "");
}

// The plugin answers while it is delivered to, and there is no memory for the lines of the answers.
TEST_F(DeliveryTest, SendsNothingMoreOnceTheRunHasFailed) {
  const std::string line = "{\"payload\": \"" + std::string(100, 'x') + "\"}\n";
  std::string lines;
  for (std::size_t count = 0; count <= Delivery::kBatchMessagesMax; ++count) lines += line;
  const FileDescriptor file = input(lines);

  deliver(file.get(), 16 * 1024);

  EXPECT_EQ(state_.failure(), "cannot write a response: std::bad_alloc");
  EXPECT_EQ(state_.messages(), Delivery::kBatchMessagesMax);
  EXPECT_EQ(written().size(), 0u);
}

TEST_F(DeliveryTest, DeliversNoLineOfARunThatIsAbandoned) {
  const FileDescriptor file = input("{\"payload\": \"a\"}\n");
  state_.fail("over");

  deliver(file.get());

  EXPECT_EQ(state_.messages(), 0u);
  EXPECT_EQ(written(), "");
}

}  // namespace
}  // namespace chainhost
