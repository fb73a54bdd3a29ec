#include "fuzz/reference_response.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace fuzz {

namespace {

constexpr std::uint64_t kLengthMax = INT64_MAX;
constexpr std::size_t kFieldsMax = 1000;
constexpr std::size_t kChunkLineMax = 4096;

struct Refusal {
  std::string why;
};

bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool isTokenByte(char c) {
  const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  const bool isOther =
      c != '\0' && std::string_view("!#$%&'*+-.^_`|~0123456789").find(c) != std::string_view::npos;
  return isLetter || isOther;
}

std::string_view stripped(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return result;
}

std::vector<std::string> elementsOf(std::string_view list) {
  std::vector<std::string> elements;
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t comma = std::min(list.find(',', begin), list.size());
    elements.emplace_back(stripped(list.substr(begin, comma - begin)));
    begin = comma + 1;
  }
  return elements;
}

std::optional<std::uint64_t> numberOf(std::string_view digits, std::uint64_t base) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (digits.empty()) return std::nullopt;
  std::uint64_t value = 0;
  std::size_t count = 0;  // of digits from the first that is not 0 on
  for (const char c : lowered(digits)) {
    const std::size_t digit = kDigits.substr(0, base).find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    if (value > 0 || digit > 0) ++count;
    if (count <= 16) value = value * base + digit;
  }
  // Nobody has the bytes for a number of more digits.
  if (count > 16 || value > kLengthMax) return std::nullopt;
  return value;
}

class ReplyReading {
 public:
  ReplyReading(std::string_view bytes, End end, bool toHead)
      : rest_(bytes), end_(end), toHead_(toHead) {}

  ReferenceResponse read() {
    try {
      readHeads();
      response_.hasHead = true;
      readBody();
      response_.isReusable = keepsOpen_ && rest_.empty();
    } catch (const Refusal& refusal) {
      response_.form = Form::Invalid;
      response_.why = refusal.why;
    }
    return response_;
  }

 private:
  [[noreturn]] static void refuse(const char* why) { throw Refusal{why}; }

  void tolerate(const char* why) {
    if (response_.form == Form::Strict) response_.why = why;
    response_.form = Form::Tolerable;
  }

