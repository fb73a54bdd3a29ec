#include "bench/judge.h"

#include <chrono>
#include <exception>
#include <optional>

#include "bench/checksum.h"
#include "model/get.h"
#include "model/map_key.h"

namespace bench {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::MapKey;
using com::corvane::connectivity10_15_0::Message;

namespace {

struct Keys {
  MapKey requestId{"requestId"};
  MapKey http{"http"};
  MapKey headers{"headers"};
  MapKey statusCode{"statusCode"};
  MapKey statusReason{"statusReason"};
  MapKey id{"x-id"};
  MapKey checksum{"x-checksum"};
};

const Keys& keys() {
  static const Keys all;
  return all;
}

const map_t& httpOf(const Message& message) {
  return get<map_t>(message.metadata.find(keys().http).value());
}

std::string_view bodyOf(const Message& message) {
  return message.payload.isEmpty() ? std::string_view() : get<buffer_t>(message.payload).view();
}

std::string described(std::uint64_t id, const std::vector<Fault>& attempts,
                      const Outcome& outcome) {
  std::string text = "request " + std::to_string(id) + ": ";
  for (const Fault fault : attempts) text += std::string(nameOf(fault)) + ", ";
  return text + "ended as " +
         (outcome.status != 0 ? std::to_string(outcome.status) : std::string(outcome.text));
}

}  // namespace

void Judge::expect(std::uint64_t id) {
  room_.acquire();
  if (!journal_.open(id)) reportCase(&Tally::lost, "a request long before " + std::to_string(id));
}

bool Judge::awaitAnswers(double seconds) {
  using Clock = std::chrono::steady_clock;
  const std::chrono::duration<double> most(seconds);
  const auto guard = Clock::now() + std::chrono::duration_cast<Clock::duration>(most);
  std::ptrdiff_t free = 0;
  while (free < underWayMax_ && room_.try_acquire_until(guard)) ++free;
  room_.release(free);
  return free == underWayMax_;
}

void Judge::receive(void* self, kel_message* first, kel_message* end) {
  auto& judge = *static_cast<Judge*>(self);
  for (; first != end; ++first) {
    try {
      judge.judge(reinterpret_cast<const Message&>(*first));
    } catch (const std::exception& failure) {
      judge.reportCase(&Tally::unexplained, std::string("not in form: ") + failure.what());
    }
  }
}

void Judge::logged(void* self, const char* category, std::int32_t, const char* text) {
  static_cast<Judge*>(self)->reportCase(&Tally::logged, std::string(category) + " " + text);
}

void Judge::judge(const Message& message) {
  const auto id = static_cast<std::uint64_t>(
      get<std::int64_t>(message.metadata.find(keys().requestId).value()));
  const auto arrivals = journal_.close(id);
  if (!arrivals) {
    reportCase(&Tally::doubled, "request " + std::to_string(id) + " answered once too often");
    return;
  }
  judgeAnswer(message, id, *arrivals);
  room_.release();
}

void Judge::judgeAnswer(const Message& message, std::uint64_t id, unsigned arrivals) {
  const map_t& http = httpOf(message);
  std::vector<Fault> attempts;
  for (unsigned i = 0; i < arrivals; ++i) attempts.push_back(faults_.at(id, i));

  Outcome outcome;
  const auto headers = http.find(keys().headers);
  if (headers != http.end()) {
    outcome.status = static_cast<int>(get<std::int64_t>(http.find(keys().statusCode).value()));
    const map_t& fields = get<map_t>(headers.value());
    const auto ownId = fields.find(keys().id);
    const auto sum = fields.find(keys().checksum);
    const std::string_view body = bodyOf(message);
    const std::string expected = checksumText(id, body);
    if (ownId == fields.end() || get<const char*>(ownId.value()) != std::to_string(id)) {
      reportCase(&Tally::crossed, described(id, attempts, outcome) + ", with another's answer");
    } else if (sum == fields.end() || get<const char*>(sum.value()) != expected ||
               body.size() != traffic_.responseBody(id).size()) {
      reportCase(&Tally::damaged, described(id, attempts, outcome) + ", with a wrong body");
    }
  } else {
    outcome.text = get<const char*>(http.find(keys().statusReason).value());
  }

  const Explanation explanation = explain(attempts, outcome);
  if (explanation == Explanation::Unexplained) {
    reportCase(&Tally::unexplained, described(id, attempts, outcome));
  }
  const std::lock_guard lock(mutex_);
  ++tally_.answered;
  tally_.seen += arrivals;
  if (arrivals > 1) tally_.seenAgain += arrivals - 1;
  if (outcome.status == 0) ++tally_.failed;
  if (outcome.status == 200) ++tally_.delivered;
  if (outcome.status != 0 && outcome.status != 200) ++tally_.refused;
  if (explanation == Explanation::ExplainedByClosedConnection) ++tally_.closedUnseen;
}

void Judge::close() {
  const std::uint64_t open = journal_.openIds();
  const std::lock_guard lock(mutex_);
  tally_.lost += open;
}

void Judge::reportCase(std::uint64_t Tally::*kind, const std::string& text) {
  const std::lock_guard lock(mutex_);
  ++(tally_.*kind);
  if (cases_.size() < kCasesMax) cases_.push_back(text);
}

Tally Judge::tally() const {
  const std::lock_guard lock(mutex_);
  return tally_;
}

std::vector<std::string> Judge::cases() const {
  const std::lock_guard lock(mutex_);
  return cases_;
}

}  // namespace bench
