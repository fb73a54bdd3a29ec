#include "bench/answer.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/checksum.h"
#include "bench/random.h"

namespace bench {
namespace {

constexpr std::string_view kOk = "200 OK";

// One of the numbers below `count`, for variants of an answer.
std::size_t variant(std::uint64_t id, std::size_t count) { return mixed(id, 0xA25) % count; }

std::string gzipped(std::string_view body) {
  constexpr int kGzipFormat = 15 + 16;
  z_stream stream{};
  if (deflateInit2(&stream, 1, Z_DEFLATED, kGzipFormat, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("cannot compress");
  }
  std::string result(deflateBound(&stream, body.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  return result;
}

std::string hexadecimal(std::size_t number) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (; number > 0; number /= 16) text.insert(text.begin(), kDigits[number % 16]);
  return text.empty() ? "0" : text;
}

}  // namespace

void Answers::begin(std::uint64_t id, std::string_view status) {
  bytes_ = "HTTP/1.1 ";
  bytes_ += status;
  bytes_ += "\r\nContent-Type: application/octet-stream\r\nx-id: " + std::to_string(id);
  bytes_ += "\r\nx-checksum: " + checksumText(id, traffic_.responseBody(id)) + "\r\n";
  if (variant(id, 16) == 0) bytes_ += "Set-Cookie: latest=" + std::to_string(id) + "; Path=/\r\n";
}

void Answers::addLength(std::size_t bytes) {
  bytes_ += "Content-Length: " + std::to_string(bytes) + "\r\n";
}

bool Answers::send(std::uint64_t id, Fault fault) {
  switch (fault) {
    case Fault::None:
      return sendWhole(id, kOk, "");
    case Fault::Delayed:
      std::this_thread::sleep_for(std::chrono::milliseconds(1 + variant(id, 20)));
      return sendWhole(id, kOk, "");
    case Fault::InPieces:
      return sendInPieces(id);
    case Fault::Interim:
      return socket_.send("HTTP/1.1 103 Early Hints\r\nLink: </style.css>\r\n\r\n") &&
             sendWhole(id, kOk, "");
    case Fault::Chunked:
      return sendChunked(id, "0\r\n\r\n");
    case Fault::Trailers:
      return sendChunked(id, "0\r\nHTTP/1.1 200 OK: x\r\nx-trailer: 1\r\n\r\n");
    case Fault::Gzipped:
      return sendGzipped(id, false);
    case Fault::AskToClose:
      sendWhole(id, kOk, "Connection: close\r\n");
      socket_.finish();
      return false;
    case Fault::ServerError:
      return sendWhole(id, "503 Service Unavailable", "Retry-After: 1\r\n");
    case Fault::Redirect:
      return sendWhole(id, "307 Temporary Redirect",
                       "Location: /bench/" + std::to_string(id) + "\r\n");
    case Fault::EarlyAnswer:
    case Fault::EarlyAnswerThenGo:
      sendWhole(id, "413 Content Too Large", "Connection: close\r\n");
      socket_.finish();
      return false;
    case Fault::CloseAfterAnswer:
      sendWhole(id, kOk, "");
      socket_.finish();
      return false;
    case Fault::ResetAfterAnswer:
      return sendWhole(id, kOk, "");
    default:
      sendPart(id, fault);
      return false;
  }
}

bool Answers::sendWhole(std::uint64_t id, std::string_view status, std::string_view fields) {
  const std::string_view body = traffic_.responseBody(id);
  begin(id, status);
  bytes_ += fields;
  addLength(body.size());
  bytes_ += "\r\n";
  bytes_ += body;
  return socket_.send(bytes_);
}

bool Answers::sendInPieces(std::uint64_t id) {
  constexpr std::size_t kSmallPieces = 40;
  const std::string_view body = traffic_.responseBody(id);
  begin(id, kOk);
  addLength(body.size());
  bytes_ += "\r\n";
  bytes_ += body;
  std::string_view rest = bytes_;
  for (std::size_t i = 0; i < kSmallPieces && !rest.empty(); ++i) {
    const std::string_view piece = rest.substr(0, 1 + mixed(id, i) % 16);
    if (!socket_.send(piece)) return false;
    rest.remove_prefix(piece.size());
  }
  return socket_.send(rest);
}

bool Answers::sendChunked(std::uint64_t id, std::string_view end) {
  std::string_view body = traffic_.responseBody(id);
  begin(id, kOk);
  bytes_ += "Transfer-Encoding: chunked\r\n\r\n";
  for (std::uint64_t i = 0; !body.empty(); ++i) {
    const std::string_view chunk = body.substr(0, 1 + mixed(id, i) % 16384);
    bytes_ += hexadecimal(chunk.size()) + "\r\n";
    bytes_ += chunk;
    bytes_ += "\r\n";
    body.remove_prefix(chunk.size());
  }
  bytes_ += end;
  return socket_.send(bytes_);
}

bool Answers::sendGzipped(std::uint64_t id, bool isDamaged) {
  std::string body = gzipped(traffic_.responseBody(id));
  if (isDamaged) body[body.size() - 8] ^= 1;  // the checksum at its end
  begin(id, kOk);
  bytes_ += "Content-Encoding: gzip\r\n";
  addLength(body.size());
  bytes_ += "\r\n";
  bytes_ += body;
  return socket_.send(bytes_);
}

// What ends with the connection.
void Answers::sendPart(std::uint64_t id, Fault fault) {
  const std::string_view body = traffic_.responseBody(id);
  begin(id, kOk);
  switch (fault) {
    case Fault::UntilClose:
      bytes_ += "\r\n";
      bytes_ += body;
      break;
    case Fault::ResetBeforeAnswer:
    case Fault::ResetInUpload:
      socket_.resetAtEnd();
      return;
    case Fault::CloseBeforeAnswer:
      bytes_.clear();
      break;
    case Fault::CutInHead:
      bytes_.resize(1 + variant(id, bytes_.size() - 1));
      break;
    case Fault::Garbage:
      bytes_ = "220 ready\r\n\r\n";
      break;
    case Fault::ResetInBody:
      socket_.resetAtEnd();
      [[fallthrough]];
    case Fault::CutInBody:
      addLength(body.size() + 1);
      bytes_ += "\r\n";
      bytes_ += body.substr(0, variant(id, body.size() + 1));
      break;
    case Fault::CutInChunk:
      bytes_ += "Transfer-Encoding: chunked\r\n\r\n" + hexadecimal(body.size() + 1) + "\r\n";
      bytes_ += body;
      break;
    case Fault::NoLastChunk:
      bytes_ += "Transfer-Encoding: chunked\r\n\r\n5\r\nwhole\r\n";
      break;
    case Fault::BadLength:
      bytes_ += "Content-Length: 5, 4\r\n\r\nwhole";
      break;
    case Fault::BadChunkSize:
      bytes_ += "Transfer-Encoding: chunked\r\n\r\n5\r\nwhole\r\nno size\r\n";
      break;
    case Fault::DamagedGzip:
      sendGzipped(id, true);
      socket_.finish();
      return;
    default:
      throw std::logic_error("no answer ends like this");
  }
  socket_.send(bytes_);
  if (fault != Fault::ResetInBody) socket_.finish();
}

}  // namespace bench
