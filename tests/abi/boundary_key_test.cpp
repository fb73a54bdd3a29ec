// Which worker a key of each kind chooses: its hash modulo the number of workers, seen from outside
// by the index that the worker's lines carry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "abi/boundary_fixture.h"
#include "kel/host_values.h"

namespace {

using namespace test_support;
using testing::ElementsAre;

constexpr std::uint64_t kSeed = 0x243FCAF1;
constexpr std::uint64_t kTextHash = 123456789;
constexpr std::uint64_t kClients = 11;

struct Key {
  const char* name;
  std::function<kel_data()> make;
  std::uint64_t hash;
};

std::ostream& operator<<(std::ostream& out, const Key& key) { return out << key.name; }

void ignoreResponses(void* /*hostElement*/, kel_message* /*first*/, kel_message* /*end*/) {}

class BoundaryKeyTest : public BoundaryFixture {
 protected:
  void run() {
    host_.hashWith([](const char* text) {
      return std::string_view(text) == "the key" ? kTextHash : std::uint64_t{9};
    });
    create(mapValue({{"numClients", integerValue(kClients)}}));
    ASSERT_NE(plugin_, nullptr);
    ASSERT_EQ(library_.setNextTowardsHost(plugin_, nullptr, ignoreResponses), 0);
    ASSERT_EQ(library_.start(plugin_), 0);
    host_.clearCalls();
  }

  /// Sends a message with a key and nothing else, which is refused on its worker with one line.
  std::int32_t send(kel_data key) {
    kel_message message{};
    message.metadata = mapValue({{"concurrencyControlKey", key}}).payload.map;
    const std::int32_t result = library_.sendBatch(plugin_, &message, &message + 1);
    kel_free_map(message.metadata);
    return result;
  }
};

class BoundaryKeyKindTest : public BoundaryKeyTest, public testing::WithParamInterface<Key> {};

TEST_P(BoundaryKeyKindTest, ChoosesTheWorkerByItsHash) {
  run();

  for (int i = 0; i < 3; ++i) EXPECT_EQ(send(GetParam().make()), 0);
  EXPECT_EQ(library_.shutdown(plugin_), 0);

  const std::string begin =
      "log 3 connectivity.name.chain: <%s> {%I64u} Caught exception processing a request: %s | "
      "connectivity.name.chain | " +
      std::to_string(GetParam().hash % kClients) + " | ";
  EXPECT_THAT(callsOf("log 3 "),
              testing::AllOf(testing::SizeIs(3), testing::Each(testing::StartsWith(begin))));
}

// {1: 10, 2: 20}, at slots of the host's choice.
kel_data mapOfIntegers() {
  kel_data value = rawValue(KEL_TAG_MAP, 0);
  value.payload.map = kel_allocate_map(5);
  value.payload.map->count = 2;
  auto* const slots = reinterpret_cast<kel_map_slot*>(value.payload.map + 1);
  slots[1] = {77, integerValue(2), integerValue(20)};
  slots[2] = {1, kel_data{}, kel_data{}};
  slots[4] = {78, integerValue(1), integerValue(10)};
  value.payload.map->deleted = 1;
  return value;
}

kel_data borrowedKey() {
  static char text[] = "the key";
  kel_data value = rawValue(KEL_TAG_BORROWED_STRING, 0);
  value.payload.string = text;
  return value;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BoundaryKeyKindTest,
    testing::Values(Key{"Empty", [] { return kel_data{}; }, kSeed},
                    Key{"UnknownKind", [] { return rawValue(11, 42); }, kSeed},
                    Key{"True", [] { return rawValue(KEL_TAG_BOOLEAN, 1); }, kSeed},
                    Key{"AnyOtherTruth", [] { return rawValue(KEL_TAG_BOOLEAN, 0x80); }, kSeed},
                    Key{"False", [] { return rawValue(KEL_TAG_BOOLEAN, 0xFF00); }, ~kSeed},
                    Key{"Integer", [] { return integerValue(42); }, 0xA9053146CB5F81D3},
                    Key{"NegativeInteger", [] { return integerValue(-1); }, 0x099C106FDB5F42E2},
                    Key{"Decimal", [] { return rawValue(KEL_TAG_DECIMAL, 0x31C000000000007D); },
                        0xED2D890499F1A32D},
                    Key{"Double", [] { return doubleValue(1.5); }, 0x3B850963FC2E9208},
                    Key{"Zero", [] { return doubleValue(0.0); }, 0xD3A7101D1B4EBC20},
                    Key{"NegativeZero", [] { return doubleValue(-0.0); }, 0xD3A7101D1B4EBC20},
                    Key{"NotANumber", [] { return rawValue(KEL_TAG_DOUBLE, 0x7FF8000000000000); },
                        0xA2C060FEFC64CF53},
                    Key{"String", [] { return textValue("the key"); }, kTextHash},
                    Key{"BorrowedString", borrowedKey, kTextHash},
                    Key{"List",
                        [] {
                          return listValue({integerValue(1), integerValue(2)});
                        },
                        0xC6016C126B1A0FBF},
                    Key{"ListThatEndsInAString",
                        [] {
                          return listValue({integerValue(1), textValue("the key")});
                        },
                        kTextHash},
                    Key{"ListWithoutABlock", [] { return rawValue(KEL_TAG_LIST, 0); }, kSeed},
                    Key{"Map", mapOfIntegers, 0xEBAB441E65304013},
                    Key{"MapWithoutABlock", [] { return rawValue(KEL_TAG_MAP, 0); }, kSeed},
                    Key{"Buffer", [] { return bufferValue("abc"); }, 0x0E903061F4C485B4},
                    Key{"BufferWithoutABlock", [] { return rawValue(KEL_TAG_BUFFER, 0); },
                        0xE36925AE8296B197}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(BoundaryKeyTest, CustomKeyIsRefusedByTheEntryPointAndLeftToTheSender) {
  run();

  EXPECT_EQ(send(customValue()), 1);

  EXPECT_THAT(callsOf("log 3 "),
              ElementsAre("log 3 connectivity.name.chain: <%s> Exception from %s: %s | "
                          "connectivity.name.chain | sendBatchTowardsTransport | Cannot use custom "
                          "values as a key"));
  EXPECT_THAT(callsOf("free custom"), ElementsAre("free custom"));
}

}  // namespace
