#include "bench/option_words.h"

namespace bench {

void readOptions(const std::vector<std::string>& words, const OptionReaders& readers) {
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const auto reader = readers.find(words[i]);
    if (reader == readers.end()) throw std::invalid_argument("unknown option: " + words[i]);
    if (i + 1 == words.size()) throw std::invalid_argument("no value for " + words[i]);
    reader->second(words[i + 1]);
  }
}

}  // namespace bench
