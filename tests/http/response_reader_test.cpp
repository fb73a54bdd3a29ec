#include "http/response_reader.h"

#include <Poco/Net/NetException.h>

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "http/piece_source.h"
#include "runtime/exception.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kIoError[] = "Error processing response stream: I/O error";

struct Outcome {
  int status = 0;
  std::string body;
  std::string failure;
  std::string framingError;
  bool reusable = false;
};

Outcome readOne(ResponseReader& reader, bool toHead = false) {
  Outcome outcome;
  try {
    ResponseHead head;
    reader.readHead(head, toHead);
    outcome.status = head.status();
    std::array<char, 7> piece;
    while (const std::size_t count = reader.readBody(piece.data(), piece.size())) {
      outcome.body.append(piece.data(), count);
    }
  } catch (const Poco::Exception& failure) {
    outcome.failure = failure.displayText();
  } catch (const orvex::StreamException& failure) {
    outcome.failure = failure.what();
    outcome.framingError = reader.framingError();
  }
  outcome.reusable = reader.reusable();
  return outcome;
}

// What a reader makes of the text, the same for every way in which the bytes may arrive.
Outcome read(const std::string& text, bool toHead = false) {
  Outcome first;
  for (const std::size_t pieceBytes : {1UL, 2UL, 3UL, 17UL, 100000UL}) {
    PieceSource source(text, pieceBytes);
    ResponseReader reader(source);
    const Outcome outcome = readOne(reader, toHead);
    if (pieceBytes == 1) first = outcome;
    EXPECT_EQ(outcome.status, first.status) << "pieces of " << pieceBytes;
    EXPECT_EQ(outcome.body, first.body) << "pieces of " << pieceBytes;
    EXPECT_EQ(outcome.failure, first.failure) << "pieces of " << pieceBytes;
  }
  return first;
}

TEST(ResponseReaderTest, ReadsABodyOfAnnouncedLength) {
  const Outcome outcome = read("HTTP/1.1 200 OK\r\nContent-Length: 11\r\n\r\nhello world");

  EXPECT_EQ(outcome.status, 200);
  EXPECT_EQ(outcome.body, "hello world");
  EXPECT_TRUE(outcome.reusable);
}

TEST(ResponseReaderTest, ReadsAChunkedBodyWithExtensionsAndTrailers) {
  const Outcome outcome = read(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n"
      "5;ext=1\r\nhello\r\nA \r\n wide worl\r\n1\r\nd\r\n0\r\nX: y\r\nZ: w\r\n\r\n");

  EXPECT_EQ(outcome.body, "hello wide world");
  EXPECT_TRUE(outcome.reusable);
}

TEST(ResponseReaderTest, ReadsABodyUntilTheConnectionCloses) {
  const Outcome outcome = read("HTTP/1.1 200 OK\r\n\r\nall of it");

  EXPECT_EQ(outcome.body, "all of it");
  EXPECT_EQ(outcome.failure, "");
  EXPECT_FALSE(outcome.reusable);
}

TEST(ResponseReaderTest, ReadsTwoAnswersOneAfterTheOther) {
  PieceSource source(
      "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\none"
      "HTTP/1.1 201 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\ntwo\r\n0\r\n\r\n");
  ResponseReader reader(source);

  const Outcome first = readOne(reader);
  const Outcome second = readOne(reader);

  EXPECT_EQ(first.body, "one");
  EXPECT_EQ(second.status, 201);
  EXPECT_EQ(second.body, "two");
}

TEST(ResponseReaderTest, DoesNotReuseAConnectionWithBytesBehindTheAnswer) {
  PieceSource source("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nonejunk", 1000);
  ResponseReader reader(source);

  const Outcome outcome = readOne(reader);

  EXPECT_EQ(outcome.body, "one");
  EXPECT_FALSE(outcome.reusable);
}

TEST(ResponseReaderTest, PassesOverInterimResponses) {
  const Outcome outcome = read(
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n"
      "HTTP/1.1 204 No Content\r\n\r\n");

  EXPECT_EQ(outcome.status, 204);
  EXPECT_TRUE(outcome.reusable);
}

