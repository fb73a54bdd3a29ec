#include "bench/pieces/verdict.h"

#include <cstddef>
#include <vector>

namespace pieces {
namespace {

// Passes everything on, and counts the errors, of which the library keeps no account.
class ErrorCount final : public benchmark::BenchmarkReporter {
 public:
  explicit ErrorCount(benchmark::BenchmarkReporter& display) : display_(display) {}

  bool ReportContext(const Context& context) override { return display_.ReportContext(context); }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) errors_ += run.error_occurred ? 1 : 0;
    display_.ReportRuns(runs);
  }

  void Finalize() override { display_.Finalize(); }

  std::size_t errors() const { return errors_; }

 private:
  benchmark::BenchmarkReporter& display_;
  std::size_t errors_ = 0;
};

}  // namespace

int runAndJudge(benchmark::BenchmarkReporter& display, const std::string& filter) {
  ErrorCount count(display);
  const std::size_t matched = benchmark::RunSpecifiedBenchmarks(&count, filter);
  return matched == 0 || count.errors() > 0 ? 1 : 0;
}

}  // namespace pieces
