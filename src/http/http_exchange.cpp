#include "http/http_exchange.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <Poco/URI.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "http/ascii.h"
#include "http/log_path.h"
#include "model/get.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;

namespace {

constexpr char kInvalidMethod[] = "Invalid method (must be GET, PUT, POST or DELETE)";

// As the language names it: what is answered when there is no memory for more.
constexpr char kNoMemory[] = "std::bad_alloc";

// What has no text: not even the host's functions are bound to throw standard exceptions.
constexpr char kUnknownException[] = "unknown exception";

// Bytes that end a part of the request line.
bool breaksRequestLine(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= 0x20 || byte == 0x7F;
}

bool isInvalidMethod(std::string_view method) {
  return method != "GET" && method != "PUT" && method != "POST" && method != "DELETE";
}

// The library encodes the path and the parameters that are added to a query, not a query that
// stands in the path already.
std::string encodeBlanks(const std::string& target) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(target.size());
  for (char c : target) {
    if (!breaksRequestLine(c)) {
      result += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return result;
}

// A target that a server would read as a whole URI, of another server perhaps.
bool hasScheme(std::string_view target) {
  const std::size_t delimiter = target.find_first_of(":/?#");
  return delimiter != std::string_view::npos && target[delimiter] == ':';
}

// A path that a URI made of it would give back as it is: it begins with one slash, and holds
// nothing that would be decoded, encoded or cut off.
bool isPlainTarget(std::string_view path) {
  const auto isPlain = [](char c) {
    const char lower = ascii::toLower(c);
    return (lower >= 'a' && lower <= 'z') || ascii::isDigit(c) || c == '/' || c == '-' ||
           c == '.' || c == '_' || c == '~';
  };
  return path.starts_with('/') && !path.starts_with("//") &&
         std::all_of(path.begin(), path.end(), isPlain);
}

// Hands the text and the detail of the exception that is being handled on. what() of the library's
// is a class name only.
template <typename Handle>
void withFailure(const Handle& handle) noexcept {
  try {
    throw;
  } catch (const Poco::Exception& failure) {
    handle(failure.name(), failure.message().c_str());
  } catch (const std::exception& failure) {
    handle(failure.what(), "");
  } catch (...) {
    handle(kUnknownException, "");
  }
}

void logRequestFailure(const ThreadLogger& logger, const char* text, const char* detail) noexcept {
  if (*detail != '\0') {
    logger.log(LogLevel::Warn, "Caught exception processing a request: %s (%s)", text, detail);
  } else {
    logger.log(LogLevel::Warn, "Caught exception processing a request: %s", text);
  }
}

bool asksToClose(const RequestDetails& details) {
  const std::string* const connection = details.headers.find("connection");
  return connection != nullptr && ascii::lowered(*connection).find("close") != std::string::npos;
}

}  // namespace

HttpExchange::HttpExchange(const ExchangeContext& context, ThreadLogger logger)
    : context_(context),
      logger_(logger),
      requestMapping_(context.keys, context.settings, logger_),
      requestWriter_(context.settings, context.basicAuthentication, context.keys, context.jar,
                     logger_),
      responseMapping_(context.keys, context.jar, logger_),
      redirects_(context.settings, logger_),
      session_(createSession()),
      body_(logger_) {}

bool HttpExchange::prepareAnswer() noexcept {
  if (spareFailure_) return true;
  try {
    spareFailure_ = responseMapping_.mapFailure(kNoMemory);
    return true;
  } catch (...) {
    return false;
  }
}

void HttpExchange::mapMessageToRequest(Message& message) noexcept {
  const double startTime = orvex::Platform::relativeHighResTimeFloat();
  std::optional<RequestDetails> details;
  try {
    details.emplace(requestMapping_.map(message, startTime));
  } catch (...) {
    withFailure([&](const char* text, const char* detail) {
      logRequestFailure(logger_, text, detail);
      refuse(text, detail, startTime);
    });
  }
  if (details) performRequest(*details);
}

std::unique_ptr<ClientSession> HttpExchange::createSession() const {
  return context_.sessions.create(context_.settings.host,
                                  static_cast<std::uint64_t>(context_.settings.port), logger_);
}

void HttpExchange::performRequest(RequestDetails& details) noexcept {
  try {
    while (exchange(details)) {
    }
  } catch (...) {
    withFailure(
        [&](const char* text, const char* detail) { handleRequestFailure(text, detail, details); });
  }
}

// One request and its response. Returns true when that was a redirect, and the record now describes
// the next request; false when the message has been answered.
bool HttpExchange::exchange(RequestDetails& details) {
  const char* const method = get<const char*>(details.method);
  if (logger_.enabled(LogLevel::Debug)) {
    logger_.log(LogLevel::Debug, "Handling a request for %s path %s", method,
                withoutCredentials(get<const char*>(details.path)));
  }
  std::string composed;
  std::string_view target = get<const char*>(details.path);
  if (!details.queryParameters.empty() || !isPlainTarget(target)) {
    composed = targetOf(details);
    target = composed;
  }
  const std::string_view methodText = method;
  if (methodText.empty() || std::any_of(methodText.begin(), methodText.end(), breaksRequestLine)) {
    throw std::runtime_error(kInvalidMethod);
  }
  if (!receiveHead(target, details)) return false;
  readBody(details);
  context_.metrics.setOnline();
  if (redirects_.follows(head_.status())) return handleRedirect(details);
  Message response = responseMapping_.map(head_, body_.take(), details);
  sendResponse(response, head_.status(), details);
  context_.port.publishQueueSize();
  return false;
}

// Returns true when the redirect is to be followed, on a new session; else the message has been
// answered.
bool HttpExchange::handleRedirect(RequestDetails& details) {
  body_.drop();
  try {
    const std::optional<std::string> refusal = redirects_.retarget(head_, details);
    if (!refusal) {
      session_->reset();
      session_ = createSession();
      return true;
    }
    sendFailureResponse(refusal->c_str(), "", details);
  } catch (...) {
    withFailure([&](const char* text, const char* detail) {
      handleRedirectFailure(text, detail, details);
    });
  }
  return false;
}

void HttpExchange::handleRedirectFailure(const char* text, const char* detail,
                                         RequestDetails& details) noexcept {
  context_.metrics.setFailed();
  if (*detail != '\0') {
    logger_.log(LogLevel::Warn, "Failed to perform HTTP redirect: %s (%s)", text, detail);
  } else {
    logger_.log(LogLevel::Warn, "Failed to perform HTTP redirect: %s", text);
  }
  sendFailureResponse(text, detail, details);
}

std::string HttpExchange::targetOf(const RequestDetails& details) const {
  Poco::URI uri(get<const char*>(details.path));
  for (const auto& [name, value] : details.queryParameters) {
    uri.addQueryParameter(name, value);
    logger_.log(LogLevel::Trace, "   request query %s = %s", name, value);
  }
  const std::string target = encodeBlanks(uri.getPathAndQuery());
  // A proxy gets the whole URI, in which the target follows the port.
  const bool toProxy = !context_.settings.proxyHost.empty() && !context_.settings.tls;
  const bool needsSlash =
      target.empty() || target.front() == '?' || hasScheme(target) || (toProxy && target[0] != '/');
  return needsSlash ? "/" + target : target;
}

// Sends the request and receives the head of its answer, in at most two attempts. Returns false
// when the request was answered without being sent.
bool HttpExchange::receiveHead(std::string_view target, RequestDetails& details) {
  for (bool retried = false;; retried = true) {
    try {
      return attempt(target, details);
    } catch (const Poco::Net::NoMessageException& failure) {
      if (retried) throw;
      logger_.log(
          LogLevel::Debug,
          "Caught a Poco::Net::NoMessageException processing a request, will retry once: %s (%s)",
          failure.name(), failure.message());
    } catch (const Poco::Net::ConnectionAbortedException& failure) {
      if (retried) throw;
      logger_.log(LogLevel::Debug,
                  "Caught a Poco::Net::ConnectionAbortedException processing a request, will retry "
                  "once: %s (%s)",
                  failure.name(), failure.message());
    } catch (const Poco::IOException& failure) {
      if (retried) throw;
      logger_.log(LogLevel::Debug,
                  "Caught a Poco::IOException processing a request, will retry once: %s (%s)",
                  failure.name(), failure.message());
    }
    session_->reset();
  }
}

bool HttpExchange::attempt(std::string_view target, RequestDetails& details) {
  const bool toHead = std::string_view(get<const char*>(details.method)) == "HEAD";
  std::optional<std::uint64_t> sentBytes;
  try {
    sentBytes = requestWriter_.sendRequest(*session_, details, target);
    if (!sentBytes) {
      sendFailureResponse(RequestWriter::kUnsupportedCoding, "", details);
      session_->reset();
      return false;
    }
  } catch (const Poco::IOException&) {
    if (!readEarlyHead(toHead)) throw;
    return true;  // how much of the body has left is not known: no request size
  }
  session_->reader().readHead(head_, toHead);
  context_.metrics.recordRequestSize(*sentBytes);
  return true;
}

// A server may answer and close before it has taken the whole body: the send fails, and the answer
// waits to be read.
bool HttpExchange::readEarlyHead(bool toHead) {
  try {
    if (!session_->hasInput()) return false;
    session_->reader().readHead(head_, toHead);
    session_->reader().forbidReuse();
    return true;
  } catch (const Poco::Exception&) {
    return false;  // the failure of the send tells more
  }
}

// Leaves the connection either ready for the next request or closed.
void HttpExchange::readBody(const RequestDetails& details) {
  ResponseReader& reader = session_->reader();
  const int status = head_.status();
  const bool hasBody = status != 204 && status != 304 &&
                       std::string_view(get<const char*>(details.method)) != "HEAD";
  try {
    body_.read(head_, hasBody, reader);
  } catch (const std::exception&) {
    if (*reader.framingError() != '\0') {
      logger_.log(LogLevel::Debug, "Invalid response body: %s", reader.framingError());
    }
    throw;
  }
  if (!reader.reusable() || asksToClose(details)) session_->reset();
}

void HttpExchange::handleRequestFailure(const char* text, const char* detail,
                                        RequestDetails& details) noexcept {
  session_->reset();
  context_.metrics.setFailed();
  if (details.answered) {
    logger_.log(LogLevel::Warn, "Caught exception after a response was sent: %s", text);
    return;
  }
  const char* const method = get<const char*>(details.method);
  if (isInvalidMethod(method)) {
    logger_.log(LogLevel::Warn,
                "Caught exception processing a request: Invalid method (must be GET, PUT, POST or "
                "DELETE): %s",
                method);
    sendFailureResponse(kInvalidMethod, "", details);
  } else {
    logRequestFailure(logger_, text, detail);
    sendFailureResponse(text, detail, details);
  }
}

void HttpExchange::sendResponse(Message& response, std::int64_t status,
                                RequestDetails& details) noexcept {
  details.answered = true;
  logger_.log(LogLevel::Debug, "Sending response towards host");
  context_.port.sendTowardsHost(response, details.startTime, status,
                                get<buffer_t>(response.payload).size());
}

void HttpExchange::sendFailureResponse(const char* text, const char* detail,
                                       RequestDetails& details) noexcept {
  Message response = failureResponse(text, detail);
  responseMapping_.address(response, std::move(details.requestId), std::move(details.method),
                           std::move(details.path));
  details.answered = true;
  context_.port.sendTowardsHost(response, details.startTime, ResponseMapping::kFailureStatus,
                                std::nullopt);
}

// Answers a message that could not be turned into a request.
void HttpExchange::refuse(const char* text, const char* detail, double startTime) noexcept {
  Message response = failureResponse(text, detail);
  responseMapping_.address(response, requestMapping_.takeRequestId(), data_t(), data_t());
  context_.port.sendTowardsHost(response, startTime, ResponseMapping::kFailureStatus, std::nullopt);
}

// A message that is to be addressed; the one that was made beforehand if there is no memory.
Message HttpExchange::failureResponse(const char* text, const char* detail) noexcept {
  try {
    if (*detail == '\0') return responseMapping_.mapFailure(text);
    return responseMapping_.mapFailure((std::string(text) + ": " + detail).c_str());
  } catch (...) {
    Message response = std::move(*spareFailure_);
    spareFailure_.reset();
    return response;
  }
}

}  // namespace com::corvane::connectivity::plugins
