#include "http/response_head.h"

#include <Poco/Net/NetException.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "http/ascii.h"

namespace com::corvane::connectivity::plugins {

using Poco::Net::MessageException;

namespace {

// Names are tokens (RFC 9110, section 5.6.2); bytes above 0x7F, which some servers send in them,
// stand for ISO-8859-1.
constexpr std::array<bool, 256> nameCharacters() {
  constexpr std::string_view kSymbols = "!#$%&'*+-.^_`|~";
  std::array<bool, 256> result{};
  for (std::size_t byte = 0; byte < result.size(); ++byte) {
    const char c = static_cast<char>(byte);
    const char lower = ascii::toLower(c);
    result[byte] = byte > 0x7F || ascii::isDigit(c) || (lower >= 'a' && lower <= 'z') ||
                   kSymbols.find(c) != std::string_view::npos;
  }
  return result;
}

constexpr std::array<bool, 256> kNameCharacters = nameCharacters();

bool isNameCharacter(char c) { return kNameCharacters[static_cast<unsigned char>(c)]; }

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// The end of the line that begins at `position`, its line feed not included.
std::size_t lineEnd(const std::string& bytes, std::size_t position) {
  return bytes.find('\n', position);
}

std::string_view lineText(const std::string& bytes, std::size_t begin, std::size_t feed) {
  std::size_t end = feed;
  if (end > begin && bytes[end - 1] == '\r') --end;
  return std::string_view(bytes).substr(begin, end - begin);
}

}  // namespace

std::string_view ResponseHead::find(std::string_view name) const {
  for (const HeaderField& field : fields_) {
    if (ascii::equalsIgnoringCase(field.name, name)) return field.value;
  }
  return {};
}

void ResponseHead::clear() {
  bytes_.clear();
  fields_.clear();
  reason_ = {};
  status_ = 0;
  folds_ = 0;
}

void ResponseHead::parse() {
  if (bytes_.find('\0') != std::string::npos) {
    throw MessageException("NUL byte in the response head");
  }
  const std::size_t feed = lineEnd(bytes_, 0);
  const std::size_t length = lineText(bytes_, 0, feed).size();
  // A bare carriage return stands for a blank: RFC 9112, section 2.2.
  std::replace(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(length), '\r', ' ');
  parseStatusLine(std::string_view(bytes_).substr(0, length));
  terminate(reason_);
  parseFields(feed + 1);
}

// The texts are cut out of the buffer in place: what follows each is a delimiter that has been
// read already (a colon, a carriage return, a blank or the line feed).
void ResponseHead::terminate(std::string_view text) {
  bytes_[static_cast<std::size_t>(text.data() - bytes_.data()) + text.size()] = '\0';
}

void ResponseHead::parseStatusLine(std::string_view line) {
  // HTTP/1.x SP 3DIGIT [SP reason]
  const bool isVersion = line.size() >= 12 && line.substr(0, 7) == "HTTP/1." &&
                         ascii::isDigit(line[7]) && line[8] == ' ';
  if (!isVersion) throw MessageException("Invalid status line");
  minorVersion_ = line[7] == '0' ? 0 : 1;
  const std::string_view code = line.substr(9, 3);
  const bool isCode = std::all_of(code.begin(), code.end(), ascii::isDigit) && code[0] != '0';
  if (!isCode || (line.size() > 12 && line[12] != ' ')) {
    throw MessageException("Invalid status code");
  }
  status_ = (code[0] - '0') * 100 + (code[1] - '0') * 10 + (code[2] - '0');
  reason_ = line.substr(12);
  while (!reason_.empty() && isBlank(reason_.front())) reason_.remove_prefix(1);
}

void ResponseHead::parseFields(std::size_t position) {
  while (true) {
    const std::size_t begin = position;
    std::size_t feed = lineEnd(bytes_, begin);
    if (lineText(bytes_, begin, feed).empty()) return;
    while (isBlank(bytes_[feed + 1])) feed = unfold(feed);
    position = feed + 1;
    const std::string_view line = lineText(bytes_, begin, feed);
    if (line.size() > kFieldBytesMax) throw MessageException("Header field too long");
    if (fields_.size() == kFieldsMax) throw MessageException("Too many header fields");
    addField(bytes_.data() + begin, bytes_.data() + begin + line.size());
  }
}

// Joins the line that ends at `feed` and the one after it, which continues the field, by one blank
// (obsolete line folding: RFC 9112, section 5.2). Returns the end of the joined line.
std::size_t ResponseHead::unfold(std::size_t feed) {
  // Each fold moves what follows it: their number has to be bounded.
  if (++folds_ > kFoldsMax) throw MessageException("Too many folded header lines");
  std::size_t begin = feed;
  if (bytes_[begin - 1] == '\r') --begin;
  while (isBlank(bytes_[begin - 1])) --begin;
  const std::size_t end = bytes_.find_first_not_of(" \t", feed + 1);
  bytes_.replace(begin, end - begin, 1, ' ');
  return lineEnd(bytes_, begin);
}

void ResponseHead::addField(char* begin, char* end) {
  char* const colon = std::find(begin, end, ':');
  char* nameEnd = colon;
  while (nameEnd != begin && isBlank(nameEnd[-1])) --nameEnd;
  if (colon == end || nameEnd == begin || !std::all_of(begin, nameEnd, isNameCharacter)) {
    throw MessageException("Malformed header field");
  }
  std::replace(colon, end, '\r', ' ');  // a bare carriage return: RFC 9112, section 2.2
  HeaderField field;
  field.name = {begin, static_cast<std::size_t>(nameEnd - begin)};
  field.value = ascii::trimmed({colon + 1, static_cast<std::size_t>(end - colon - 1)});
  *nameEnd = '\0';
  terminate(field.value);
  fields_.push_back(field);
}

}  // namespace com::corvane::connectivity::plugins
