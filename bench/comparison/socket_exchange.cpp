#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "bench/comparison/exchange.h"

namespace bench {
namespace {

struct FreeTls {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

int connectTo(std::uint16_t port) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int on = 1;
  if (descriptor < 0 ||
      ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) {
    throw std::system_error(errno, std::generic_category(), "connect");
  }
  return descriptor;
}

std::string requestOf(const Work& work) {
  std::string request = work.requestBytes > 0 ? "POST " : "GET ";
  request += work.target() + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(work.port) + "\r\n";
  if (work.requestBytes > 0) {
    request += "Content-Type: application/octet-stream\r\nContent-Length: " +
               std::to_string(work.requestBytes) + "\r\n";
  }
  return request + "\r\n" + std::string(work.requestBytes, 'x');
}

class SocketExchange final : public Exchange {
 public:
  explicit SocketExchange(const Work& work)
      : work_(work),
        descriptor_(connectTo(work.port)),
        request_(requestOf(work)),
        buffer_(work.responseBytes + kHeadBytesMax) {
    if (!work.authorityFile.empty()) startTls();
  }
  ~SocketExchange() override { ::close(descriptor_); }

  void perform() override {
    sendRequest();
    std::size_t received = 0;
    std::size_t head = 0;
    while (head == 0) {
      received += receive(received);
      head = headBytes({buffer_.data(), received});
    }
    const std::string_view text(buffer_.data(), head);
    if (!text.starts_with("HTTP/1.1 200 ")) throw std::runtime_error("not status 200");
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t length = text.find(kLength);
    if (length == std::string_view::npos ||
        std::strtoull(text.data() + length + kLength.size(), nullptr, 10) != work_.responseBytes) {
      throw std::runtime_error("an answer of another length");
    }
    while (received < head + work_.responseBytes) received += receive(received);
  }

 private:
  static constexpr std::size_t kHeadBytesMax = 4096;

  static std::size_t headBytes(std::string_view bytes) {
    const std::size_t end = bytes.find("\r\n\r\n");
    return end == std::string_view::npos ? 0 : end + 4;
  }

  void startTls() {
    context_.reset(SSL_CTX_new(TLS_client_method()));
    if (SSL_CTX_load_verify_locations(context_.get(), work_.authorityFile.c_str(), nullptr) != 1) {
      throw std::runtime_error("cannot read " + work_.authorityFile);
    }
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_PEER, nullptr);
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_fd(ssl_.get(), descriptor_);
    if (SSL_connect(ssl_.get()) != 1) throw std::runtime_error("no TLS handshake");
  }

  void sendRequest() {
    std::string_view rest = request_;
    while (!rest.empty()) {
      const auto count = ssl_ ? SSL_write(ssl_.get(), rest.data(), static_cast<int>(rest.size()))
                              : ::send(descriptor_, rest.data(), rest.size(), MSG_NOSIGNAL);
      if (count <= 0) throw std::runtime_error("cannot send");
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  std::size_t receive(std::size_t offset) {
    char* const room = buffer_.data() + offset;
    const std::size_t length = buffer_.size() - offset;
    const auto count = ssl_ ? SSL_read(ssl_.get(), room, static_cast<int>(length))
                            : ::recv(descriptor_, room, length, 0);
    if (count <= 0) throw std::runtime_error("the connection has ended");
    return static_cast<std::size_t>(count);
  }

  const Work& work_;
  const int descriptor_;
  const std::string request_;
  std::vector<char> buffer_;
  std::unique_ptr<SSL_CTX, FreeTls> context_;
  std::unique_ptr<SSL, FreeTls> ssl_;
};

}  // namespace

std::unique_ptr<Exchange> socketExchange(const Work& work) {
  return std::make_unique<SocketExchange>(work);
}

}  // namespace bench
