#include "bench/delivery.h"

#include <algorithm>
#include <string>

#include "bench/checksum.h"
#include "bench/random.h"

namespace bench {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

namespace {

constexpr std::uint64_t kBatchMax = 32;

Message request(std::uint64_t id, std::size_t thread, const Traffic& traffic) {
  const std::string_view body = traffic.requestBody(id);
  map_t headers;
  headers.insert(data_t("x-checksum"), data_t(checksumText(id, body)));
  Message message;
  if (const auto key = traffic.key(id)) {
    const std::uint64_t order = thread * Traffic::kKeys + *key;
    headers.insert(data_t("x-order"), data_t(std::to_string(order)));
    message.metadata.insert(data_t("concurrencyControlKey"), data_t(order));
  }
  if (traffic.flush(id)) message.metadata.insert(data_t("concurrencyControlFlush"), data_t(true));
  map_t http;
  http.insert(data_t("method"), data_t(traffic.method(id)));
  http.insert(data_t("path"), data_t("/bench/" + std::to_string(id)));
  http.insert(data_t("headers"), data_t(std::move(headers)));
  message.payload = data_t(buffer_t::copyOf(body.data(), body.size()));
  message.metadata.insert(data_t("requestId"), data_t(id));
  message.metadata.insert(data_t("http"), data_t(std::move(http)));
  return message;
}

void deliver(Transport& transport, std::size_t thread, IdSource& ids, const Traffic& traffic,
             Judge& judge) {
  std::vector<Message> batch;
  for (std::uint64_t size = 1;; size = 1 + mixed(size, ids.next(), thread) % kBatchMax) {
    const IdSource::Range range = ids.take(size);
    if (range.first == range.end) return;
    for (std::uint64_t id = range.first; id < range.end; ++id) {
      judge.expect(id);
      batch.push_back(request(id, thread, traffic));
    }
    transport.send(batch);
    batch.clear();
  }
}

}  // namespace

IdSource::Range IdSource::take(std::uint64_t count) {
  std::uint64_t first = next_;
  std::uint64_t end = 0;
  do {
    end = std::min<std::uint64_t>(first + count, end_);
    if (end <= first) return {};
  } while (!next_.compare_exchange_weak(first, end));
  return {first, end};
}

Delivery::Delivery(const std::vector<std::unique_ptr<Transport>>& transports, IdSource& ids,
                   const Traffic& traffic, Judge& judge) {
  for (const auto& transport : transports) {
    for (std::size_t i = 0; i < kThreadsEach; ++i) {
      threads_.emplace_back(deliver, std::ref(*transport), threads_.size(), std::ref(ids),
                            std::cref(traffic), std::ref(judge));
    }
  }
}

Delivery::~Delivery() {
  for (auto& thread : threads_) thread.join();
}

}  // namespace bench
