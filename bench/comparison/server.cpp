// The server of the comparison, as a program: prints its ports, and the file of the authority that
// has signed its certificate, as one line of JSON; ends with its standard input.
// Options: --processor NUMBER.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "bench/comparison/answering_server.h"
#include "bench/comparison/processor.h"
#include "bench/option_words.h"
#include "bench/server_tls.h"
#include "support/certificates.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace {

void serve(int processor) {
  bench::useProcessor(processor);
  ::signal(SIGPIPE, SIG_IGN);
  const test_support::TempDir folder;
  test_support::CertificateAuthority authority(folder);
  const test_support::TlsIdentity identity = authority.issue();
  const bench::TlsContext context = bench::serverTls(identity);
  const int plain = test_support::listenLoopback();
  const int tls = test_support::listenLoopback();
  bench::AnsweringServer server(plain, tls, context.get());
  std::printf(
      "{\"plain\": %u, \"tls\": %u, \"authority\": \"%s\", \"certificate\": \"%s\", "
      "\"key\": \"%s\"}\n",
      unsigned{test_support::boundPort(plain)}, unsigned{test_support::boundPort(tls)},
      authority.certificateFile().c_str(), identity.certificateFile.c_str(),
      identity.keyFile.c_str());
  std::fflush(stdout);
  server.serveUntil(STDIN_FILENO);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int processor = -1;
    bench::readOptions(
        std::vector<std::string>(argv + 1, argv + argc),
        {{"--processor", [&](const auto& text) { processor = bench::numberIn(text, -1, 1023); }}});
    serve(processor);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "compare_server: %s\n", failure.what());
    return 1;
  }
}
