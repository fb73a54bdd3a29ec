#include "faults/fault_server.h"

#include <algorithm>

namespace test_support {

void FaultServer::serve(Connection& connection) {
  const std::string next = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n" + std::string(kNextBody);
  while (const auto request = connection.readRequest()) {
    if (request->target.ends_with(kNextPath)) {
      connection.send(next);
      continue;
    }
    const Step& step = steps_[std::min(stepsTaken_++, steps_.size() - 1)];
    connection.trySend(step.bytes);
    switch (step.then) {
      case Then::Keep:
        break;
      case Then::Close:
        return;
      case Then::Cut:
        connection.closeWithoutNotify();
        return;
      case Then::Reset:
        connection.reset();
        return;
      case Then::Stall:
        connection.waitUntilClosed();
        return;
    }
  }
}

}  // namespace test_support
