#include "bench/comparison/served_connection.h"

#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <vector>

namespace bench {
namespace {

constexpr std::size_t kHeadBytesMax = 64 * 1024;
constexpr std::string_view kHeadEnd = "\r\n\r\n";

// One thread serves all connections.
std::vector<char>& scratch() {
  static std::vector<char> bytes(256 * 1024);
  return bytes;
}

template <class Number>
bool takeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return error == std::errc();
}

bool equalsLower(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char c, char l) { return (c >= 'A' && c <= 'Z' ? c + 32 : c) == l; });
}

// 0 when the head does not say.
std::uint64_t contentLength(std::string_view head) {
  constexpr std::string_view kName = "content-length:";
  for (std::size_t line = head.find("\r\n"); line != std::string_view::npos;
       line = head.find("\r\n", line + 2)) {
    if (!equalsLower(head.substr(line + 2, kName.size()), kName)) continue;
    std::string_view value = head.substr(line + 2 + kName.size());
    while (value.starts_with(' ')) value.remove_prefix(1);
    std::uint64_t length = 0;
    return takeNumber(value, length) ? length : 0;
  }
  return 0;
}

}  // namespace

ServedConnection::ServedConnection(int descriptor, SSL_CTX* tls)
    : descriptor_(descriptor), ssl_(tls == nullptr ? nullptr : SSL_new(tls)) {
  if (!ssl_) return;
  SSL_set_fd(ssl_.get(), descriptor_);
  SSL_set_accept_state(ssl_.get());
  SSL_set_mode(ssl_.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
}

ServedConnection::~ServedConnection() { ::close(descriptor_); }

ServedConnection::State ServedConnection::receive(ServedRequest& request) {
  while (true) {
    if (takeRequest(request)) return State::Request;
    if (!hasHead_ && input_.size() > kHeadBytesMax) return State::Over;
    std::vector<char>& bytes = scratch();
    const long count = receiveSome(bytes.data(), bytes.size());
    if (count < 0) return State::Waiting;
    if (count == 0) return State::Over;
    const auto received = static_cast<std::size_t>(count);
    const std::size_t ofBody = hasHead_ ? std::min<std::size_t>(received, bodyLeft_) : 0;
    bodyLeft_ -= ofBody;
    input_.append(bytes.data() + ofBody, received - ofBody);
    if (!hasHead_ && input_.find(kHeadEnd) != std::string::npos && !takeHead()) return State::Over;
  }
}

// REQUIRES: a whole head in the input.
bool ServedConnection::takeHead() {
  const std::size_t end = input_.find(kHeadEnd) + kHeadEnd.size();
  const std::string_view head(input_.data(), end);
  constexpr std::string_view kTarget = " /answer/";
  std::string_view target = head.substr(0, head.find("\r\n"));
  const std::size_t begin = target.find(kTarget);
  if (begin == std::string_view::npos) return false;
  target.remove_prefix(begin + kTarget.size());
  if (!takeNumber(target, request_.answerBytes) || !target.starts_with('/')) return false;
  target.remove_prefix(1);
  if (!takeNumber(target, request_.delayMs)) return false;
  const std::uint64_t length = contentLength(head);
  const auto here = static_cast<std::size_t>(std::min<std::uint64_t>(length, input_.size() - end));
  input_.erase(0, end + here);
  bodyLeft_ = length - here;
  hasHead_ = true;
  return true;
}

bool ServedConnection::takeRequest(ServedRequest& request) {
  if (!hasHead_ || bodyLeft_ != 0) return false;
  hasHead_ = false;
  request = request_;
  return true;
}

bool ServedConnection::send(const Answer& answer) {
  answer_ = &answer;
  sentBytes_ = 0;
  return sendRest();
}

bool ServedConnection::sendRest() {
  while (answer_ != nullptr) {
    const long count = sendSome();
    if (count <= 0) return count < 0;
    sentBytes_ += static_cast<std::size_t>(count);
    if (sentBytes_ == answer_->bytes().size()) answer_ = nullptr;
  }
  return true;
}

long ServedConnection::outcomeOf(int result) const {
  if (result > 0) return result;
  const int error = SSL_get_error(ssl_.get(), result);
  return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE ? -1 : 0;
}

long ServedConnection::receiveSome(char* bytes, std::size_t length) const {
  if (ssl_) return outcomeOf(SSL_read(ssl_.get(), bytes, static_cast<int>(length)));
  const ssize_t count = ::recv(descriptor_, bytes, length, 0);
  return count < 0 && errno != EAGAIN ? 0 : count;
}

long ServedConnection::sendSome() const {
  const std::string_view rest = answer_->bytes().substr(sentBytes_);
  if (ssl_) return outcomeOf(SSL_write(ssl_.get(), rest.data(), static_cast<int>(rest.size())));
  auto offset = static_cast<off_t>(sentBytes_);
  const ssize_t count = answer_->file() == Answer::kNoFile
                            ? ::send(descriptor_, rest.data(), rest.size(), MSG_NOSIGNAL)
                            : ::sendfile(descriptor_, answer_->file(), &offset, rest.size());
  return count < 0 && errno != EAGAIN ? 0 : count;
}

}  // namespace bench