TEST(ResponseReaderTest, BoundsInterimResponses) {
  std::string interim;
  while (interim.size() <= ResponseReader::kInterimBytesMax) {
    interim += "HTTP/1.1 102 Processing\r\nx: " + std::string(1000, 'y') + "\r\n\r\n";
  }
  PieceSource source(interim + "HTTP/1.1 200 OK\r\n\r\n", 100000);
  ResponseReader reader(source);

  EXPECT_EQ(readOne(reader).failure, "Malformed message: Too many interim responses");
}

TEST(ResponseReaderTest, TakesSwitchingProtocolsAsTheAnswerAndDropsTheConnection) {
  const Outcome outcome = read("HTTP/1.1 101 Switching Protocols\r\n\r\n");

  EXPECT_EQ(outcome.status, 101);
  EXPECT_FALSE(outcome.reusable);
}

TEST(ResponseReaderTest, ExpectsNoBodyAfterHeadNoContentAndNotModified) {
  EXPECT_TRUE(read("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", true).reusable);
  EXPECT_TRUE(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", true).reusable);
  EXPECT_TRUE(read("HTTP/1.1 304 Not Modified\r\nContent-Length: 5\r\n\r\n").reusable);
  EXPECT_EQ(read("HTTP/1.1 204 No Content\r\n\r\n").body, "");
}

TEST(ResponseReaderTest, DoesNotTrustAConnectionAfterANoContentThatAnnouncesABody) {
  EXPECT_FALSE(read("HTTP/1.1 204 No Content\r\nContent-Length: 5\r\n\r\n").reusable);
}

TEST(ResponseReaderTest, HonoursTheConnectionHeader) {
  const std::string body = "Content-Length: 1\r\n\r\nx";

  EXPECT_FALSE(read("HTTP/1.1 200 OK\r\nConnection: close, x\r\n" + body).reusable);
  EXPECT_FALSE(read("HTTP/1.1 200 OK\r\nConnection: x\r\nConnection: CLOSE\r\n" + body).reusable);
  EXPECT_FALSE(read("HTTP/1.0 200 OK\r\n" + body).reusable);
  EXPECT_TRUE(read("HTTP/1.0 200 OK\r\nConnection: Keep-Alive\r\n" + body).reusable);
}

TEST(ResponseReaderTest, PrefersChunkedOverALengthAndDropsTheConnection) {
  const Outcome outcome = read(
      "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nTransfer-Encoding: chunked\r\n\r\n"
      "2\r\nab\r\n0\r\n\r\n");

  EXPECT_EQ(outcome.body, "ab");
  EXPECT_FALSE(outcome.reusable);
}

TEST(ResponseReaderTest, RaisesNoMessageWhenTheConnectionClosesBeforeTheAnswer) {
  EXPECT_EQ(read("").failure, "No message received");
  EXPECT_EQ(read("\r\n").failure, "No message received");
}

TEST(ResponseReaderTest, RaisesAMessageErrorWhenTheHeadIsCut) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

  for (std::size_t cut = 1; cut < head.size(); ++cut) {
    EXPECT_EQ(read(head.substr(0, cut)).failure,
              "Malformed message: Connection closed inside the response head")
        << "cut at " << cut;
  }
}

