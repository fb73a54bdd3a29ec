// model/comma_locale.h : the process's locale with a comma for the point and full stops between
// groups of three digits, for as long as an object lives.
//
// Threads: one thread.
#pragma once

#include <locale>
#include <string>

namespace test_support {

class CommaLocale {
 public:
  CommaLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Marks))) {}
  ~CommaLocale() { std::locale::global(before_); }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

 private:
  struct Marks : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  const std::locale before_;
};

}  // namespace test_support
