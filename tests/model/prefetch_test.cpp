#include "model/prefetch.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kel/host_values.h"
#include "model/buffer.h"
#include "model/get.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

// A chain of maps of this depth with more entries than are looked at.
map_t nested(int depth) {
  map_t map;
  for (int i = 0; i < 100; ++i) map.insert(data_t("key" + std::to_string(i)), data_t("value"));
  map.insert(data_t(std::int64_t{1}), data_t(true));
  map.insert(data_t("empty"), data_t(map_t()));
  if (depth > 0) map.insert(data_t("inner"), data_t(nested(depth - 1)));
  return map;
}

TEST(PrefetchTest, ChangesNothing) {
  Message message;
  message.payload = data_t(buffer_t::copyOf("some bytes", 10));
  message.metadata = nested(5);
  const data_t before(message.metadata.copy());

  prefetch(message);

  EXPECT_EQ(get<buffer_t>(message.payload).view(), "some bytes");
  EXPECT_TRUE(before == data_t(std::move(message.metadata)));
}

TEST(PrefetchTest, TakesEmptyMessages) {
  Message message;
  prefetch(message);
  message.payload = data_t(buffer_t());
  prefetch(message);
  message.payload = data_t("text");
  prefetch(message);

  EXPECT_TRUE(message.metadata.empty());
}

// Hosts need not clear what they have deleted.
TEST(PrefetchTest, LooksAtNoSlotWithoutAnEntry) {
  Message message;
  message.metadata.insert(data_t("key"), data_t("value"));
  map_block* const block = message.metadata.raw();
  auto* const slots = reinterpret_cast<kel_map_slot*>(block + 1);
  std::uint64_t vacant = 0;
  while (slots[vacant].hash > 1) ++vacant;
  slots[vacant].hash = 1;
  slots[vacant].value.tag = KEL_TAG_MAP;
  slots[vacant].value.payload.map = reinterpret_cast<map_block*>(8);  // nothing is there
  ++block->deleted;

  prefetch(message);

  EXPECT_EQ(message.metadata.size(), 1u);
  slots[vacant].value = kel_data{};
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
