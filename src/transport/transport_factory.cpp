#include "plugin/transport_factory.h"

#include <Poco/Exception.h>

#include <stdexcept>

#include "transport/http_client.h"

namespace com::corvane::connectivity10_15_0 {

AbstractTransport* createTransport(const PluginParameters& parameters) {
  try {
    return new connectivity::plugins::HTTPClient(parameters);
  } catch (const Poco::Exception& failure) {
    // what() of these is a class name only; the display text names, say, the file.
    throw std::runtime_error(failure.displayText());
  }
}

}  // namespace com::corvane::connectivity10_15_0
