#include "http/request_writer.h"

#include <Poco/MemoryStream.h>
#include <Poco/Net/HTMLForm.h>
#include <Poco/Net/HTTPBasicCredentials.h>

#include <new>
#include <ostream>
#include <sstream>

#include "http/ascii.h"
#include "http/body_compressor.h"
#include "http/body_methods.h"
#include "http/charset.h"
#include "http/form_payload.h"
#include "model/get.h"
#include "model/text.h"
#include "runtime/exception.h"

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

std::optional<ContentCoding> codingOf(const RequestDetails& details) {
  const std::string* const name = details.headers.find("content-encoding");
  return name == nullptr ? ContentCoding::Identity : requestCoding(*name);
}

}  // namespace

RequestWriter::RequestWriter(const Settings& settings, bool basicAuthentication,
                             const MessageKeys& keys, CookieJar& jar, const ThreadLogger& logger)
    : keys_(keys),
      jar_(jar),
      logger_(logger),
      authorization_(basicAuthentication ? basicAuthorization(settings) : std::string()) {}

std::optional<std::uint64_t> RequestWriter::sendRequest(ClientSession& session,
                                                        RequestDetails& details,
                                                        HTTPRequest& request) const {
  const std::optional<ContentCoding> coding = codingOf(details);
  if (!coding) {
    logger_.log(LogLevel::Error, "%s", kUnsupportedCoding);
    return std::nullopt;
  }
  return details.payload.tag() == KEL_TAG_MAP ? sendForm(session, details, request, *coding)
                                              : sendBuffer(session, details, request, *coding);
}

std::uint64_t RequestWriter::sendBuffer(ClientSession& session, RequestDetails& details,
                                        HTTPRequest& request, ContentCoding coding) const {
  const std::string_view body = get<buffer_t>(details.payload).view();
  const char* const method = get<const char*>(details.method);
  if (isBodyless(method)) {
    logDroppedBuffer(body, method, coding);
    return sendBytes(session, details, request, {});
  }
  if (coding == ContentCoding::Identity) return sendBytes(session, details, request, body);
  Poco::MemoryInputStream source(body.data(), static_cast<std::streamsize>(body.size()));
  return sendBytes(session, details, request, compress(source, coding).view());
}

std::uint64_t RequestWriter::sendForm(ClientSession& session, RequestDetails& details,
                                      HTTPRequest& request, ContentCoding coding) const {
  Poco::Net::HTMLForm form(formEncoding(details));
  fillForm(form, details, keys_, logger_);
  if (isBodyless(request.getMethod())) return sendBytes(session, details, request, {});
  const std::uint64_t length = prepareForm(form, request);
  if (coding != ContentCoding::Identity) {
    std::stringstream body;
    form.write(body);
    if (body.bad()) throw std::bad_alloc();  // the stream keeps it to itself
    return sendBytes(session, details, request, compress(body, coding).view());
  }
  std::ostream& stream = sendHead(session, details, request, length);
  form.write(stream);
  finish(session, stream);
  return length;
}

std::uint64_t RequestWriter::sendBytes(ClientSession& session, RequestDetails& details,
                                       HTTPRequest& request, std::string_view body) const {
  std::ostream& stream = sendHead(session, details, request, body.size());
  stream.write(body.data(), static_cast<std::streamsize>(body.size()));
  finish(session, stream);
  return body.size();
}

// A stream keeps what fails on the way to the session, want of memory for instance, to itself; the
// server would wait for the rest. What fails in the session is known better there.
void RequestWriter::finish(ClientSession& session, const std::ostream& stream) const {
  const bool isWhole = !stream.bad();
  session.flushRequest();
  if (!isWhole) {
    throw orvex::StreamException("Error processing request stream: Serious I/O error");
  }
}

// Returns the stream that takes the body.
std::ostream& RequestWriter::sendHead(ClientSession& session, RequestDetails& details,
                                      HTTPRequest& request, std::uint64_t contentLength) const {
  setRequestHeaders(request, details, contentLength);
  trace(request, details, contentLength != 0);
  return session.sendRequest(request);
}

void RequestWriter::logDroppedBuffer(std::string_view body, const char* method,
                                     ContentCoding coding) const {
  if (coding != ContentCoding::Identity) {
    logIgnoredPayload(logger_, LogLevel::Warn, method);
  } else if (!body.empty()) {
    logIgnoredPayload(logger_, LogLevel::Debug, method);
  }
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
  if (isBodyless(request.getMethod())) return;
  const std::string* const coding = details.headers.find("transfer-encoding");
  if (coding != nullptr && ascii::equalsIgnoringCase(ascii::trimmed(*coding), "chunked")) {
    request.setChunkedTransferEncoding(true);
  } else {
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
