#include "http/request_writer.h"

#include <Poco/Net/HTTPBasicCredentials.h>

#include <ostream>
#include <stdexcept>

#include "http/ascii.h"
#include "http/charset.h"
#include "model/get.h"
#include "model/text.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using connectivity10_15_0::valueText;
using Poco::Net::HTTPRequest;

namespace {

constexpr char kUserAgent[] = "Orvex/10.15 (amd64-win)";

// The value of the Authorization header does not change: it is made once a worker.
std::string basicAuthorization(const Settings& settings) {
  HTTPRequest scratch;
  Poco::Net::HTTPBasicCredentials(settings.user, settings.password).authenticate(scratch);
  return scratch.get(HTTPRequest::AUTHORIZATION);
}

std::string latin1(const std::string& utf8) {
  return ascii::isPlain(utf8) ? utf8 : std::string(charset::utf8ToLatin1(utf8.c_str()).get());
}

// How the message is framed is settled by the body alone; what a request message says of it must
// not contradict that.
bool isFramingHeader(const std::string& name) {
  return name == "content-length" || name == "transfer-encoding";
}

}  // namespace

bool isBodyless(std::string_view method) {
  return method == "HEAD" || method == "DELETE" || method == "TRACE";
}

RequestWriter::RequestWriter(const Settings& settings, bool basicAuthentication, CookieJar& jar,
                             const ThreadLogger& logger)
    : jar_(jar),
      logger_(logger),
      authorization_(basicAuthentication ? basicAuthorization(settings) : std::string()) {}

std::optional<std::uint64_t> RequestWriter::sendRequest(ClientSession& session,
                                                        RequestDetails& details,
                                                        HTTPRequest& request) const {
  const std::string* const coding = details.headers.find("content-encoding");
  if (coding != nullptr && *coding != "identity") {
    logger_.log(LogLevel::Error, "%s", kUnsupportedCoding);
    return std::nullopt;
  }
  if (details.payload.tag() == KEL_TAG_MAP) {
    throw std::runtime_error("HTTPClient cannot send form payloads yet");
  }
  const std::string_view body = bodyOf(details);
  setRequestHeaders(request, details, body.size());
  trace(request, details, !body.empty());
  std::ostream& stream = session.sendRequest(request);
  stream.write(body.data(), static_cast<std::streamsize>(body.size()));
  session.flushRequest();
  return body.size();
}

std::string_view RequestWriter::bodyOf(const RequestDetails& details) const {
  const std::string_view body = get<buffer_t>(details.payload).view();
  const char* const method = get<const char*>(details.method);
  if (body.empty() || !isBodyless(method)) return body;
  logger_.log(LogLevel::Debug, "Ignoring specified payload for %s request method", method);
  return {};
}

void RequestWriter::setRequestHeaders(HTTPRequest& request, RequestDetails& details,
                                      std::uint64_t contentLength) const {
  details.headers.insert("accept-charset", "utf-8");
  details.headers.insert("accept-encoding", "identity, gzip, deflate");
  details.headers.insert("user-agent", kUserAgent);
  for (const auto& [name, value] : details.headers) {
    if (isFramingHeader(name)) continue;
    const std::string wireName = latin1(name);
    if (!request.has(wireName)) request.add(wireName, latin1(value));
  }
  const auto cookies = jar_.requestCookies(details.cookies, get<const char*>(details.path));
  if (!cookies.empty()) request.setCookies(cookies);  // of none it would make an empty field
  if (!authorization_.empty()) request.set(HTTPRequest::AUTHORIZATION, authorization_);
  setFraming(request, details, contentLength);
}

void RequestWriter::setFraming(HTTPRequest& request, const RequestDetails& details,
                               std::uint64_t contentLength) const {
  const std::string* const coding = details.headers.find("transfer-encoding");
  if (coding != nullptr && ascii::equalsIgnoringCase(ascii::trimmed(*coding), "chunked")) {
    request.setChunkedTransferEncoding(true);
  } else if (contentLength != 0 || !isBodyless(request.getMethod())) {
    request.setContentLength64(static_cast<Poco::Int64>(contentLength));
  }
}

void RequestWriter::trace(const HTTPRequest& request, const RequestDetails& details,
                          bool hasPayload) const {
  if (!logger_.enabled(LogLevel::Trace)) return;
  for (const auto& [name, value] : request) {
    logger_.log(LogLevel::Trace, "   request header %s = %s", name, value);
  }
  const std::string payload = hasPayload ? valueText(details.payload) : "<no payload>";
  logger_.log(LogLevel::Trace, "   request payload: %s", payload);
}

}  // namespace com::corvane::connectivity::plugins
