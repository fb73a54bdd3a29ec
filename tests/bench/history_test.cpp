#include "bench/history.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace bench {

void PrintTo(Explanation explanation, std::ostream* out) {
  constexpr const char* kNames[] = {"explained", "explained by a closed connection", "unexplained"};
  *out << kNames[static_cast<int>(explanation)];
}

}  // namespace bench

namespace {

using bench::explain;
using bench::Explanation;
using bench::Fault;
using bench::Outcome;

constexpr auto kExplained = Explanation::Explained;
constexpr auto kByClosed = Explanation::ExplainedByClosedConnection;
constexpr auto kUnexplained = Explanation::Unexplained;
constexpr char kNothingCame[] = "No message received";
constexpr char kCutShort[] = "Error processing response stream: I/O error";

Explanation answered(const std::vector<Fault>& attempts, int status) {
  return explain(attempts, Outcome{status, {}});
}

Explanation failed(const std::vector<Fault>& attempts, const char* text) {
  return explain(attempts, Outcome{0, text});
}

TEST(HistoryTest, ExpectsTheStatusThatTheServerGave) {
  EXPECT_EQ(answered({Fault::None}, 200), kExplained);
  EXPECT_EQ(answered({Fault::Trailers}, 200), kExplained);
  EXPECT_EQ(answered({Fault::ServerError}, 503), kExplained);
  EXPECT_EQ(answered({Fault::EarlyAnswer}, 413), kExplained);
  EXPECT_EQ(answered({Fault::None}, 503), kUnexplained);
  EXPECT_EQ(answered({Fault::ServerError}, 200), kUnexplained);
}

TEST(HistoryTest, RefusesAnAnswerToWhatTheServerNeverSaw) {
  EXPECT_EQ(answered({}, 200), kUnexplained);
  EXPECT_EQ(failed({}, kNothingCame), kUnexplained);
}

TEST(HistoryTest, RefusesAnAnswerThatWasNotWhole) {
  for (const Fault fault :
       {Fault::CutInBody, Fault::CutInChunk, Fault::NoLastChunk, Fault::ResetInBody,
        Fault::BadLength, Fault::BadChunkSize, Fault::DamagedGzip, Fault::CutInHead, Fault::Garbage,
        Fault::CloseBeforeAnswer, Fault::ResetBeforeAnswer}) {
    EXPECT_EQ(answered({fault}, 200), kUnexplained) << nameOf(fault);
  }
}

TEST(HistoryTest, ExplainsASecondAttemptByTheLossOfTheFirst) {
  EXPECT_EQ(answered({Fault::CloseBeforeAnswer, Fault::None}, 200), kExplained);
  EXPECT_EQ(answered({Fault::Garbage, Fault::ServerError}, 503), kExplained);
  EXPECT_EQ(answered({Fault::None, Fault::None}, 200), kUnexplained);
  EXPECT_EQ(answered({Fault::CutInBody, Fault::None}, 200), kUnexplained);
  EXPECT_EQ(answered({Fault::CloseAfterAnswer, Fault::None}, 200), kUnexplained);
}

TEST(HistoryTest, RefusesAThirdAttempt) {
  EXPECT_EQ(answered({Fault::Garbage, Fault::Garbage, Fault::None}, 200), kUnexplained);
}

TEST(HistoryTest, GivesTwoAttemptsToEachHopOfARedirect) {
  EXPECT_EQ(answered({Fault::Redirect, Fault::None}, 200), kExplained);
  EXPECT_EQ(answered({Fault::Garbage, Fault::Redirect, Fault::Garbage, Fault::None}, 200),
            kExplained);
  EXPECT_EQ(answered({Fault::Redirect}, 200), kUnexplained);
  EXPECT_EQ(answered({Fault::Redirect}, 307), kUnexplained);
}

TEST(HistoryTest, ExplainsAFailureByTwoLosses) {
  EXPECT_EQ(failed({Fault::Garbage, Fault::CloseBeforeAnswer}, kNothingCame), kExplained);
  EXPECT_EQ(
      failed({Fault::CloseBeforeAnswer, Fault::Garbage}, "Malformed message: Invalid status line"),
      kExplained);
  EXPECT_EQ(failed({Fault::ResetBeforeAnswer, Fault::ResetBeforeAnswer},
                   "SSL Exception: error:0A000126:SSL routines::unexpected eof while reading"),
            kExplained);
}

TEST(HistoryTest, NeedsAClosedConnectionForAFailureAfterOneLoss) {
  EXPECT_EQ(failed({Fault::CloseBeforeAnswer}, kNothingCame), kByClosed);
  EXPECT_EQ(failed({Fault::Redirect, Fault::CloseBeforeAnswer}, kNothingCame), kUnexplained);
}

TEST(HistoryTest, ExplainsAFailureByAnAnswerThatBrokeOff) {
  EXPECT_EQ(failed({Fault::CutInBody}, kCutShort), kExplained);
  EXPECT_EQ(failed({Fault::Redirect, Fault::BadLength}, kCutShort), kExplained);
  EXPECT_EQ(failed({Fault::ResetInBody}, "Connection reset by peer"), kExplained);
}

TEST(HistoryTest, RefusesAFailureOfAnAnswerThatWasWhole) {
  EXPECT_EQ(failed({Fault::None}, kCutShort), kUnexplained);
  EXPECT_EQ(failed({Fault::None}, kNothingCame), kUnexplained);
  EXPECT_EQ(failed({Fault::EarlyAnswer}, kNothingCame), kUnexplained);
  EXPECT_EQ(failed({Fault::CloseBeforeAnswer, Fault::None}, kNothingCame), kUnexplained);
}

TEST(HistoryTest, RefusesATextThatSaysSomethingElse) {
  EXPECT_EQ(failed({Fault::CutInBody}, kNothingCame), kUnexplained);
  EXPECT_EQ(failed({Fault::CutInBody}, "Timeout"), kUnexplained);
  EXPECT_EQ(failed({Fault::Garbage, Fault::Garbage}, kNothingCame), kUnexplained);
  EXPECT_EQ(failed({Fault::Garbage, Fault::CloseBeforeAnswer}, ""), kUnexplained);
  EXPECT_EQ(failed({Fault::DamagedGzip}, kCutShort), kUnexplained);
}

}  // namespace
