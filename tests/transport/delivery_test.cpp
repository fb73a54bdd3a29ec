// What delivering threads meet: space, other transports, the host's queues, and the end.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "runtime/schedulable_queue.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

class DeliveryTest : public TransportFixture {
 protected:
  static HTTPClient::Limits smallLimits() { return {{4, 2, 5}, 5}; }

  void deliverFrom(orvex::SchedulableQueue& queue, std::int64_t id) {
    const orvex::AutoSchedulableQueue scope(&queue);
    deliver(request(id));
  }
};

TEST_F(DeliveryTest, LeavesTheRestOfABatchToItsSenderOnceTheEndHasBegun) {
  create(1, smallLimits());
  for (std::int64_t id = 0; id < 4; ++id) deliver(request(id));
  Message batch[3] = {request(4), request(5), request(6)};
  std::thread producer([&] { transport_->sendBatchTowardsTransport(batch, batch + 3); });
  host_.waitForText("AffinityQueue is full");

  transport_->shutdown();
  producer.join();

  EXPECT_TRUE(batch[0].metadata.empty());
  EXPECT_EQ(batch[1].metadata.size(), 2u);
  EXPECT_EQ(batch[2].metadata.size(), 2u);
}

TEST_F(DeliveryTest, MakesTheWorkerOfAnotherTransportWaitForSpace) {
  create(1, smallLimits());
  const std::unique_ptr<HTTPClient> full = std::move(transport_);
  chain_ = "other";
  create(1, smallLimits(), [&] {
    for (std::int64_t id = 1; id <= 5; ++id) {
      Message message = request(id);
      full->sendBatchTowardsTransport(&message, &message + 1);
    }
  });
  transport_->start();

  deliver(request(0));
  host_.waitForText("AffinityQueue is full");

  full->start();
  transport_->shutdown();
  full->shutdown();
  EXPECT_TRUE(answers_.eachOnce(6));
}

TEST_F(DeliveryTest, EntersTheFirstOfTheHostsQueuesOnEveryWorkerFromThenOn) {
  std::mutex mutex;
  std::multiset<orvex::SchedulableQueue*> seen;
  create(2, {}, [&] {
    const std::lock_guard<std::mutex> lock(mutex);
    seen.insert(orvex::getCurrentSchedulableQueue());
  });
  orvex::SchedulableQueue first;
  orvex::SchedulableQueue second;
  transport_->start();

  deliver(request(0));  // from a thread that works for no queue
  answers_.waitFor(1);
  deliverFrom(first, 1);
  for (std::int64_t id = 2; id < 20; ++id) deliverFrom(second, id);
  deliver(request(20, "concurrencyControlKey", data_t(0)));
  deliver(request(21, "concurrencyControlKey", data_t(1)));
  transport_->shutdown();

  EXPECT_EQ(seen.count(nullptr), 1u);
  EXPECT_EQ(seen.count(&first), 21u);
  EXPECT_EQ(seen.count(&second), 0u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
