#include "bench/comparison/exchange_loop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

#include "bench/comparison/pace.h"

namespace bench {
namespace {

class Loop {
 public:
  Loop(const Work& work, ExchangeFactory make, Measurement& measurement)
      : work_(work), measurement_(measurement) {
    for (std::int64_t i = 0; i < work.connections; ++i) exchanges_.push_back(make(work));
    for (std::uint64_t i = 0; i < warmUp(); ++i) exchanges_[i % exchanges_.size()]->perform();
  }

  void run() {
    std::vector<std::thread> threads;
    pace_.emplace(work_.rate);
    measurement_.begin();
    for (const auto& exchange : exchanges_) {
      threads.emplace_back([this, &exchange] { performAll(*exchange); });
    }
    for (std::thread& thread : threads) thread.join();
    measurement_.end();
  }

 private:
  std::uint64_t warmUp() const { return std::max<std::uint64_t>(work_.warmUp, exchanges_.size()); }

  // The threads take turns as they become free, as the plugin's workers do.
  void performAll(Exchange& exchange) {
    for (std::uint64_t request = next_++; request < work_.requests; request = next_++) {
      const std::int64_t beginNanos = pace_->await(request);
      try {
        exchange.perform();
      } catch (const std::exception&) {
        measurement_.countFailure();
        return;
      }
      measurement_.record(request, com::orvex::Platform::monotonicNanos() - beginNanos);
    }
  }

  const Work& work_;
  Measurement& measurement_;
  std::optional<Pace> pace_;
  std::atomic<std::uint64_t> next_ = 0;
  std::vector<std::unique_ptr<Exchange>> exchanges_;
};

}  // namespace

void runExchanges(const Work& work, ExchangeFactory make, Measurement& measurement) {
  Loop(work, make, measurement).run();
}

}  // namespace bench
