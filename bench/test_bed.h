// bench/test_bed.h : all that a run needs besides its transports: server, traffic, judge, plugin.
//
// Role:      the server's process is made before anything starts a thread, and before the plugin
//            is loaded.
// Threads:   one thread only.
// Errors:    std::runtime_error and std::system_error when something cannot be set up.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/delivery.h"
#include "bench/judge.h"
#include "bench/options.h"
#include "bench/process_figures.h"
#include "bench/server.h"
#include "bench/transport.h"
#include "support/certificates.h"
#include "support/temp_dir.h"

namespace bench {

class TestBed {
 public:
  explicit TestBed(const Options& options);
  ~TestBed();
  TestBed(const TestBed&) = delete;
  TestBed& operator=(const TestBed&) = delete;

  using Transports = std::vector<std::unique_ptr<Transport>>;

  /// A started transport with so many clients for each wire that is wanted.
  Transports createTransports(std::int64_t clients, bool plain, bool tls);

  IdSource& ids() { return ids_; }
  const Traffic& traffic() const { return traffic_; }
  Judge& judge() { return judge_; }
  Tally tally() const { return judge_.tally(); }

  /// Ends the judging, when all transports are gone, and prints what was wrong. True: nothing.
  bool finish();

 private:
  void printFaults() const;

  const Traffic traffic_;
  const FaultSchedule faults_;
  Journal journal_;
  const test_support::TempDir folder_;
  test_support::CertificateAuthority authority_;
  const Server server_;
  Judge judge_;
  const test_support::PluginLibrary library_;
  IdSource ids_;
};

}  // namespace bench
