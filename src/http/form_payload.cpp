#include "http/form_payload.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/StringPartSource.h>

#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "http/body_methods.h"
#include "http/request_mapping.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using Poco::Net::HTMLForm;
using Poco::Net::HTTPRequest;
using Poco::Net::StringPartSource;

namespace {

constexpr char kDefaultPartType[] = "application/octet-stream";

// A name as it can stand between quotes in a part's header. Browsers write a quote the same way.
std::string quotable(const std::string& name) {
  std::string result;
  result.reserve(name.size());
  for (const char c : name) {
    if (c == '"') {
      result += "%22";
    } else if (c != '\r' && c != '\n') {
      result += c;
    }
  }
  return result;
}

// What "form" says of one buffer field, ready for a part's header; empty where it says nothing.
struct PartMetadata {
  std::string fileName;
  std::string contentType;
  std::string charset;
};

std::string optionalText(const map_t& map, const MapKey& key) {
  const auto found = map.find(key);
  return found == map.end() ? std::string() : std::string(get<const char*>(found.value()));
}

PartMetadata metadataOf(const char* field, const RequestDetails& details, const MessageKeys& keys) {
  if (details.form.isEmpty()) return {};
  const map_t& fields = get<map_t>(details.form);
  // By text: the payload's key may be a borrowed string, which never equals an owned one.
  const auto found = fields.find(field);
  if (found == fields.end()) return {};
  const map_t& metadata = get<map_t>(found.value());
  return {quotable(optionalText(metadata, keys.filename)),
          withoutLineBreaks(optionalText(metadata, keys.contentType)),
          withoutLineBreaks(optionalText(metadata, keys.charset))};
}

std::string partType(const PartMetadata& metadata) {
  std::string type = metadata.contentType.empty() ? kDefaultPartType : metadata.contentType;
  if (!metadata.charset.empty()) type += "; charset=" + metadata.charset;
  return type;
}

std::unique_ptr<StringPartSource> makePart(const buffer_t& bytes, const PartMetadata& metadata) {
  return std::make_unique<StringPartSource>(std::string(bytes.view()), partType(metadata),
                                            metadata.fileName);
}

// A server looks for the fields of such a request where browsers put those of a GET.
void addToQuery(HTMLForm& form, RequestHead& head) {
  std::ostringstream fields;
  form.write(fields);
  if (fields.bad()) throw std::bad_alloc();  // the stream keeps it to itself
  if (fields.view().empty()) return;
  std::string target(head.target());
  if (target.find('?') == std::string::npos) {
    target += '?';
  } else if (target.back() != '?' && target.back() != '&') {
    target += '&';
  }
  target.append(fields.view());
  head.setTarget(head.keep(std::move(target)));
}

}  // namespace

const std::string& formEncoding(const RequestDetails& details) {
  const std::string* const type = details.headers.find("content-type");
  const bool isMultipart = type != nullptr && *type == HTMLForm::ENCODING_MULTIPART;
  return isMultipart ? HTMLForm::ENCODING_MULTIPART : HTMLForm::ENCODING_URL;
}

void fillForm(HTMLForm& form, const RequestDetails& details, const MessageKeys& keys,
              const ThreadLogger& logger) {
  const char* const method = get<const char*>(details.method);
  if (isBodyless(method)) {
    logIgnoredPayload(logger, LogLevel::Warn, method);
    return;
  }
  const bool isMultipart = form.getEncoding() == HTMLForm::ENCODING_MULTIPART;
  for (const auto& field : get<map_t>(details.payload)) {
    const char* const key = get<const char*>(field.key());
    const std::string name = isMultipart ? quotable(key) : key;
    const data_t& value = field.value();
    if (value.isString()) {
      form.add(name, get<const char*>(value));
    } else if (value.tag() == KEL_TAG_BUFFER) {
      const PartMetadata metadata = metadataOf(key, details, keys);
      if (metadata.fileName.empty()) {
        logger.log(LogLevel::Warn,
                   "Can't find filename in the form metadata. Data will be send as a string not as "
                   "a binary payload");
      }
      std::unique_ptr<StringPartSource> part = makePart(get<buffer_t>(value), metadata);
      form.addPart(name, part.get());
      static_cast<void>(part.release());  // the form's, now that it has found room for it
    }
  }
}

std::uint64_t prepareForm(HTMLForm& form, RequestHead& head) {
  // POCO prepares nothing but POST and PUT requests for a body. It would also set the framing, for
  // which the message has a say.
  HTTPRequest post(HTTPRequest::HTTP_POST, "/", HTTPRequest::HTTP_1_1);
  form.prepareSubmit(post, HTMLForm::OPT_USE_CONTENT_LENGTH);
  head.set(HTTPRequest::CONTENT_TYPE, head.keep(post.getContentType()));
  const std::string_view method = head.method();
  const bool takesFieldsInBody = method == HTTPRequest::HTTP_POST ||
                                 method == HTTPRequest::HTTP_PUT ||
                                 form.getEncoding() == HTMLForm::ENCODING_MULTIPART;
  if (!takesFieldsInBody) addToQuery(form, head);
  return static_cast<std::uint64_t>(post.getContentLength64());
}

}  // namespace com::corvane::connectivity::plugins
