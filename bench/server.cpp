#include "bench/server.h"

#include <netinet/in.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>
#include <thread>

#include "bench/answer.h"
#include "bench/checksum.h"
#include "bench/incoming_request.h"
#include "bench/server_socket.h"
#include "bench/server_tls.h"

namespace bench {
namespace {

[[noreturn]] void refuse(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// What all connections share.
struct Shared {
  const Traffic& traffic;
  const FaultSchedule& faults;
  Journal& journal;
};

class ServedConnection {
 public:
  ServedConnection(const Shared& shared, int descriptor, SSL_CTX* tls)
      : shared_(shared),
        socket_(descriptor, tls),
        requests_(socket_),
        answers_(socket_, shared.traffic) {}

  void run() {
    if (!socket_.accept()) return;
    ++counters().connections;
    while (const auto request = requests_.nextHead()) {
      if (request->id == 0) ++counters().malformed;
      if (request->id == 0 || !serve(*request)) return;
    }
  }

 private:
  Journal::Counters& counters() { return shared_.journal.counters(); }

  bool serve(const IncomingRequest& request) {
    const auto attempt = shared_.journal.arrive(request.id);
    if (request.order) shared_.journal.arriveInOrder(request.id, *request.order);
    const Fault fault = attempt ? shared_.faults.at(request.id, *attempt) : Fault::None;
    ++counters().faults[static_cast<std::size_t>(fault)];
    if (fault == Fault::ResetInUpload || fault == Fault::EarlyAnswerThenGo) {
      return answers_.send(request.id, fault);
    }
    if (fault == Fault::EarlyAnswer) {
      answers_.send(request.id, fault);
      requests_.drain();
      return false;
    }
    const auto body = requests_.body(request);
    if (!body || request.checksum != checksumText(request.id, *body)) ++counters().damaged;
    if (!body) return false;
    if (!answers_.send(request.id, fault)) return false;
    if (fault != Fault::ResetAfterAnswer) return true;
    // The next request is on its way when the connection goes.
    socket_.resetAtEnd();
    char byte = 0;
    socket_.receive(&byte, 1);
    return false;
  }

  const Shared& shared_;
  ServerSocket socket_;
  RequestSource requests_;
  Answers answers_;
};

int listenOnLoopback(Endpoint& endpoint) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) refuse("socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(descriptor, generic, length) != 0 || ::listen(descriptor, SOMAXCONN) != 0 ||
      ::getsockname(descriptor, generic, &length) != 0) {
    refuse("listen");
  }
  endpoint.port = ntohs(address.sin_port);
  return descriptor;
}

void acceptAll(const Shared& shared, int listener, SSL_CTX* tls) {
  while (true) {
    const int descriptor = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      refuse("accept");
    }
    std::thread([&shared, descriptor, tls] {
      ServedConnection(shared, descriptor, tls).run();
    }).detach();
  }
}

[[noreturn]] void serveForEver(const Shared& shared, const int (&listeners)[2],
                               const test_support::TlsIdentity& identity) {
  try {
    ::signal(SIGPIPE, SIG_IGN);
    const TlsContext tls = serverTls(identity);
    const std::thread overTls([&] { acceptAll(shared, listeners[1], tls.get()); });
    acceptAll(shared, listeners[0], nullptr);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "The server fails: %s\n", failure.what());
  }
  ::_exit(1);
}

}  // namespace

Server::Server(const Traffic& traffic, const FaultSchedule& faults, Journal& journal,
               const test_support::TlsIdentity& identity)
    : endpoints_{{{.tls = false}, {.tls = true}}} {
  const int listeners[2] = {listenOnLoopback(endpoints_[0]), listenOnLoopback(endpoints_[1])};
  const pid_t parent = ::getpid();
  process_ = ::fork();
  if (process_ < 0) refuse("fork");
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    const Shared shared{traffic, faults, journal};
    serveForEver(shared, listeners, identity);
  }
  for (const int listener : listeners) ::close(listener);
}

Server::~Server() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

bool Server::isRunning() const {
  siginfo_t state{};
  return ::waitid(P_PID, static_cast<id_t>(process_), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         state.si_pid == 0;
}

}  // namespace bench
