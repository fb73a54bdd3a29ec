#include "http/request_writer.h"

#include <Poco/MemoryStream.h>
#include <Poco/Net/HTMLForm.h>
#include <Poco/Net/HTTPRequest.h>

#include <array>
#include <new>
#include <sstream>
#include <string>
#include <utility>

#include "http/ascii.h"
#include "http/basic_authorization.h"
#include "http/body_compressor.h"
#include "http/body_methods.h"
#include "http/charset.h"
#include "http/form_payload.h"
#include "http/request_body.h"
#include "model/get.h"
#include "model/text.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using connectivity10_15_0::valueText;
using Poco::Net::HTTPRequest;

namespace {

constexpr char kUserAgent[] = "Orvex/10.15 (amd64-win)";

// What every request has that does not say otherwise, in the order of the names.
constexpr std::array<RequestHead::Field, 3> kDefaults{{
    {"accept-charset", "utf-8"},
    {"accept-encoding", "identity, gzip, deflate"},
    {"user-agent", kUserAgent},
}};

// How the message is framed is settled by the body alone; what a request message says of it must
// not contradict that.
bool isFramingHeader(std::string_view name) {
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
      authorization_(basicAuthentication ? basicAuthorization(settings.user, settings.password)
                                         : "") {}

std::optional<std::uint64_t> RequestWriter::sendRequest(ClientSession& session,
                                                        RequestDetails& details,
                                                        std::string_view target) {
  const std::optional<ContentCoding> coding = codingOf(details);
  if (!coding) {
    logger_.log(LogLevel::Error, "%s", kUnsupportedCoding);
    return std::nullopt;
  }
  head_.begin(get<const char*>(details.method), target);
  return details.payload.tag() == KEL_TAG_MAP ? sendForm(session, details, *coding)
                                              : sendBuffer(session, details, *coding);
}

std::uint64_t RequestWriter::sendBuffer(ClientSession& session, RequestDetails& details,
                                        ContentCoding coding) {
  const std::string_view body = get<buffer_t>(details.payload).view();
  const char* const method = get<const char*>(details.method);
  if (isBodyless(method)) {
    logDroppedBuffer(body, method, coding);
    return sendBytes(session, details, {});
  }
  if (coding == ContentCoding::Identity) return sendBytes(session, details, body);
  Poco::MemoryInputStream source(body.data(), static_cast<std::streamsize>(body.size()));
  return sendBytes(session, details, compress(source, coding).view());
}

std::uint64_t RequestWriter::sendForm(ClientSession& session, RequestDetails& details,
                                      ContentCoding coding) {
  Poco::Net::HTMLForm form(formEncoding(details));
  fillForm(form, details, keys_, logger_);
  if (isBodyless(head_.method())) return sendBytes(session, details, {});
  const std::uint64_t length = prepareForm(form, head_);
  if (coding != ContentCoding::Identity) {
    std::stringstream body;
    form.write(body);
    if (body.bad()) throw std::bad_alloc();  // the stream keeps it to itself
    return sendBytes(session, details, compress(body, coding).view());
  }
  RequestBody body(session, bytes_, writeHead(session, details, length));
  RequestBodyStream stream(body);
  form.write(stream);
  stream.requireWhole();
  body.finish();
  return length;
}

std::uint64_t RequestWriter::sendBytes(ClientSession& session, RequestDetails& details,
                                       std::string_view bytes) {
  RequestBody body(session, bytes_, writeHead(session, details, bytes.size()));
  body.write(bytes);
  body.finish();
  return bytes.size();
}

// Readies the session, and the bytes up to the body. Returns whether that goes in chunks.
bool RequestWriter::writeHead(ClientSession& session, RequestDetails& details,
                              std::uint64_t contentLength) {
  addFields(details);
  addCookies(details);
  if (!authorization_.empty()) head_.set(HTTPRequest::AUTHORIZATION, authorization_);
  const bool chunked = addFraming(details, contentLength);
  trace(details, contentLength != 0);
  session.begin(head_);
  bytes_.clear();
  head_.appendTo(bytes_);
  return chunked;
}

void RequestWriter::logDroppedBuffer(std::string_view body, const char* method,
                                     ContentCoding coding) const {
  if (coding != ContentCoding::Identity) {
    logIgnoredPayload(logger_, LogLevel::Warn, method);
  } else if (!body.empty()) {
    logIgnoredPayload(logger_, LogLevel::Debug, method);
  }
}

// Both are in the order of their names, and so is what they give.
void RequestWriter::addFields(const RequestDetails& details) {
  const auto* next = kDefaults.begin();
  for (const auto& [name, value] : details.headers) {
    for (; next != kDefaults.end() && next->name < name; ++next) addField(next->name, next->value);
    if (next != kDefaults.end() && next->name == name) ++next;
    if (!isFramingHeader(name)) addField(name, value);
  }
  for (; next != kDefaults.end(); ++next) addField(next->name, next->value);
}

// REQUIRES: a NUL byte follows name and value.
void RequestWriter::addField(std::string_view name, std::string_view value) {
  const auto latin1 = [this](std::string_view utf8) {
    if (ascii::isPlain(utf8)) return utf8;
    return head_.keep(charset::utf8ToLatin1(utf8.data()).get());
  };
  const std::string_view wireName = latin1(name);
  if (!head_.has(wireName)) head_.append(wireName, latin1(value));
}

void RequestWriter::addCookies(const RequestDetails& details) {
  if (details.cookies.empty() && !jar_.isEnabled()) return;
  std::string text;
  for (const auto& [name, value] :
       jar_.requestCookies(details.cookies, get<const char*>(details.path))) {
    if (!text.empty()) text += "; ";
    text.append(name).append("=").append(value);
  }
  if (!text.empty()) head_.add(HTTPRequest::COOKIE, head_.keep(std::move(text)));
}

bool RequestWriter::addFraming(const RequestDetails& details, std::uint64_t contentLength) {
  if (isBodyless(head_.method())) return false;
  const std::string* const coding = details.headers.find("transfer-encoding");
  if (coding != nullptr && ascii::equalsIgnoringCase(ascii::trimmed(*coding), "chunked")) {
    head_.add(HTTPRequest::TRANSFER_ENCODING, HTTPRequest::CHUNKED_TRANSFER_ENCODING);
    return true;
  }
  head_.add(HTTPRequest::CONTENT_LENGTH, head_.keep(std::to_string(contentLength)));
  return false;
}

void RequestWriter::trace(const RequestDetails& details, bool hasPayload) const {
  if (!logger_.enabled(LogLevel::Trace)) return;
  for (const RequestHead::Field& field : head_.fields()) {
    logger_.log(LogLevel::Trace, "   request header %s = %s", std::string(field.name),
                std::string(field.value));
  }
  const std::string payload = hasPayload ? valueText(details.payload) : "<no payload>";
  logger_.log(LogLevel::Trace, "   request payload: %s", payload);
}

}  // namespace com::corvane::connectivity::plugins