TEST(ResponseReaderTest, RaisesAnIoErrorWhenABodyIsCutAtAnyByte) {
  for (const std::string body : {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello",
                                 "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                 "5\r\nhello\r\n0\r\nT: x\r\n\r\n"}) {
    const std::size_t begin = body.find("\r\n\r\n") + 4;
    for (std::size_t cut = begin; cut < body.size(); ++cut) {
      const Outcome outcome = read(body.substr(0, cut));
      EXPECT_EQ(outcome.failure, kIoError) << body << " cut at " << cut;
      EXPECT_FALSE(outcome.reusable);
    }
  }
}

TEST(ResponseReaderTest, RefusesContradictoryFraming) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const struct {
    const char* header;
    const char* reason;
  } cases[] = {
      {"Content-Length: -5", "invalid Content-Length"},
      {"Content-Length: +5", "invalid Content-Length"},
      {"Content-Length: 1,0", "invalid Content-Length"},
      {"Content-Length: 1\r\nContent-Length: 2", "invalid Content-Length"},
      {"Content-Length: 0x5", "invalid Content-Length"},
      {"Content-Length:", "invalid Content-Length"},
      {"Content-Length: 99999999999999999999", "invalid Content-Length"},
      {"Transfer-Encoding: gzip, chunked", "unsupported Transfer-Encoding"},
      {"Transfer-Encoding: gzip", "unsupported Transfer-Encoding"},
      {"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked", "unsupported Transfer-Encoding"},
  };
  for (const auto& [header, reason] : cases) {
    const Outcome outcome = read(ok + header + "\r\n\r\n5\r\nhello\r\n0\r\n\r\n");
    EXPECT_EQ(outcome.failure, kIoError) << header;
    EXPECT_EQ(outcome.framingError, reason) << header;
  }
}

TEST(ResponseReaderTest, AcceptsARepeatedEqualLength) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 2, 2\r\nContent-Length: 2\r\n\r\nok").body,
            "ok");
}

TEST(ResponseReaderTest, RefusesBrokenChunks) {
  const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

  EXPECT_EQ(read(head + "zz\r\nhello\r\n0\r\n\r\n").framingError, "invalid chunk size");
  EXPECT_EQ(read(head + "-1\r\nhello\r\n0\r\n\r\n").framingError, "invalid chunk size");
  EXPECT_EQ(read(head + "\r\nhello\r\n0\r\n\r\n").framingError, "invalid chunk size");
  EXPECT_EQ(read(head + "3\r\nhello\r\n0\r\n\r\n").framingError, "chunk longer than its size");
  EXPECT_EQ(read(head + std::string(5000, '1') + "\r\n").framingError,
            "line too long in the chunked framing");
}

TEST(ResponseReaderTest, RefusesAHeadOfMoreThanOneMib) {
  std::string head = "HTTP/1.1 200 OK\r\n";
  while (head.size() <= ResponseHead::kHeadBytesMax)
    head += "a: " + std::string(1000, 'x') + "\r\n";
  PieceSource source(head + "\r\n", 100000);
  ResponseReader reader(source);

  EXPECT_EQ(readOne(reader).failure, "Malformed message: Response head too large");
}

TEST(ResponseReaderTest, CountsEmptyLinesBeforeTheStatusLine) {
  std::string lines;
  while (lines.size() <= ResponseHead::kHeadBytesMax) lines += "\r\n";
  PieceSource source(lines, 100000);
  ResponseReader reader(source);

  EXPECT_EQ(readOne(reader).failure, "Malformed message: Response head too large");
  EXPECT_EQ(read("\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok").body, "ok");
}

TEST(ResponseReaderTest, DrainsUpToItsBound) {
  PieceSource source("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + std::string(100000, 'x'),
                     1000000);
  ResponseReader reader(source);
  ResponseHead head;
  reader.readHead(head, false);

  EXPECT_FALSE(reader.drain(10000));
  EXPECT_FALSE(reader.reusable());
  EXPECT_TRUE(reader.drain(100000));
  EXPECT_TRUE(reader.reusable());
}

TEST(ResponseReaderTest, TellsTheExpectedLengthBeforehand) {
  PieceSource source("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello");
  ResponseReader reader(source);
  ResponseHead head;

  reader.readHead(head, false);

  EXPECT_EQ(reader.expectedBytes(), 5u);
}

TEST(ResponseReaderTest, ForgetsEverythingOnClear) {
  PieceSource source("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nxjunk", 1000);
  ResponseReader reader(source);
  readOne(reader);

  reader.clear();

  EXPECT_EQ(readOne(reader).failure, "No message received");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
