// resources/shop.h : a server with one page of each kind, and the requests for them.
//
// Role:      what each request has to come to is known, whatever fails on the way: its answer, or
//            a failure response. The server closes each connection behind its answer, so that every
//            request has to connect.
// Threads:   any.
// Errors:    a request that arrives otherwise than it was sent fails the test; one that breaks off
//            is expected here.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "resources/plugin_run.h"
#include "support/certificates.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace com::corvane::connectivity::plugins {

struct Errand {
  std::string name;
  RequestMessage (*request)();
  std::string payload;      // of its answer
  std::string reason = {};  // of its failure, if it always fails; else empty

  friend void PrintTo(const Errand& errand, std::ostream* out) { *out << errand.name; }
};

/// One of each kind.
std::vector<Errand> errands();

/// The one of that name.
Errand errand(const std::string& name);

class Shop {
 public:
  /// Over TLS if `isTls` is set.
  explicit Shop(bool isTls = false);

  /// Makes a plugin that is to be created a customer: one worker, cookies, redirects.
  void configure(PluginRun& run) const;

  std::uint16_t port() const { return server_->port(); }

 private:
  const std::unique_ptr<test_support::TempDir> certificates_;
  std::string authorityFile_;
  std::unique_ptr<test_support::ScriptedServer> server_;
};

/// Expects the answer or a failure response that says what was missing: one of `reasons` is part
/// of it.
void expectAnswered(const Reply& reply, const Errand& errand,
                    const std::vector<std::string>& reasons);

}  // namespace com::corvane::connectivity::plugins
