// fuzz/wire_request.h : reads one request out of bytes, and says what in them is out of form.
//
// Role:    a reader that is strict where bytes could be read as another request: line ends, blanks
//          in the request line, the body's end. It takes any other byte in names and values.
// Threads: any thread; no state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fuzz {

using TextPairs = std::vector<std::pair<std::string, std::string>>;

struct WireRequest {
  std::string method;
  std::string target;
  TextPairs fields;  // names in lower case, values without blanks at their ends
  std::string body;

  std::vector<std::string> values(std::string_view name) const;
};

/// Thrown for bytes that are no request, with what is wrong.
struct NoRequest {
  std::string why;
};

/// Takes the first request off the front of the bytes; nothing: more of it has to come.
std::optional<WireRequest> takeRequest(std::string& bytes);

/// The pairs of application/x-www-form-urlencoded; nothing when a byte stands unencoded in it that
/// must not.
std::optional<TextPairs> readUrlEncoded(std::string_view text);

/// The text without blanks and tabs at its ends.
std::string stripped(std::string_view text);

}  // namespace fuzz