  // The next line without its end.
  std::string_view takeLine() {
    const std::size_t feed = rest_.find('\n');
    if (feed == std::string_view::npos) refuse("cut inside a line");
    std::string_view line = rest_.substr(0, feed);
    rest_.remove_prefix(feed + 1);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    } else {
      tolerate("a line ends without carriage return");
    }
    return line;
  }

  void readHeads() {
    do {
      while (rest_.starts_with("\r\n") || rest_.starts_with("\n")) {
        takeLine();
        tolerate("empty lines before the head");
      }
      response_.fields.clear();
      readStatusLine(std::string(takeLine()));
      readFields();
    } while (response_.status < 200 && response_.status != 101);
  }

  void readStatusLine(std::string line) {
    if (line.find('\0') != std::string::npos) refuse("NUL byte");
    if (line.find('\r') != std::string::npos) tolerate("bare carriage return");
    std::replace(line.begin(), line.end(), '\r', ' ');
    const auto isDigit = [&](std::size_t at) {
      return at < line.size() && line[at] >= '0' && line[at] <= '9';
    };
    if (!line.starts_with("HTTP/1.") || !isDigit(7)) refuse("no version");
    if (line.size() < 9 || line[8] != ' ') refuse("no blank behind the version");
    if (!isDigit(9) || !isDigit(10) || !isDigit(11) || line[9] == '0') refuse("no status");
    if (line.size() > 12 && line[12] != ' ') refuse("no blank behind the status");
    if (line.size() == 12) tolerate("no blank behind the status");
    if (line[9] > '5') tolerate("status of no class");
    if (line[7] > '1') tolerate("version without a definition");
    minorVersion_ = line[7] - '0';
    response_.status = std::stoi(line.substr(9, 3));
    response_.reason =
        line.substr(std::min<std::size_t>(line.find_first_not_of(" \t", 12), line.size()));
    checkText(response_.reason);
  }

  void checkText(std::string_view text) {
    for (const char c : text) {
      if (c == '\0') refuse("NUL byte");
      if ((c >= 0 && c < ' ' && c != '\t') || c == '\x7F') tolerate("control character");
    }
  }

  void readFields() {
    std::vector<std::string> lines;
    for (std::string_view line = takeLine(); !line.empty(); line = takeLine()) {
      if (isBlank(line.front()) && !lines.empty()) {
        tolerate("folded line");
        lines.back() += ' ';
        lines.back() += line;
      } else {
        lines.emplace_back(line);
      }
    }
    if (lines.size() > kFieldsMax) refuse("too many fields");
    for (const std::string& line : lines) response_.fields.push_back(fieldOf(line));
  }

  std::pair<std::string, std::string> fieldOf(const std::string& line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) refuse("field without a colon");
    std::string_view name = std::string_view(line).substr(0, colon);
    if (!name.empty() && isBlank(name.back())) tolerate("blank before a colon");
    while (!name.empty() && isBlank(name.back())) name.remove_suffix(1);
    if (name.empty()) refuse("field without a name");
    for (const char c : name) {
      if (c < 0) {
        tolerate("name beyond ASCII");
      } else if (!isTokenByte(c)) {
        refuse("name that is no token");
      }
    }
    std::string value = line.substr(colon + 1);
    std::replace(value.begin(), value.end(), '\r', ' ');
    if (value != line.substr(colon + 1)) tolerate("bare carriage return");
    checkText(value);
    return {std::string(name), std::string(stripped(value))};
  }

  std::vector<std::string> elements(std::string_view name) const {
    std::vector<std::string> all;
    for (const auto& [fieldName, value] : response_.fields) {
      if (lowered(fieldName) != name) continue;
      for (std::string& element : elementsOf(value)) all.push_back(std::move(element));
    }
    return all;
  }

  bool hasOption(const char* option) const {
    const auto all = elements("connection");
    return std::any_of(all.begin(), all.end(),
                       [&](const std::string& one) { return lowered(one) == option; });
  }

  void readBody() {
    const int status = response_.status;
    const auto codings = elements("transfer-encoding");
    const auto lengths = elements("content-length");
    keepsOpen_ = !hasOption("close") && (minorVersion_ > 0 || hasOption("keep-alive"));
    if (toHead_ || status == 204 || status == 304 || status == 101) {
      if (status == 101) keepsOpen_ = false;
      if (status == 204 && !(codings.empty() && lengths.empty())) keepsOpen_ = false;
      return;
    }
    if (!codings.empty()) {
      if (codings.size() > 1 || lowered(codings[0]) != "chunked") refuse("unknown framing");
      if (minorVersion_ == 0) tolerate("chunks in HTTP/1.0");
      if (!lengths.empty()) tolerate("chunks and a length");
      keepsOpen_ = keepsOpen_ && minorVersion_ > 0 && lengths.empty();
      readChunks();
    } else if (!lengths.empty()) {
      readLength(lengths);
    } else {
      if (end_ != End::Close) refuse("no proof of the end");
      keepsOpen_ = false;
      take(rest_.size());
    }
  }

  void readLength(const std::vector<std::string>& lengths) {
    if (lengths.size() > 1) tolerate("several lengths");
    for (const std::string& one : lengths) {
      const auto number = numberOf(one, 10);
      if (!number || number != numberOf(lengths[0], 10)) refuse("bad length");
    }
    take(*numberOf(lengths[0], 10));
  }

  void take(std::uint64_t length) {
    if (length > rest_.size()) refuse("cut body");
    response_.body += rest_.substr(0, length);
    rest_.remove_prefix(length);
  }

  void readChunks() {
    while (true) {
      const std::string_view line = takeLine();
      if (line.size() > kChunkLineMax - 2) tolerate("long line");
      const std::string_view size = line.substr(0, line.find(';'));
      if (size != stripped(size)) tolerate("blanks around a chunk's size");
      const auto number = numberOf(stripped(size), 16);
      if (!number) refuse("bad chunk size");
      if (*number == 0) break;
      take(*number);
      if (!takeLine().empty()) refuse("chunk longer than its size");
    }
    for (std::string_view line = takeLine(); !line.empty(); line = takeLine()) {
      tolerate("trailers");
    }
  }

  std::string_view rest_;
  const End end_;
  const bool toHead_;
  int minorVersion_ = 1;
  bool keepsOpen_ = false;
  ReferenceResponse response_;
};

}  // namespace

ReferenceResponse readResponse(std::string_view bytes, End end, bool toHead) {
  return ReplyReading(bytes, end, toHead).read();
}

std::string withSingleBlanks(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const bool isGap = isBlank(c) || c == '\r';
    if (!isGap) {
      result += c;
    } else if (!result.ends_with(' ')) {
      result += ' ';
    }
  }
  return result;
}

}  // namespace fuzz
