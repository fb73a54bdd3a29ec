#include "bench/test_bed.h"

#include <cinttypes>
#include <cstdio>

#include "kel/host_control.h"

namespace bench {

TestBed::TestBed(const Options& options)
    : traffic_(options.seed, options.bodyBytesMax),
      faults_(options.seed, options.faultPercent),
      authority_(folder_),
      server_(traffic_, faults_, journal_, authority_.issue()),
      judge_(traffic_, faults_, journal_, options.underWayMax),
      library_(HTTP_CLIENT_LIBRARY) {
  kel_host_set_log_level("", kel_host_log_level_of("ERROR"));
  kel_host_set_log_sink(&Judge::logged, &judge_);
}

TestBed::~TestBed() { kel_host_set_log_sink(nullptr, nullptr); }

TestBed::Transports TestBed::createTransports(std::int64_t clients, bool plain, bool tls) {
  Transports transports;
  const auto add = [&](const Endpoint& server) {
    const TransportOptions options{server, clients, authority_.certificateFile()};
    transports.push_back(std::make_unique<Transport>(library_, options, judge_));
  };
  if (plain) add(server_.plain());
  if (tls) add(server_.tls());
  return transports;
}

bool TestBed::finish() {
  judge_.close();
  printFaults();
  const Tally tally = judge_.tally();
  const Journal::Counters& server = journal_.counters();
  bool isClean = true;
  const auto require = [&isClean](bool holds, const char* what, std::uint64_t number) {
    if (holds) return;
    isClean = false;
    std::printf("WRONG: %s: %" PRIu64 "\n", what, number);
  };
  const auto faulted = [&server](Fault fault) -> std::uint64_t {
    return server.faults[static_cast<std::size_t>(fault)];
  };
  require(tally.lost == 0, "requests without an answer", tally.lost);
  require(tally.doubled == 0, "answers too many", tally.doubled);
  require(tally.crossed == 0, "answers of other requests", tally.crossed);
  require(tally.damaged == 0, "answers with a wrong body", tally.damaged);
  require(tally.unexplained == 0, "ends that the faults do not explain", tally.unexplained);
  require(tally.logged == 0, "lines in the log at ERROR or worse", tally.logged);
  require(server.strays == 0, "requests seen that nobody waited for", server.strays);
  require(server.damaged == 0, "requests with a wrong body", server.damaged);
  require(server.disordered == 0, "requests behind a later one of their key", server.disordered);
  require(server.malformed == 0, "requests that are none", server.malformed);
  require(server.arrivals == tally.seen, "requests seen after their answer",
          server.arrivals - tally.seen);
  require(tally.closedUnseen <= faulted(Fault::CloseAfterAnswer) + faulted(Fault::ResetAfterAnswer),
          "failures for want of a connection", tally.closedUnseen);
  require(server_.isRunning(), "the server has ended", 1);
  for (const std::string& text : judge_.cases()) std::printf("  %s\n", text.c_str());
  return isClean;
}

void TestBed::printFaults() const {
  const Journal::Counters& server = journal_.counters();
  std::printf("The server saw %" PRIu64 " requests on %" PRIu64 " connections, and did:\n",
              server.arrivals.load(), server.connections.load());
  for (std::size_t i = 1; i < kFaults; ++i) {
    std::printf("%s%s %" PRIu64,
                i == 1       ? "  "
                : i % 5 == 1 ? ",\n  "
                             : ", ",
                nameOf(static_cast<Fault>(i)), server.faults[i].load());
  }
  std::printf("\n");
}

}  // namespace bench
