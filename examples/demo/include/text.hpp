// text.hpp: string helpers of the demo project.
#ifndef DEMO_TEXT_HPP
#define DEMO_TEXT_HPP

#include <string>
#include <vector>

namespace demo {

// Splits at sep; empty fields are kept.
std::vector<std::string> split(const std::string &text, char sep);
// The text with leading and trailing blanks removed.
std::string trim(const std::string &text);

class word_counter {
 public:
  void add(const std::string &line);
  int words() const { return words_; }
  int lines() const { return lines_; }

 private:
  int words_ = 0;
  int lines_ = 0;
};

}  // namespace demo

#endif
