// A form, as value_tree.h spells it in "payload" and "form", with "method" and "type" (the
// content-type header), is written; a strict reader has to find exactly its fields again.

#include <algorithm>
#include <exception>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "fuzz/reference_inflate.h"
#include "fuzz/value_tree.h"
#include "fuzz/wire_request.h"
#include "http/body_compressor.h"
#include "http/form_payload.h"
#include "plugin/logger.h"
#include "support/multipart_reader.h"

namespace {

using namespace com::corvane::connectivity::plugins;
using com::corvane::connectivity10_15_0::Logger;
using fuzz::TreeNode;
using Poco::Net::HTMLForm;
using test_support::MultipartPart;

struct Refused {};

std::string textOr(const TreeNode& tree, const char* name, const char* otherwise) {
  const TreeNode* const node = tree.find(name);
  return node && node->isString() ? node->text : otherwise;
}

bool isPayload(const TreeNode& payload) {
  if (!payload.isMap()) return false;
  return std::all_of(payload.children.begin(), payload.children.end(), [](const auto& field) {
    return field.key.kind != 'i' && (field.value.isString() || field.value.kind == 'x');
  });
}

std::string replaced(std::string text, bool isQuoted) {
  std::string result;
  for (const char c : text) {
    if (c == '\r' || c == '\n') continue;
    result += isQuoted && c == '"' ? std::string("%22") : std::string(1, c);
  }
  return result;
}

// A text of one field's metadata; of another kind it is refused.
std::string metadataText(const TreeNode& metadata, const char* name) {
  const TreeNode* const node = metadata.find(name);
  if (!node) return "";
  if (!node->isString()) throw Refused();
  return node->text;
}

MultipartPart partOf(const std::string& name, const TreeNode& value, const TreeNode* form) {
  MultipartPart part;
  part.name = replaced(name, true);
  part.body = value.text;
  if (value.isString()) return part;
  std::string type;
  std::string charset;
  if (form && form->kind != 'e') {
    if (!form->isMap()) throw Refused();
    if (const TreeNode* const metadata = form->find(name)) {
      if (!metadata->isMap()) throw Refused();
      const std::string fileName = replaced(metadataText(*metadata, "filename"), true);
      if (!fileName.empty()) part.fileName = fileName;
      type = replaced(metadataText(*metadata, "contentType"), false);
      charset = replaced(metadataText(*metadata, "charset"), false);
    }
  }
  if (type.empty()) type = "application/octet-stream";
  part.contentType = charset.empty() ? type : type + "; charset=" + charset;
  return part;
}

// What has to be written, whatever the order.
std::vector<MultipartPart> expectedParts(const TreeNode& payload, const TreeNode* form) {
  std::vector<MultipartPart> parts;
  for (const auto& [key, value] : payload.children) parts.push_back(partOf(key.text, value, form));
  return parts;
}

void sort(std::vector<MultipartPart>& parts) {
  std::sort(parts.begin(), parts.end(), [](const MultipartPart& a, const MultipartPart& b) {
    return std::tie(a.name, a.fileName, a.contentType, a.body) <
           std::tie(b.name, b.fileName, b.contentType, b.body);
  });
}

// The blanks around a value are no part of it.
void trimTypes(std::vector<MultipartPart>& parts) {
  for (MultipartPart& part : parts) {
    if (part.contentType) part.contentType = fuzz::stripped(*part.contentType);
  }
}

void checkMultipart(const std::string& type, const std::string& body,
                    std::vector<MultipartPart> expected) {
  std::vector<MultipartPart> actual;
  try {
    actual = test_support::readMultipart(type, body);
  } catch (const std::exception& failure) {
    fuzz::fail(std::string("no multipart body: ") + failure.what() + fuzz::shown(body));
  }
  sort(actual);
  sort(expected);
  trimTypes(actual);
  trimTypes(expected);
  fuzz::require(actual == expected, "other parts");
}

void checkUrlEncoded(const std::string& text, const TreeNode& payload) {
  std::vector<std::pair<std::string, std::string>> expected;
  for (const auto& [key, value] : payload.children) {
    if (value.isString()) expected.emplace_back(key.text, value.text);
  }
  auto actual = fuzz::readUrlEncoded(text);
  if (!actual) fuzz::fail("not URL-encoded: " + fuzz::shown(text));
  std::sort(actual->begin(), actual->end());
  std::sort(expected.begin(), expected.end());
  if (*actual != expected) fuzz::fail("other fields: " + fuzz::shown(text));
}

void checkCompressed(const std::string& body, ContentCoding coding) {
  std::istringstream source(body);
  const auto compressed = compress(source, coding);
  const auto again = coding == ContentCoding::Gzip ? fuzz::inflatedGzip(compressed.view())
                                                   : fuzz::inflatedDeflate(compressed.view());
  fuzz::require(again == body, "compressed and decompressed it differs");
}

struct Written {
  std::string type;
  std::string target;
  std::string body;
};

Written write(const RequestDetails& details, const std::string& method, const std::string& path) {
  const Logger log("fuzz");
  const ThreadLogger logger(log, 0);
  const MessageKeys keys;
  RequestHead head;
  head.begin(method, path);
  HTMLForm form(formEncoding(details));
  fillForm(form, details, keys, logger);
  const std::uint64_t length = prepareForm(form, head);
  std::ostringstream body;
  form.write(body);
  fuzz::require(body.view().size() == length, "another length than announced");
  return {std::string(head.fields().at(0).value), std::string(head.target()), body.str()};
}

void check(const Written& written, const TreeNode& tree, const std::string& method,
           const std::string& path) {
  const TreeNode noPayload;
  const TreeNode* payload = tree.find("payload");
  if (!payload || method == "HEAD" || method == "DELETE" || method == "TRACE") payload = &noPayload;
  if (textOr(tree, "type", "") == "multipart/form-data") {
    checkMultipart(written.type, written.body, expectedParts(*payload, tree.find("form")));
    fuzz::require(written.target == path, "another target");
  } else {
    fuzz::require(written.type == "application/x-www-form-urlencoded", "another type");
    checkUrlEncoded(written.body, *payload);
    const bool isInBody = method == "POST" || method == "PUT";
    fuzz::require(written.target.starts_with(path), "another target");
    std::string query = written.target.substr(path.size());
    fuzz::require(!isInBody || query.empty(), "fields in the query");
    if (query.starts_with('?') || query.starts_with('&')) query.erase(0, 1);
    if (!isInBody) checkUrlEncoded(query, *payload);
  }
  checkCompressed(written.body, ContentCoding::Gzip);
  checkCompressed(written.body, ContentCoding::Deflate);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const TreeNode tree = fuzz::readTree({reinterpret_cast<const char*>(data), size});
  const TreeNode none;
  const TreeNode* const payload = tree.find("payload") ? tree.find("payload") : &none;
  const TreeNode* const form = tree.find("form");
  if (payload->kind == 'x') return 0;  // no form
  const std::string method = textOr(tree, "method", "POST");
  const std::string path = tree.find("query") ? "/x?a=b" : "/x";
  TextMap headers;
  if (tree.find("type")) headers.insert("content-type", textOr(tree, "type", ""));

  std::optional<RequestDetails> details;
  try {
    details.emplace(fuzz::valueOf(*payload), data_t(1), data_t(method), data_t(path),
                    std::move(headers), TextMap(), TextMap(),
                    form ? fuzz::valueOf(*form) : data_t(), 0);
  } catch (const std::exception&) {
    fuzz::require(!isPayload(*payload), "a payload is refused");
    return 0;
  }
  fuzz::require(isPayload(*payload), "a payload is taken that is no form");

  bool isRefused = false;
  try {
    static_cast<void>(expectedParts(*payload, form));
  } catch (const Refused&) {
    isRefused = method != "HEAD" && method != "DELETE" && method != "TRACE";
  }
  try {
    const Written written = write(*details, method, path);
    fuzz::require(!isRefused, "form metadata of another kind is taken");
    check(written, tree, method, path);
  } catch (const std::exception& failure) {
    if (!isRefused) fuzz::fail(std::string("a form is refused: ") + failure.what());
  }
  return 0;
}
