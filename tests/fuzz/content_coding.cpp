// A coded body comes in pieces; zlib over the whole of it has to give the same or to fail as well.
//
// The input's first line: CODING PIECE bytes, and the rest is the body; or CODING PIECE text LEVEL
// STRATEGY FLUSH MEMBERS TAIL CUT, and the rest is coded: at a level and with a strategy of zlib's,
// flushed every FLUSH bytes, MEMBERS times, with TAIL bytes behind it and CUT bytes taken off its
// end. CODING is gzip, deflate or raw (a raw stream under the name "deflate").

#include <zlib.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "fuzz/reference_inflate.h"
#include "http/piece_source.h"
#include "http/response_body.h"
#include "plugin/logger.h"

namespace {

using namespace com::corvane::connectivity::plugins;
using com::corvane::connectivity10_15_0::Logger;

struct Plan {
  std::string coding;
  std::size_t piece = 1;
  bool isText = false;
  unsigned level = 0, strategy = 0, flush = 0, members = 1, tail = 0, cut = 0;
};

Plan readPlan(const std::string& line) {
  std::istringstream words(line);
  Plan plan;
  std::string kind;
  words >> plan.coding >> plan.piece >> kind >> plan.level >> plan.strategy >> plan.flush >>
      plan.members >> plan.tail >> plan.cut;
  plan.isText = kind == "text";
  plan.piece = std::clamp<std::size_t>(plan.piece, 1, 20'000);
  plan.members = plan.coding == "gzip" ? std::clamp(plan.members, 1U, 3U) : 1;
  plan.tail %= 5000;
  return plan;
}

void putThrough(z_stream& stream, std::string_view text, int flush, std::string& result) {
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  int state = Z_OK;
  do {
    char piece[512];
    stream.next_out = reinterpret_cast<Bytef*>(piece);
    stream.avail_out = sizeof(piece);
    state = deflate(&stream, flush);
    result.append(piece, sizeof(piece) - stream.avail_out);
  } while (stream.avail_out == 0 && state == Z_OK);
}

std::string coded(std::string_view text, const Plan& plan) {
  z_stream stream{};
  const int window = plan.coding == "gzip" ? 31 : plan.coding == "deflate" ? 15 : -15;
  if (deflateInit2(&stream, static_cast<int>(plan.level % 10), Z_DEFLATED, window, 8,
                   static_cast<int>(plan.strategy % 5)) != Z_OK) {
    throw std::runtime_error("zlib refuses to begin");
  }
  std::string result;
  if (plan.flush > 0) {
    for (; text.size() > plan.flush; text.remove_prefix(plan.flush)) {
      putThrough(stream, text.substr(0, plan.flush), Z_SYNC_FLUSH, result);
    }
  }
  putThrough(stream, text, Z_FINISH, result);
  deflateEnd(&stream);
  return result;
}

std::optional<std::string> decodedBySource(const Plan& plan, const std::string& body) {
  const std::string name = plan.coding == "gzip" ? "gzip" : "deflate";
  PieceSource source("HTTP/1.1 200 OK\r\nContent-Encoding: " + name +
                         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body,
                     plan.piece);
  ResponseReader reader(source);
  ResponseHead head;
  reader.readHead(head, false);
  const Logger log("fuzz");
  const ThreadLogger logger(log, 0);
  ResponseBody decoded(logger);
  try {
    decoded.read(head, true, reader);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  fuzz::require(reader.reusable(), "the body was not read to its end");
  return std::string(decoded.view());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t feed = std::min(input.find('\n'), input.size());
  const Plan plan = readPlan(std::string(input.substr(0, feed)));
  const std::string_view rest = input.substr(std::min(feed + 1, input.size()));

  std::string body(rest);
  std::string text;
  if (plan.isText) {
    body.clear();
    for (unsigned i = 0; i < plan.members; ++i) {
      body += coded(rest, plan);
      text += rest;
    }
    body.append(plan.tail, 'T');
    body.resize(body.size() - std::min<std::size_t>(plan.cut, body.size()));
  }

  const auto expected =
      plan.coding == "gzip" ? fuzz::inflatedGzip(body) : fuzz::inflatedDeflate(body);
  if (plan.isText && plan.cut <= plan.tail) {
    fuzz::require(expected == text, "zlib does not give back what it was given");
  }
  const auto actual = decodedBySource(plan, body);
  if (actual && !expected) fuzz::fail("a body is delivered that zlib refuses");
  if (!actual && expected) fuzz::fail("a body is refused that zlib decodes");
  fuzz::require(actual == expected, "the bodies differ");
  return 0;
}
