#include <curl/curl.h>

#include <stdexcept>
#include <string>

#include "bench/comparison/exchange.h"

namespace bench {
namespace {

struct FreeCurl {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

std::size_t countBytes(char*, std::size_t size, std::size_t count, void* received) {
  *static_cast<std::size_t*>(received) += size * count;
  return size * count;
}

class CurlExchange final : public Exchange {
 public:
  explicit CurlExchange(const Work& work)
      : work_(work), body_(work.requestBytes, 'x'), handle_(curl_easy_init()) {
    const bool tls = !work.authorityFile.empty();
    url_ = (tls ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(work.port) +
           work.target();
    set(CURLOPT_URL, url_.c_str());
    set(CURLOPT_WRITEFUNCTION, &countBytes);
    set(CURLOPT_WRITEDATA, &received_);
    set(CURLOPT_NOSIGNAL, 1L);
    if (tls) set(CURLOPT_CAINFO, work.authorityFile.c_str());
    if (body_.empty()) return;
    headers_.reset(curl_slist_append(nullptr, "Content-Type: application/octet-stream"));
    // Else it asks the server to go on before it sends a large body.
    headers_.reset(curl_slist_append(headers_.release(), "Expect:"));
    set(CURLOPT_HTTPHEADER, headers_.get());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
    set(CURLOPT_POSTFIELDS, body_.data());
  }

  void perform() override {
    received_ = 0;
    require(curl_easy_perform(handle_.get()));
    long status = 0;
    require(curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status));
    if (status != 200 || received_ != work_.responseBytes) {
      throw std::runtime_error("not the answer that was asked for");
    }
  }

 private:
  static void require(CURLcode code) {
    if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
  }

  template <class Value>
  void set(CURLoption option, Value value) {
    require(curl_easy_setopt(handle_.get(), option, value));
  }

  const Work& work_;
  const std::string body_;
  std::string url_;
  std::size_t received_ = 0;
  std::unique_ptr<curl_slist, FreeCurl> headers_;
  const std::unique_ptr<CURL, FreeCurl> handle_;
};

}  // namespace

std::unique_ptr<Exchange> curlExchange(const Work& work) {
  return std::make_unique<CurlExchange>(work);
}

}  // namespace bench
