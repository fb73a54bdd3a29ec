// http/form_payload.h : turns a map payload into a form that a request can carry.
//
// Role:      RequestWriter makes a new form for every attempt: parts can be written only once. Call
//            fillForm, then prepareForm, then POCO's write.
// Threads:   one worker only.
// Ownership: the form copies what it takes; the record's payload stays as it is.
// Errors:    std::runtime_error with the typed-access text for form metadata of another kind.
// Invariants: no field name, file name or content type can end the part header that it stands in.
// Limits:    POCO looks through all fields for each one that it adds: 1,000 fields take some 10 ms,
//            10,000 a second. Parts are not looked through.
#pragma once

#include <Poco/Net/HTMLForm.h>

#include <cstdint>
#include <string>

#include "http/message_keys.h"
#include "http/names.h"
#include "http/request_details.h"
#include "http/request_head.h"

namespace com::corvane::connectivity::plugins {

/// multipart/form-data when the record's content-type is exactly that, else (none, or parameters
/// behind it) application/x-www-form-urlencoded.
const std::string& formEncoding(const RequestDetails& details);

/// Adds the payload's fields: a string as a plain field, a buffer as a part with the content type,
/// character set and file name that "form" has for it, other kinds not at all. POCO writes parts
/// only in multipart forms. WARN for a part without a file name; for a method without a body, WARN
/// and no field. REQUIRES: the payload is a map, the form's encoding is set.
void fillForm(Poco::Net::HTMLForm& form, const RequestDetails& details, const MessageKeys& keys,
              const ThreadLogger& logger);

/// Gives the head the form's content type and, when the form is URL-encoded and the method is
/// neither POST nor PUT, the fields at the end of its query as well. Returns the number of bytes
/// that writing the form gives.
std::uint64_t prepareForm(Poco::Net::HTMLForm& form, RequestHead& head);

}  // namespace com::corvane::connectivity::plugins
