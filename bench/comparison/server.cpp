// The server of the comparison, as a program: prints its ports, and the file of the authority that
// has signed its certificate, as one line of JSON; ends with its standard input.
// Options: --processor NUMBER.
#include <openssl/ssl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/comparison/answering_server.h"
#include "bench/comparison/processor.h"
#include "bench/option_words.h"
#include "support/certificates.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace {

using TlsContext = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

TlsContext tlsContext(const test_support::TlsIdentity& identity) {
  TlsContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (SSL_CTX_use_certificate_chain_file(context.get(), identity.certificateFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    throw std::runtime_error("cannot use the certificate " + identity.certificateFile);
  }
  return context;
}

void serve(int processor) {
  bench::useProcessor(processor);
  ::signal(SIGPIPE, SIG_IGN);
  const test_support::TempDir folder;
  test_support::CertificateAuthority authority(folder);
  const test_support::TlsIdentity identity = authority.issue();
  const TlsContext context = tlsContext(identity);
  const int plain = test_support::listenLoopback();
  const int tls = test_support::listenLoopback();
  bench::AnsweringServer server(plain, tls, context.get());
  std::printf("{\"plain\": %u, \"tls\": %u, \"authority\": \"%s\", \"certificate\": \"%s\", "
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
        {{"--processor", [&](const auto& text) { processor = bench::optionNumber(text, -1, 1023); }}});
    serve(processor);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "compare_server: %s\n", failure.what());
    return 1;
  }
}
