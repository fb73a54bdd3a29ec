// The built plugin under a host that shares no code with it: which calls it makes, in which order,
// with which values, and that it gives back whatever it got.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "abi/boundary_fixture.h"

namespace {

using test_support::integerValue;
using test_support::mapValue;
using test_support::releaseValue;
using test_support::textValue;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Texts = std::vector<std::string>;

const std::string kFailedCreate =
    "log 2 connectivity.name.chain: <%s> Exception from %s: %s | connectivity.name.chain | create "
    "| ";

class BoundaryTest : public test_support::BoundaryFixture {
 protected:
  static kel_data threeClients() {
    return mapValue({{"host", textValue("127.0.0.1")}, {"numClients", integerValue(3)}});
  }

  /// What the configuration of one element is refused with.
  std::string refusalOf(const char* key, kel_data value) {
    releaseValue(std::exchange(config_, kel_data{}));
    create(mapValue({{key, value}}));
    EXPECT_EQ(plugin_, nullptr);
    const Texts lines = callsOf("log ");
    return lines.size() == 1 && lines[0].starts_with(kFailedCreate)
               ? lines[0].substr(kFailedCreate.size())
               : "lines: " + testing::PrintToString(lines);
  }
};

void ignoreBatch(void* /*hostElement*/, kel_message* /*first*/, kel_message* /*end*/) {}

// The place of the first call that begins with `begin`; the end if there is none.
std::ptrdiff_t placeOf(const Texts& calls, const std::string& begin) {
  const auto found = std::find_if(calls.begin(), calls.end(),
                                  [&](const std::string& call) { return call.starts_with(begin); });
  return found - calls.begin();
}

TEST_F(BoundaryTest, VersionQueriesMakeNoCall) {
  EXPECT_EQ(library_.apiVersion(), 4);
  EXPECT_STREQ(library_.productVersion(), "10.15.0.2");

  EXPECT_THAT(host_.calls(), IsEmpty());
}

TEST_F(BoundaryTest, CreateAsksForTheLevelShowsItemsAndThenSaysWhatItMade) {
  create(threeClients());

  ASSERT_NE(plugin_, nullptr);
  const Texts calls = host_.calls();
  EXPECT_EQ(calls[0], "level connectivity.name.chain");
  EXPECT_THAT(callsOf("level "), testing::SizeIs(1));
  EXPECT_THAT(callsOf("create "), Each(StartsWith("create chain.name.")));
  EXPECT_THAT(callsOf("create "), AllOf(Contains("create chain.name.status=STARTING"),
                                        Contains("create chain.name.numClients=0")));
  EXPECT_THAT(callsOf("log ").back(),
              "log 4 connectivity.name.chain: <%s> Created %d Client Session Threads | "
              "connectivity.name.chain | 3");
  EXPECT_THAT(callsOf("set "), ElementsAre("set chain.name.numClients=3"));
  const auto created = placeOf(calls, "log 4 connectivity.name.chain: <%s> Created");
  EXPECT_LT(placeOf(calls, "create "), created);
  EXPECT_LT(created, placeOf(calls, "set "));
  EXPECT_THAT(callsOf("down?"), IsEmpty());
}

TEST_F(BoundaryTest, CreateLeavesTheConfigurationAloneAndKeepsNothingOfIt) {
  create(threeClients());
  ASSERT_NE(plugin_, nullptr);

  releaseValue(std::exchange(config_, kel_data{}));

  EXPECT_EQ(library_.start(plugin_), 0);
  EXPECT_EQ(library_.shutdown(plugin_), 0);
}

TEST_F(BoundaryTest, OperationsMakeTheirCallsAndNoOther) {
  create(threeClients());
  ASSERT_NE(plugin_, nullptr);
  host_.clearCalls();

  EXPECT_EQ(library_.setNextTowardsHost(plugin_, this, ignoreBatch), 0);
  EXPECT_THAT(host_.calls(), IsEmpty());
  EXPECT_EQ(library_.start(plugin_), 0);
  EXPECT_THAT(host_.calls(), ElementsAre("set chain.name.status=ONLINE"));
  EXPECT_EQ(library_.hostReady(plugin_), 0);
  EXPECT_EQ(library_.sendBatch(plugin_, nullptr, nullptr), 0);
  EXPECT_THAT(host_.calls(), ElementsAre("set chain.name.status=ONLINE"));
  host_.clearCalls();
  EXPECT_EQ(library_.shutdown(plugin_), 0);
  EXPECT_THAT(host_.calls(), AllOf(Not(IsEmpty()), Each("down?")));
}

TEST_F(BoundaryTest, DestroyRemovesEveryItemThenReleasesStatusMapAndConfiguration) {
  create(threeClients());
  ASSERT_NE(plugin_, nullptr);
  Texts expected = callsOf("create ");
  for (std::string& call : expected) {
    call = "delete " + call.substr(7, call.find('=') - 7);
  }
  host_.clearCalls();

  EXPECT_EQ(library_.destroy(std::exchange(plugin_, nullptr)), 0);

  Texts calls = host_.calls();
  ASSERT_EQ(calls.size(), expected.size() + 2);
  EXPECT_THAT(Texts(calls.end() - 2, calls.end()), ElementsAre("free map null", "free map 2"));
  calls.resize(expected.size());
  EXPECT_THAT(calls, testing::UnorderedElementsAreArray(expected));
}

TEST_F(BoundaryTest, DestroyOfNothingMakesNoCall) {
  EXPECT_EQ(library_.destroy(nullptr), 0);

  EXPECT_THAT(host_.calls(), IsEmpty());
}

TEST_F(BoundaryTest, ShutdownThatCannotAskTheHostFailsWithALineAtWarn) {
  create(threeClients());
  ASSERT_NE(plugin_, nullptr);
  host_.clearCalls();
  host_.answerDown(1, false);

  EXPECT_EQ(library_.shutdown(plugin_), 1);

  EXPECT_THAT(host_.calls(),
              ElementsAre("down?",
                          "log 3 connectivity.name.chain: <%s> Exception from %s: %s | "
                          "connectivity.name.chain | shutdown | An error occurred while checking "
                          "if host is shutting down"));
}

// ---- A create that fails

TEST_F(BoundaryTest, ConfigurationThatIsNoMapIsRefusedBeforeAnythingElse) {
  create(textValue("host=h"));

  EXPECT_EQ(plugin_, nullptr);
  EXPECT_THAT(host_.calls(),
              ElementsAre("level connectivity.name.chain",
                          kFailedCreate + "Incorrect type in get (you asked for map but it's "
                                          "actually string)"));
}

TEST_F(BoundaryTest, RefusedConfigurationShowsNoItemAndIsLoggedOnce) {
  create(mapValue({{"tls", textValue("perhaps")}}));

  EXPECT_EQ(plugin_, nullptr);
  EXPECT_THAT(callsOf("create "), IsEmpty());
  EXPECT_THAT(callsOf("log "),
              ElementsAre(kFailedCreate + "HTTPClient configuration tls must be a boolean"));
  // The element's own logger asks, then the one that writes the line.
  EXPECT_THAT(callsOf("level "),
              ElementsAre("level connectivity.name.chain", "level connectivity.name.chain"));
}

TEST_F(BoundaryTest, RefusalsOfOneElementArriveWordForWord) {
  const std::string begin = "HTTPClient configuration ";

  EXPECT_EQ(refusalOf("host", integerValue(1)), begin + "host must be a string");
  EXPECT_EQ(refusalOf("port", textValue("80 ")), begin + "port must be an integer");
  EXPECT_EQ(refusalOf("followRedirects", integerValue(1)),
            begin + "followRedirects must be a boolean");
  EXPECT_EQ(refusalOf("authenticationType", textValue("digest")),
            begin + "authenticationType must be none or HTTP_BASIC");
  EXPECT_EQ(refusalOf("timeoutSecs", integerValue(0)), begin + "timeoutSecs must be more than 0");
  EXPECT_EQ(refusalOf("proxy", mapValue({{"host", textValue("p")}})),
            begin + "proxy/port must be between 1 and 65535");
  EXPECT_EQ(refusalOf("proxy", textValue("p")), begin + "proxy incorrectly nested map");
  EXPECT_EQ(refusalOf("proxy", mapValue({{"foo", integerValue(1)}})),
            "Unknown configuration element proxy/foo in HTTPClient");
  EXPECT_EQ(refusalOf("Host", textValue("h")), "Unknown configuration element Host in HTTPClient");
  EXPECT_EQ(refusalOf("numClients", integerValue(0)), "Must have at least one consumer");
  EXPECT_EQ(refusalOf("numClients", integerValue(-1)), "Must have at least one consumer");
}

TEST_F(BoundaryTest, RefusedItemTakesTheEarlierOnesWithIt) {
  host_.refuseItem(3);

  create(threeClients());

  EXPECT_EQ(plugin_, nullptr);
  const Texts created = callsOf("create ");
  ASSERT_EQ(created.size(), 3u);
  const std::string key = created[2].substr(7, created[2].find('=') - 7);
  EXPECT_THAT(callsOf("log "),
              ElementsAre(kFailedCreate + "Failed to create status item '" + key +
                          "' (ensure the key is unique and that this plug-in has not been "
                          "shutdown already)"));
  EXPECT_THAT(callsOf("delete "), testing::SizeIs(2));
}

TEST_F(BoundaryTest, FailureIsNotWrittenWhereTheHostDoesNotWantIt) {
  host_.setLevel(1);

  create(mapValue({{"tls", textValue("perhaps")}}));

  EXPECT_EQ(plugin_, nullptr);
  EXPECT_THAT(callsOf("log "), IsEmpty());
}

// Memory that runs out at any moment of a create ends in a null result and gives everything back.
TEST_F(BoundaryTest, CreateSurvivesEveryFailedAllocationOfTheHost) {
  host_.setLevel(2);
  config_ = threeClients();
  std::uint64_t failed = 0;

  for (std::uint64_t number = 1; plugin_ == nullptr && number < 1000; ++number) {
    const std::size_t before = host_.live();
    host_.clearCalls();
    host_.failAllocation(number);
    plugin_ = library_.create("name", "chain", &config_, host_.statusHandle(), host_.hostHandle());
    host_.failAllocation(0);
    if (plugin_ != nullptr) break;
    ++failed;
    EXPECT_EQ(host_.live(), before) << number;
    EXPECT_THAT(callsOf("log "), ElementsAre(kFailedCreate + "std::bad_alloc")) << number;
  }

  EXPECT_NE(plugin_, nullptr);
  EXPECT_GT(failed, 20u);
}

// ---- Hosts that lay values out in their own way

struct ConstantHash {
  const char* name;
  std::uint64_t hash;
};

std::ostream& operator<<(std::ostream& out, const ConstantHash& tested) {
  return out << tested.name;
}

class BoundaryHashTest : public BoundaryTest, public testing::WithParamInterface<ConstantHash> {};

// Every text at the same slot, also under the numbers that mark slots without an entry.
TEST_P(BoundaryHashTest, ConfigurationIsReadWhateverTheHostsHashes) {
  host_.hashWith([](const char*) { return GetParam().hash; });

  create(mapValue({{"numClients", textValue("+2")},
                   {"timeoutSecs", integerValue(5)},
                   {"proxy", mapValue({{"port", integerValue(70000)}})},
                   {"host", textValue("h")}}));

  ASSERT_NE(plugin_, nullptr);
  EXPECT_THAT(callsOf("set "), ElementsAre("set chain.name.numClients=2"));
}

INSTANTIATE_TEST_SUITE_P(Constant, BoundaryHashTest,
                         testing::Values(ConstantHash{"Zero", 0}, ConstantHash{"One", 1},
                                         ConstantHash{"Seven", 7},
                                         ConstantHash{"Largest", UINT64_MAX}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(BoundaryTest, ConfigurationWithoutABlockHasTheDefaults) {
  kel_data empty{};
  empty.tag = KEL_TAG_MAP;

  create(empty);

  ASSERT_NE(plugin_, nullptr);
  EXPECT_THAT(callsOf("set "), ElementsAre("set chain.name.numClients=1"));
}

TEST_F(BoundaryTest, BorrowedTextsAreTextsOfAConfiguration) {
  char key[] = "numClients";
  char digits[] = "4";
  kel_data borrowedKey{};
  borrowedKey.payload.string = key;
  borrowedKey.tag = KEL_TAG_BORROWED_STRING;
  kel_data borrowedValue = borrowedKey;
  borrowedValue.payload.string = digits;
  kel_data config = mapValue({{"numClients", borrowedValue}});
  auto* const slots = reinterpret_cast<kel_map_slot*>(config.payload.map + 1);
  for (std::uint64_t i = 0; i < config.payload.map->capacity; ++i) {
    if (slots[i].key.tag == 0) continue;
    releaseValue(slots[i].key);
    slots[i].key = borrowedKey;
  }

  create(config);

  ASSERT_NE(plugin_, nullptr);
  EXPECT_THAT(callsOf("set "), ElementsAre("set chain.name.numClients=4"));
}

}  // namespace
