// A host that loads the plugin, uses it and unloads it again and again, and uses OpenSSL itself
// meanwhile: unloading_host PLAIN_PORT TLS_PORT CA_FILE ROUNDS. Every fourth round speaks TLS, and
// texts have to be converted; with a TLS_PORT of 0 there is neither, nor OpenSSL in the host.
//
// It writes what it holds once the first tenth of the rounds is over, and at the end, a line each:
// NAME BEFORE AFTER. The names: descriptors, threads, heapBytes (in use, as the C library counts),
// residentKiB. Exit code: 0; another when something went wrong, which standard error tells.
#include <dlfcn.h>
#include <malloc.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "kel/host_control.h"
#include "kel/plugin.h"
#include "model/get.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"

namespace {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

constexpr std::int64_t kClients = 2;
constexpr std::int64_t kRequests = 4;

struct Arguments {
  std::uint16_t plainPort;
  std::uint16_t tlsPort;
  const char* authorityFile;
  int rounds;

  bool usesTls() const { return tlsPort != 0; }
};

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

// Counts the good answers.
class Answers {
 public:
  static void receive(void* self, kel_message* first, kel_message* end) {
    for (kel_message* message = first; message != end; ++message) {
      static_cast<Answers*>(self)->add(reinterpret_cast<Message&>(*message));
    }
  }

  void await(std::int64_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return count_ >= count; });
  }

  std::int64_t count() const {
    const std::lock_guard lock(mutex_);
    return count_;
  }

 private:
  void add(const Message& message) {
    const auto& http = get<map_t>(message.metadata.find("http").value());
    require(get<std::int64_t>(http.find("statusCode").value()) == 200,
            get<const char*>(http.find("statusReason").value()));
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::int64_t count_ = 0;
};

// The host's own connection, made by OpenSSL alone.
class OwnTls {
 public:
  OwnTls(std::uint16_t port, const char* authorityFile)
      : context_(SSL_CTX_new(TLS_client_method())), socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    SSL_CTX_set_verify(context_, SSL_VERIFY_PEER, nullptr);
    require(SSL_CTX_load_verify_locations(context_, authorityFile, nullptr) == 1, "authority");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "the host cannot connect");
    ssl_ = SSL_new(context_);
    SSL_set_fd(ssl_, socket_);
    require(SSL_connect(ssl_) == 1, "the host's own handshake failed");
  }
  ~OwnTls() {
    SSL_shutdown(ssl_);
    SSL_free(ssl_);
    SSL_CTX_free(context_);
    ::close(socket_);
  }
  OwnTls(const OwnTls&) = delete;
  OwnTls& operator=(const OwnTls&) = delete;

  // One request and its answer.
  void exchange() {
    const std::string request = "GET /own HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    require(SSL_write(ssl_, request.data(), static_cast<int>(request.size())) > 0,
            "the host cannot write over TLS");
    std::string answer;
    while (!answer.ends_with("ok")) {
      char piece[256];
      const int count = SSL_read(ssl_, piece, sizeof piece);
      require(count > 0, "the host cannot read over TLS");
      answer.append(piece, static_cast<std::size_t>(count));
    }
  }

 private:
  SSL_CTX* const context_;
  const int socket_;
  SSL* ssl_;
};

data_t configuration(const Arguments& arguments, bool tls) {
  map_t settings =
      tls ? test_support::tlsSettingsFor(arguments.tlsPort, kClients, arguments.authorityFile)
          : test_support::settingsFor(arguments.plainPort, kClients);
  settings.insert(data_t("cookieJar"), data_t(true));
  return data_t(std::move(settings));
}

// A header value that is not ASCII needs the plugin's library for character sets.
Message request(std::int64_t id, bool plainText) {
  map_t headers;
  headers.insert(data_t("x-name"), data_t(plainText ? "coffee" : "caf\xC3\xA9"));
  map_t http = test_support::httpMap("GET", "/");
  http.insert(data_t("headers"), data_t(std::move(headers)));
  return test_support::requestMessage(id, std::move(http));
}

void useOnce(const Arguments& arguments, bool tls) {
  const test_support::PluginLibrary library(HTTP_CLIENT_LIBRARY);
  const data_t config = configuration(arguments, tls);
  Answers answers;
  void* const plugin = library.create("plugin", "chain", &config.raw(), &answers, &answers);
  require(plugin != nullptr, "not created");
  library.setNextTowardsHost(plugin, &answers, &Answers::receive);
  library.start(plugin);
  for (std::int64_t id = 0; id < kRequests; ++id) {
    Message message = request(id, !arguments.usesTls());
    auto* const raw = reinterpret_cast<kel_message*>(&message);
    require(library.sendBatch(plugin, raw, raw + 1) == 0, "not taken");
  }
  answers.await(1);  // what else is in flight the shutdown waits for
  require(library.shutdown(plugin) == 0, "not shut down");
  require(library.destroy(plugin) == 0, "not destroyed");
  require(answers.count() == kRequests, "not each request answered once");
  library.unload();
  require(::dlopen(HTTP_CLIENT_LIBRARY, RTLD_NOW | RTLD_NOLOAD) == nullptr, "still loaded");
}

std::int64_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder),
                       std::filesystem::directory_iterator());
}

// A thread that has been joined may stand in the system's list for another moment.
std::int64_t threadsLeft() {
  std::int64_t threads = entriesOf("/proc/self/task");
  for (int i = 0; i < 1000 && threads > 1; ++i) {
    std::this_thread::yield();
    threads = entriesOf("/proc/self/task");
  }
  return threads;
}

std::int64_t residentKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::atoll(line.c_str() + 6);
  }
  return 0;
}

struct Holdings {
  std::int64_t descriptors = entriesOf("/proc/self/fd");
  std::int64_t threads = threadsLeft();
  std::int64_t heapBytes = static_cast<std::int64_t>(::mallinfo2().uordblks);
  std::int64_t residentKiB = ::residentKiB();
};

}  // namespace

int main(int count, char** values) {
  if (count != 5) return 2;
  const Arguments arguments{static_cast<std::uint16_t>(std::atoi(values[1])),
                            static_cast<std::uint16_t>(std::atoi(values[2])), values[3],
                            std::atoi(values[4])};
  kel_host_set_log_sink([](void*, const char*, std::int32_t, const char*) {}, nullptr);
  std::optional<OwnTls> own;
  if (arguments.usesTls()) own.emplace(arguments.tlsPort, arguments.authorityFile);
  Holdings before;
  for (int round = 0; round < arguments.rounds; ++round) {
    if (round == arguments.rounds / 10) before = Holdings();
    useOnce(arguments, arguments.usesTls() && round % 4 == 3);
    if (own) own->exchange();
  }
  const Holdings after;
  if (own) OwnTls(arguments.tlsPort, arguments.authorityFile).exchange();
  const auto print = [](const char* name, std::int64_t first, std::int64_t last) {
    std::printf("%s %lld %lld\n", name, static_cast<long long>(first),
                static_cast<long long>(last));
  };
  print("descriptors", before.descriptors, after.descriptors);
  print("threads", before.threads, after.threads);
  print("heapBytes", before.heapBytes, after.heapBytes);
  print("residentKiB", before.residentKiB, after.residentKiB);
  return 0;
}
