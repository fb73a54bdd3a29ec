// fuzz/reference_response.h : reads one response out of bytes that are all at hand, strictly by
// RFC 9112 and without any code of the reader that it judges.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fuzz {

/// How the bytes end: the peer closes, goes silent, or resets the connection.
enum class End { Close, Silence, Reset };

/// Strict: in form, has to be taken. Tolerable: out of form in a way that the standard lets a
/// client mend or refuse. Invalid: has to be refused.
enum class Form { Strict, Tolerable, Invalid };

struct ReferenceResponse {
  Form form = Form::Strict;
  std::string why;  // what is out of form
  bool hasHead = false;
  int status = 0;
  std::string reason;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;  // still coded
  bool isReusable = false;
};

ReferenceResponse readResponse(std::string_view bytes, End end, bool toHead);

/// The text with every run of blanks and carriage returns as one blank.
std::string withSingleBlanks(std::string_view text);

}  // namespace fuzz
