// Performs one work and prints what it cost as one line of JSON: see work.h for the options.
#include <sys/prctl.h>

#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/comparison/exchange_loop.h"
#include "bench/comparison/lifecycle.h"
#include "bench/comparison/measurement.h"
#include "bench/comparison/plugin_run.h"
#include "bench/comparison/processor.h"
#include "bench/comparison/work.h"

namespace {

using bench::Work;

std::string run(const Work& work) {
  if (work.client == "lifecycle") return bench::lifecycleJson(work);
  const std::map<std::string, bench::ExchangeFactory> exchanges{
      {"nothing", bench::noExchange},
      {"socket", bench::socketExchange},
      {"poco", bench::pocoExchange},
      {"curl", bench::curlExchange},
  };
  bench::Measurement measurement(work);
  if (work.client == "plugin") {
    bench::runPlugin(work, measurement);
  } else if (const auto found = exchanges.find(work.client); found != exchanges.end()) {
    bench::runExchanges(work, found->second, measurement);
  } else {
    throw std::invalid_argument("no such client: " + work.client);
  }
  return measurement.json();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Work work = bench::parseWork(std::vector<std::string>(argv + 1, argv + argc));
    bench::useProcessor(work.processor);
    ::prctl(PR_SET_TIMERSLACK, 1);  // a pace of microseconds is to be kept
    std::puts(run(work).c_str());
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "compare_client: %s\n", failure.what());
    return 1;
  }
}
