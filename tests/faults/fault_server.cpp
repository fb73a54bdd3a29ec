#include "faults/fault_server.h"

#include <algorithm>

namespace test_support {

bool carryOut(Then then, Connection& connection) {
  switch (then) {
    case Then::Keep:
      return true;
    case Then::Close:
      connection.close();
      break;
    case Then::Cut:
      connection.closeWithoutNotify();
      break;
    case Then::Reset:
      connection.reset();
      break;
    case Then::Stall:
      connection.waitUntilClosed();
      break;
  }
  return false;
}

std::string FaultServer::nextAnswer() {
  return std::string("HTTP/1.1 200 OK\r\nSet-Cookie: jar=") + kCookie +
         "; Path=/\r\nContent-Length: 4\r\n\r\n" + kNextBody;
}

void FaultServer::serve(Connection& connection) {
  while (const auto request = connection.readRequest()) {
    if (request->target.ends_with(kNextPath)) {
      connection.send(nextAnswer());
      continue;
    }
    const Step& step = steps_[std::min(stepsTaken_++, steps_.size() - 1)];
    connection.trySend(step.bytes);
    if (!carryOut(step.then, connection)) return;
  }
}

}  // namespace test_support
