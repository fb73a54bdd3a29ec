// support/multipart_reader.h : takes a multipart/form-data body apart and refuses all that is not
// exactly in form, so that a test sees which parts a server would see.
//
// Role:    accepts one way to write each thing: no preamble, no epilogue, no folded header lines,
// no
//          parameters but name and filename, no header but Content-Disposition and Content-Type.
// Threads: any thread; no state.
// Errors:  MalformedMultipart for bytes out of form.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

struct MultipartPart {
  std::string name;
  std::optional<std::string> fileName;
  std::optional<std::string> contentType;
  std::string body;
  bool operator==(const MultipartPart&) const = default;
};

class MalformedMultipart : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The boundary that a content type names; it is quoted there.
std::string boundaryOf(std::string_view contentType);

/// The parts in the order of the body.
std::vector<MultipartPart> readMultipart(std::string_view contentType, std::string_view body);

}  // namespace test_support
