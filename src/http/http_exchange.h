// http/http_exchange.h : performs one request message after another for one worker.
//
// Role:      the worker's half of the road: message, request, server, response, message; a redirect
//            takes the middle of it again. Start reading at mapMessageToRequest, then
//            performRequest.
// Threads:   one worker only; metrics and port are shared and lock for themselves.
// Ownership: owns the session and the buffers that are used again for every request.
// Errors:    every failure becomes one failure response; nothing is thrown. The constructor throws
//            what building the session throws.
// Invariants: each message is answered exactly once.
#pragma once

#include <memory>
#include <string>

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

  /// Performs the request that the message describes and answers it.
  void mapMessageToRequest(Message& message);

  /// Closes the connection. Call it on the worker's own thread before that ends.
  void close() { session_->reset(); }

 private:
  void performRequest(RequestDetails& details);
  bool exchange(RequestDetails& details);
  bool handleRedirect(RequestDetails& details);
  void handleRedirectFailure(const std::string& text, const std::string& detail,
                             RequestDetails& details);
  bool receiveHead(const std::string& target, RequestDetails& details);
  bool attempt(Poco::Net::HTTPRequest& request, RequestDetails& details);
  bool readEarlyHead(bool toHead);
  std::string targetOf(const RequestDetails& details) const;
  void readBody(const RequestDetails& details);

  void handleRequestFailure(const std::string& text, const std::string& detail,
                            RequestDetails& details);
  void sendResponse(Message& response, std::int64_t status, RequestDetails& details);
  void sendFailureResponse(const std::string& reason, RequestDetails& details);
  void refuse(const std::string& reason, double startTime);
  std::unique_ptr<ClientSession> createSession() const;

  const ExchangeContext context_;
  const ThreadLogger logger_;
  RequestMapping requestMapping_;
  const RequestWriter requestWriter_;
  const ResponseMapping responseMapping_;
  const Redirects redirects_;
  std::unique_ptr<ClientSession> session_;
  ResponseHead head_;
  ResponseBody body_;
};

}  // namespace com::corvane::connectivity::plugins
