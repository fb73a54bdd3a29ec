#include "chainhost/report.h"

#include <cstdio>
#include <string>

namespace chainhost {

void report(std::string_view text) {
  std::string line = "chainhost: ";
  line += text;
  line += '\n';
  // Standard error is unbuffered: one call of the library, one write of the system.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace chainhost
