// Batches over the boundary of the built plugin, in both directions: who owns what, and how the
// maps of a response are laid out. Every request lacks what it needs, so that nothing is connected.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "abi/boundary_fixture.h"
#include "kel/host_values.h"

namespace {

using test_support::integerValue;
using test_support::mapValue;
using test_support::releaseValue;
using test_support::textValue;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const kel_map_slot* slotsOf(const map_block* map) {
  return reinterpret_cast<const kel_map_slot*>(map + 1);
}

// A message without what a request needs but its id; the test gives back what is left of it.
kel_message messageOf(std::int64_t id) {
  kel_message message{};
  message.payload = textValue("payload");
  message.metadata = mapValue({{"requestId", integerValue(id)}}).payload.map;
  return message;
}

void releaseMessage(kel_message& message) {
  releaseValue(message.payload);
  kel_free_map(message.metadata);
}

class BoundaryBatchTest : public test_support::BoundaryFixture {
 protected:
  // What came back.
  struct Response {
    void* element;
    std::ptrdiff_t messages;
    std::int32_t payloadTag;
    std::string payload;
    std::vector<std::string> metadata;  // "KEY: KIND", by slot
  };

  ~BoundaryBatchTest() override {
    for (kel_message& message : kept_) releaseMessage(message);
  }

  void run(kel_data config) {
    create(config);
    ASSERT_NE(plugin_, nullptr);
    self_ = this;
    ASSERT_EQ(library_.setNextTowardsHost(plugin_, &element_, receive), 0);
    ASSERT_EQ(library_.start(plugin_), 0);
  }

  /// Sends messages and waits until all have been answered.
  void sendAndDrain(std::vector<kel_message>& messages) {
    EXPECT_EQ(library_.sendBatch(plugin_, messages.data(), messages.data() + messages.size()), 0);
    EXPECT_EQ(library_.shutdown(plugin_), 0);
  }

  bool takesContent_ = false;
  std::vector<Response> responses_;
  std::vector<kel_message> kept_;
  int element_ = 0;

 private:
  static void receive(void* element, kel_message* first, kel_message* end) {
    const std::lock_guard lock(self_->mutex_);
    const buffer_block* const payload = first->payload.payload.buffer;
    const bool isBuffer = first->payload.tag == KEL_TAG_BUFFER && payload != nullptr;
    self_->responses_.push_back(
        {element, end - first, first->payload.tag,
         isBuffer ? std::string(reinterpret_cast<const char*>(payload + 1), payload->length) : "",
         entriesOf(first->metadata)});
    if (!self_->takesContent_) return;
    self_->kept_.push_back(*first);
    *first = kel_message{};
  }

  // Asserts the layout of a map that the plugin filled, and names its entries.
  static std::vector<std::string> entriesOf(const map_block* map) {
    std::vector<std::string> entries;
    EXPECT_EQ(map->label, nullptr);
    EXPECT_EQ(map->capacity, 8u);
    EXPECT_EQ(map->deleted, 0u);
    for (std::uint64_t i = 0; i < map->capacity; ++i) {
      const kel_map_slot& slot = slotsOf(map)[i];
      if (slot.key.tag == KEL_TAG_EMPTY) {
        EXPECT_EQ(slot.hash, 0u);
        continue;
      }
      EXPECT_EQ(slot.key.tag, KEL_TAG_STRING);
      const char* const key = slot.key.payload.string;
      EXPECT_EQ(slot.hash, kel_hash_string(key));
      entries.push_back(key + std::string(": ") + std::to_string(slot.value.tag));
    }
    EXPECT_EQ(map->count, entries.size());
    return entries;
  }

