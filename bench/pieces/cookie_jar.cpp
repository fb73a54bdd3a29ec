// What the cookie jar costs a request and a response, with N cookies in it.
//
//   cookieJarRead/N        the cookies of a request to which all N apply
//   cookieJarReadOther/N   the cookies of a request to which none of them applies
//   cookieJarUpdate/N      one cookie that takes the place of the one of its name; reading the
//                          Set-Cookie field included
#include "http/cookie_jar.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace com::corvane::connectivity::plugins {
namespace {

std::vector<std::string> cookieFields(std::int64_t count) {
  std::vector<std::string> fields;
  for (std::int64_t i = 0; i < count; ++i) {
    fields.push_back("cookie" + std::to_string(i) + "=4c1a90d27f; Path=/Plants; Max-Age=3600");
  }
  return fields;
}

void fillJar(CookieJar& jar, const std::vector<std::string>& fields) {
  for (const std::string& field : fields) {
    auto cookie = SetCookie::parse(field);
    if (cookie) jar.update(std::move(*cookie));
  }
}

void measureCookieRead(benchmark::State& state, const char* path, std::int64_t expected) {
  CookieJar jar(true);
  fillJar(jar, cookieFields(state.range(0)));
  const TextMap own;
  if (jar.requestCookies(own, path).size() != static_cast<std::size_t>(expected)) {
    return state.SkipWithError("these are not the cookies of the request");
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(jar.requestCookies(own, path));
  }
}

void cookieJarRead(benchmark::State& state) { measureCookieRead(state, "/plants", state.range(0)); }
BENCHMARK(cookieJarRead)->Arg(0)->Arg(10)->Arg(100);

void cookieJarReadOther(benchmark::State& state) { measureCookieRead(state, "/other", 0); }
BENCHMARK(cookieJarReadOther)->Arg(10)->Arg(100);

void cookieJarUpdate(benchmark::State& state) {
  const std::vector<std::string> fields = cookieFields(state.range(0));
  CookieJar jar(true);
  fillJar(jar, fields);
  if (jar.sizeForTest() != fields.size()) return state.SkipWithError("cookies were not kept");
  auto field = fields.begin();
  for (auto _ : state) {
    auto cookie = SetCookie::parse(*field);
    jar.update(std::move(*cookie));
    if (++field == fields.end()) field = fields.begin();
  }
  if (jar.sizeForTest() != fields.size()) state.SkipWithError("the jar has grown");
}
BENCHMARK(cookieJarUpdate)->Arg(1)->Arg(10)->Arg(100);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
