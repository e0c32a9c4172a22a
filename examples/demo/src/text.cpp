// text.cpp: string helpers.
#include "text.hpp"

#include <cctype>
#include <sstream>

namespace demo {

std::vector<std::string> split(const std::string &text, char sep) {
  std::vector<std::string> fields;
  std::string field;
  for (char c : text) {
    if (c == sep) {
      fields.push_back(field);
      field.clear();
    } else {
      field += c;
    }
  }
  fields.push_back(field);
  return fields;
}

std::string trim(const std::string &text) {
  std::size_t b = 0, e = text.size();
  while (b < e && std::isspace(static_cast<unsigned char>(text[b]))) b++;
  while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) e--;
  return text.substr(b, e - b);
}

void word_counter::add(const std::string &line) {
  std::istringstream in(line);
  std::string w;
  while (in >> w) words_++;
  lines_++;
}

}  // namespace demo
