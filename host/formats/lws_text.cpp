// The scene reader's handling of text: lines, words and numbers. Blank means the same to the
// trimming and to the word splitter, so a trimmed line that isn't empty always has a first word.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

#include "host/formats/lws_parser.h"

namespace host::lws {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::string trim(const std::string& s) {
  size_t a = 0, b = s.size();
  while (a < b && isBlank(s[a])) ++a;
  while (b > a && isBlank(s[b - 1])) --b;
  return s.substr(a, b - a);
}

std::vector<std::string> words(const std::string& s) {
  std::vector<std::string> out;
  size_t i = 0;
  while (i < s.size()) {
    while (i < s.size() && isBlank(s[i])) ++i;
    const size_t start = i;
    while (i < s.size() && !isBlank(s[i])) ++i;
    if (i > start) out.push_back(s.substr(start, i - start));
  }
  return out;
}

bool toNumber(const std::string& s, double& v) {
  if (s.empty()) return false;
  char* end = nullptr;
  v = std::strtod(s.c_str(), &end);
  return end && *end == '\0' && std::isfinite(v);
}

bool toInt(const std::string& s, long& v) {
  double d;
  if (!toNumber(s, d) || d < -2147483648.0 || d > 2147483647.0) return false;
  v = static_cast<long>(d);
  return true;
}

bool isItemId(const std::string& s) {
  return s.size() == 8 && std::all_of(s.begin(), s.end(), [](char c) { return std::isxdigit(uint8_t(c)); });
}

uint32_t hexValue(const std::string& s) { return uint32_t(std::strtoul(s.c_str(), nullptr, 16)); }

std::string restOfLine(const std::string& line, int skip) {
  size_t i = 0;
  for (int w = 0; w < skip; ++w) {
    while (i < line.size() && isBlank(line[i])) ++i;
    while (i < line.size() && !isBlank(line[i])) ++i;
  }
  return trim(line.substr(std::min(i, line.size())));
}

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = text.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;  // a byte-order mark some editors add
  for (;;) {
    const size_t end = text.find_first_of("\r\n", start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      return lines;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
}

}  // namespace host::lws
