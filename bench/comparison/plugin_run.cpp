#include "bench/comparison/plugin_run.h"

#include <stdexcept>
#include <vector>

#include "bench/comparison/pace.h"
#include "bench/comparison/plugin_host.h"

namespace bench {

void runPlugin(const Work& work, Measurement& measurement) {
  PluginHost host(work, measurement);
  std::vector<PluginHost::Message> messages = host.messages(work.warmUp);
  host.deliver(messages, Pace(0), false);
  if (measurement.failures() != 0) throw std::runtime_error("the warm-up has failed");
  messages = host.messages(work.requests);
  measurement.begin();
  host.deliver(messages, Pace(work.rate), true);
  measurement.end();
}

}  // namespace bench
