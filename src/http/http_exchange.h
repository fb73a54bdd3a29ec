// http/http_exchange.h : performs one request message after another for one worker.
//
// Role:      the worker's half of the road: message, request, server, response, message; a redirect
//            takes the middle of it again. Start reading at mapMessageToRequest, then
//            performRequest.
// Threads:   one worker only; metrics and port are shared and lock for themselves.
// Ownership: owns the session and the buffers that are used again for every request.
// Errors:    every failure becomes one failure response; nothing is thrown. The constructor throws
//            what building the session throws, and std::bad_alloc.
// Invariants: each message is answered exactly once: the answer for the case that memory runs out
//            has been made before.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "http/client_session.h"
#include "http/cookie_jar.h"
#include "http/message_keys.h"
#include "http/names.h"
#include "http/redirects.h"
#include "http/request_details.h"
#include "http/request_mapping.h"
#include "http/request_writer.h"
#include "http/response_body.h"
#include "http/response_head.h"
#include "http/response_mapping.h"
#include "http/session_factory.h"
#include "http/transport_port.h"
#include "metrics/transport_metrics.h"

namespace com::corvane::connectivity::plugins {

/// What the exchanges of one transport share; all of it outlives them.
struct ExchangeContext {
  const Settings& settings;
  bool basicAuthentication;
  const MessageKeys& keys;
  CookieJar& jar;
  SessionFactory& sessions;
  TransportMetrics& metrics;
  TransportPort& port;
};

class HttpExchange {
 public:
  /// Sets up the session, which logs; connects nothing.
  HttpExchange(const ExchangeContext& context, ThreadLogger logger);

  /// Makes the answer that needs no memory when it is needed, unless there is one. Returns whether
  /// there is one now; allocates nothing but ahead of the first request, and after one that has
  /// used it up.
  bool prepareAnswer() noexcept;

  /// Performs the request that the message describes and answers it. REQUIRES: prepareAnswer has
  /// returned true since the latest call.
  void mapMessageToRequest(Message& message) noexcept;

  /// Gives memory back that only a request under way needs: for a worker that is going to wait.
  void rest() noexcept { session_->rest(); }

  /// Closes the connection. Call it on the worker's own thread before that ends.
  void close() { session_->reset(); }

 private:
  void performRequest(RequestDetails& details) noexcept;
  bool exchange(RequestDetails& details);
  bool handleRedirect(RequestDetails& details);
  void handleRedirectFailure(const char* text, const char* detail,
                             RequestDetails& details) noexcept;
  bool receiveHead(std::string_view target, RequestDetails& details);
  bool attempt(std::string_view target, RequestDetails& details);
  bool readEarlyHead(bool toHead);
  std::string targetOf(const RequestDetails& details) const;
  void readBody(const RequestDetails& details);

  // These run while an exception is handled, or memory has run out. They take the texts as they
  // are; the detail is "" for none.
  void handleRequestFailure(const char* text, const char* detail, RequestDetails& details) noexcept;
  void sendResponse(Message& response, std::int64_t status, RequestDetails& details) noexcept;
  void sendFailureResponse(const char* text, const char* detail, RequestDetails& details) noexcept;
  void refuse(const char* text, const char* detail, double startTime) noexcept;
  Message failureResponse(const char* text, const char* detail) noexcept;
  std::unique_ptr<ClientSession> createSession() const;

  const ExchangeContext context_;
  const ThreadLogger logger_;
  RequestMapping requestMapping_;
  RequestWriter requestWriter_;
  ResponseMapping responseMapping_;
  const Redirects redirects_;
  std::unique_ptr<ClientSession> session_;
  ResponseHead head_;
  ResponseBody body_;
  std::optional<Message> spareFailure_;
};

}  // namespace com::corvane::connectivity::plugins
