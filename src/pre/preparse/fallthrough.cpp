// The fall-through comments of a source file, found by a light lexer over its text:
// comments, literals, directives and words, nothing more.
#include "preparse/fallthrough.h"

#include <cstdio>
#include <string>
#include <unordered_map>

namespace {

// The labels of one file that have a fall-through comment in front: line -> text.
using label_map = std::unordered_map<std::uint32_t, std::string>;

struct fallthrough_state {
  std::unordered_map<std::string, label_map> files;
};
fallthrough_state g_fallthrough;

// Longest comment looked at; longer ones are no fall-through comments.
constexpr std::size_t COMMENT_LIMIT = 200;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool starts_with_lower(const char *text, const char *word) {
  for (; *word; text++, word++)
    if (lower(*text) != *word) return false;
  return true;
}

bool is_word_char(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || static_cast<unsigned char>(c) >= 128;
}

bool read_file(const char *path, std::string *text) {
  std::FILE *f = std::fopen(path, "rb");
  if (!f) return false;
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text->append(buffer, n);
  std::fclose(f);
  return true;
}

// The lexer over one file's text.
struct lexer {
  const std::string &t;
  std::size_t i = 0;
  std::uint32_t line = 1;
  label_map &labels;
  std::string pending;  // the last fall-through comment since the last token
  bool has_pending = false;
  bool line_start = true;  // nothing but blanks and comments since the last line feed

  char at(std::size_t k) const { return k < t.size() ? t[k] : '\0'; }

  // A backslash-newline is taken out of the text, counting its line.
  bool splice() {
    if (at(i) == '\\' && at(i + 1) == '\n') {
      i += 2;
      line++;
      return true;
    }
    if (at(i) == '\\' && at(i + 1) == '\r' && at(i + 2) == '\n') {
      i += 3;
      line++;
      return true;
    }
    return false;
  }

  void comment_seen(const std::string &text) {
    if (text.size() <= COMMENT_LIMIT && pre_is_fallthrough_comment(text.c_str())) {
      pending = text;
      has_pending = true;
    }
  }

  // At "/*" or "//": the comment is read; its text counts when it is a fall-through one.
  void comment() {
    std::string text;
    if (at(i + 1) == '*') {
      i += 2;
      while (i < t.size() && !(t[i] == '*' && at(i + 1) == '/')) {
        if (t[i] == '\n') line++;
        if (text.size() <= COMMENT_LIMIT) text += t[i];
        i++;
      }
      i += 2;
    } else {
      i += 2;
      while (i < t.size() && t[i] != '\n') {
        if (splice()) continue;
        if (text.size() <= COMMENT_LIMIT) text += t[i];
        i++;
      }
    }
    comment_seen(text);
  }

  // At a quote: the literal is passed over.
  void literal(char quote) {
    i++;
    while (i < t.size() && t[i] != quote && t[i] != '\n') {
      if (t[i] == '\\') {
        if (at(i + 1) == '\n') line++;
        i++;
      }
      i++;
    }
    i++;
  }

  // At the quote of R"delim( ... )delim".
  void raw_literal() {
    std::size_t open = t.find('(', i);
    if (open == std::string::npos || open - i > 17) {
      literal('"');
      return;
    }
    std::string end = ")" + t.substr(i + 1, open - i - 1) + "\"";
    std::size_t close = t.find(end, open);
    std::size_t stop = close == std::string::npos ? t.size() : close + end.size();
    for (std::size_t k = i; k < stop; k++)
      if (t[k] == '\n') line++;
    i = stop;
  }

  // A directive runs to the end of its line, comments and splices included.
  void directive() {
    while (i < t.size() && t[i] != '\n') {
      if (splice()) continue;
      if (t[i] == '/' && (at(i + 1) == '*' || at(i + 1) == '/')) {
        comment();
        continue;
      }
      if (t[i] == '"' || t[i] == '\'') {
        literal(t[i]);
        continue;
      }
      i++;
    }
    has_pending = false;
  }

  void run() {
    while (i < t.size()) {
      char c = t[i];
      if (splice()) continue;
      if (c == '\n') {
        line++;
        line_start = true;
        i++;
      } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
        i++;
      } else if (c == '/' && (at(i + 1) == '*' || at(i + 1) == '/')) {
        comment();
      } else if (c == '#' && line_start) {
        directive();
      } else if (is_word_char(c)) {
        std::size_t start = i;
        std::uint32_t word_line = line;
        while (i < t.size() && (is_word_char(t[i]) || splice())) i++;
        std::string word = t.substr(start, i - start);
        if (has_pending && (word == "case" || word == "default")) labels[word_line] = pending;
        has_pending = line_start = false;
        if (at(i) == '"' && !word.empty() && word.back() == 'R') {
          raw_literal();
        } else if (at(i) == '"' || at(i) == '\'') {
          if (word == "u8" || word == "u" || word == "U" || word == "L") literal(t[i]);
        }
      } else {
        has_pending = line_start = false;
        if (c == '"' || c == '\'')
          literal(c);
        else
          i++;
      }
    }
  }
};

}  // namespace

bool pre_is_fallthrough_comment(const char *text) {
  // "falls?[ \t-]*thr(ough|u)", letters in any case, anywhere in the text: every text
  // that gcc accepts at any level but the first matches it.
  for (const char *p = text; *p; p++) {
    if (!starts_with_lower(p, "fall")) continue;
    const char *q = p + 4;
    if (lower(*q) == 's') q++;
    while (*q == ' ' || *q == '\t' || *q == '-') q++;
    if (starts_with_lower(q, "thr") && (starts_with_lower(q + 3, "ough") || lower(q[3]) == 'u')) return true;
  }
  return false;
}

const char *pre_fallthrough_comment_at(const char *file, std::uint32_t line) {
  auto found = g_fallthrough.files.find(file);
  if (found == g_fallthrough.files.end()) {
    label_map &labels = g_fallthrough.files[file];
    std::string text;
    if (read_file(file, &text)) {
      lexer lex{text, 0, 1, labels, std::string(), false, true};
      lex.run();
    }
    found = g_fallthrough.files.find(file);
  }
  auto label = found->second.find(line);
  return label == found->second.end() ? nullptr : label->second.c_str();
}

void pre_fallthrough_forget() { g_fallthrough.files.clear(); }
