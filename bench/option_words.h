// bench/option_words.h : command lines of "--name value" pairs.
//
// Threads:   no state.
// Errors:    std::invalid_argument that names the word which is wrong.
#pragma once

#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// What takes the value of an option, by its name.
using OptionReaders = std::map<std::string, std::function<void(const std::string&)>>;

/// Gives each value to the reader of its name, in the order of the words.
void readOptions(const std::vector<std::string>& words, const OptionReaders& readers);

/// The number that a text is, from `least` to `most`.
template <class Number>
Number numberIn(const std::string& text, Number least, Number most) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
    throw std::invalid_argument("not a number in range: " + text);
  }
  return number;
}

}  // namespace bench
