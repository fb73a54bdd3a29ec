#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>

#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/comparison/exchange.h"

namespace bench {
namespace {

using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;

std::unique_ptr<Poco::Net::HTTPClientSession> sessionFor(const Work& work) {
  if (work.authorityFile.empty()) {
    return std::make_unique<Poco::Net::HTTPClientSession>("127.0.0.1", work.port);
  }
  const Poco::Net::Context::Ptr context(
      new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, work.authorityFile,
                             Poco::Net::Context::VERIFY_STRICT, 9, false));
  return std::make_unique<Poco::Net::HTTPSClientSession>("127.0.0.1", work.port, context);
}

class PocoExchange final : public Exchange {
 public:
  explicit PocoExchange(const Work& work)
      : work_(work),
        session_(sessionFor(work)),
        method_(work.requestBytes > 0 ? HTTPRequest::HTTP_POST : HTTPRequest::HTTP_GET),
        target_(work.target()),
        body_(work.requestBytes, 'x'),
        buffer_(64 * 1024) {
    session_->setKeepAlive(true);
  }

  void perform() override {
    HTTPRequest request(method_, target_, HTTPRequest::HTTP_1_1);
    if (!body_.empty()) {
      request.setContentType("application/octet-stream");
      request.setContentLength64(static_cast<Poco::Int64>(body_.size()));
    }
    session_->sendRequest(request).write(body_.data(), static_cast<std::streamsize>(body_.size()));
    HTTPResponse response;
    std::istream& stream = session_->receiveResponse(response);
    std::size_t received = 0;
    while (stream.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size())) ||
           stream.gcount() > 0) {
      received += static_cast<std::size_t>(stream.gcount());
    }
    if (response.getStatus() != HTTPResponse::HTTP_OK || received != work_.responseBytes) {
      throw std::runtime_error("not the answer that was asked for");
    }
  }

 private:
  const Work& work_;
  const std::unique_ptr<Poco::Net::HTTPClientSession> session_;
  const std::string method_;
  const std::string target_;
  const std::string body_;
  std::vector<char> buffer_;
};

}  // namespace

std::unique_ptr<Exchange> pocoExchange(const Work& work) {
  return std::make_unique<PocoExchange>(work);
}

}  // namespace bench