  static inline BoundaryBatchTest* self_ = nullptr;
  std::mutex mutex_;
};

TEST_F(BoundaryBatchTest, ContentOfEachMessageIsTakenAndTheArrayLeftToTheSender) {
  run(mapValue({}));
  std::vector<kel_message> messages = {messageOf(1), messageOf(2), messageOf(3)};

  sendAndDrain(messages);

  for (const kel_message& message : messages) {
    EXPECT_EQ(message.payload.tag, KEL_TAG_EMPTY);
    EXPECT_EQ(message.metadata, nullptr);
  }
  EXPECT_EQ(responses_.size(), 3u);
}

TEST_F(BoundaryBatchTest, ResponseComesAloneWithTheHandleAndIsReleasedByThePlugin) {
  run(mapValue({}));
  std::vector<kel_message> messages = {messageOf(1)};

  sendAndDrain(messages);

  ASSERT_EQ(responses_.size(), 1u);
  EXPECT_EQ(responses_[0].element, &element_);
  EXPECT_EQ(responses_[0].messages, 1);
  EXPECT_EQ(responses_[0].payloadTag, KEL_TAG_BUFFER);
  EXPECT_NE(responses_[0].payload, "");
}

TEST_F(BoundaryBatchTest, ReceiverMayTakeTheContentOfAResponse) {
  takesContent_ = true;
  run(mapValue({}));
  std::vector<kel_message> messages = {messageOf(1), messageOf(2)};

  sendAndDrain(messages);
  library_.destroy(std::exchange(plugin_, nullptr));

  ASSERT_EQ(kept_.size(), 2u);
  EXPECT_EQ(kept_[0].payload.tag, KEL_TAG_BUFFER);
}

TEST_F(BoundaryBatchTest, EntriesStandWhereLinearProbingPutsThem) {
  host_.hashWith([](const char*) { return std::uint64_t{6}; });
  run(mapValue({}));
  std::vector<kel_message> messages = {messageOf(1)};

  sendAndDrain(messages);

  // All of them belong on slot 6: the first stands there, the next on 7, the others from 0 on.
  ASSERT_EQ(responses_.size(), 1u);
  const std::vector<std::string>& entries = responses_[0].metadata;
  ASSERT_GE(entries.size(), 3u);
  EXPECT_EQ(entries[entries.size() - 2], "requestId: 3");
  EXPECT_EQ(entries[entries.size() - 3], "http: 7");
}

TEST_F(BoundaryBatchTest, MessagesAfterShutdownAreLeftAsTheyAre) {
  run(mapValue({}));
  EXPECT_EQ(library_.shutdown(plugin_), 0);
  kel_message message = messageOf(1);
  const kel_message before = message;

  EXPECT_EQ(library_.sendBatch(plugin_, &message, &message + 1), 0);

  EXPECT_EQ(message.payload.payload.string, before.payload.payload.string);
  EXPECT_EQ(message.metadata, before.metadata);
  EXPECT_THAT(responses_, IsEmpty());
  releaseMessage(message);
}

TEST_F(BoundaryBatchTest, MessageWithoutMetadataIsAnswered) {
  run(mapValue({}));
  std::vector<kel_message> messages = {kel_message{}};

  sendAndDrain(messages);

  EXPECT_EQ(responses_.size(), 1u);
}

TEST_F(BoundaryBatchTest, SecondHostSideReplacesTheFirst) {
  run(mapValue({}));
  int other = 0;
  const auto mark = [](void* element, kel_message*, kel_message*) {
    *static_cast<int*>(element) = 1;
  };
  ASSERT_EQ(library_.setNextTowardsHost(plugin_, &other, mark), 0);
  std::vector<kel_message> messages = {messageOf(1)};

  sendAndDrain(messages);

  EXPECT_EQ(other, 1);
  EXPECT_THAT(responses_, IsEmpty());
}

TEST_F(BoundaryBatchTest, LinesOfAWorkerCarryItsIndexBehindThePrefix) {
  host_.setLevel(6);
  run(mapValue({}));
  std::vector<kel_message> messages = {messageOf(1)};
  host_.clearCalls();

  sendAndDrain(messages);

  EXPECT_THAT(callsOf("log 3 "),
              Contains(testing::AllOf(StartsWith("log 3 connectivity.name.chain: <%s> {%I64u} "),
                                      HasSubstr(" | connectivity.name.chain | 0 | "))));
}

}  // namespace
