// The token scanner. One record for the process; one file open at a time.
//
// Characters enter through next_char() only (but for the body of a raw string). The
// token being scanned is built in the caller's buffer and always ends in the lookahead
// character, `cur`, which every token routine takes off again before it returns (drop).
// Runs of characters that need no special treatment (identifier, digit and suffix runs,
// blanks, comment and string bodies) are copied or skipped straight from the line
// buffer; that is equivalent to delivering them one by one, since none of them is a
// byte that next_char() treats specially (NUL, backslash, question mark).
#include "preparse/scanner.h"

#include "preparse/fallthrough.h"
#include "preparse/keywords.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "emit/writer.h"
#include "preerror/preerror.h"

namespace {

constexpr std::size_t LINE_READ_MAX = MAX_TOKEN - 1;  // bytes of one refill, a NUL behind them
constexpr std::uint32_t TOKEN_TEXT_MAX = MAX_TOKEN - 1;  // a token that reaches it is too long
constexpr std::uint32_t RAW_DELIMITER_MAX = 16;
constexpr std::size_t NAME_TEXT_MAX = 261;
constexpr unsigned char END_OF_INPUT = 255;
constexpr std::size_t READ_CHUNK = 1 << 16;


// Character classes, by byte value.
enum : unsigned char {
  C_BLANK = 1,
  C_ID_START = 2,
  C_ID_CONT = 4,
  C_DIGIT_RUN = 8,
  C_HEX_RUN = 16,
  C_SUFFIX = 32,
  C_SPECIAL = 64,  // next_char() must look at it: NUL, backslash, question mark
  C_WORD = 128,    // a character of a directive's first word
};

struct scanner_state {
  std::FILE *input = nullptr;
  char *token_out = nullptr;
  std::uint32_t token_len = 0;
  bool accumulate = false;
  unsigned char cur = ' ';
  unsigned char pending = 0;
  unsigned char line_buf[MAX_TOKEN + 1] = {0};
  std::uint32_t line_pos = 0;
  bool splice_on = true;
  std::uint32_t last_kind = TOK_NONE;
  bool directive_continues = false;
  bool in_raw_string = false;
  char raw_end[20] = {0};
  std::uint32_t raw_end_len = 0;
  bool marker_mode = false;
  bool first_line = true;
  bool partial_line = false;
  bool remainder_pending = false;
  char remainder[MAX_TOKEN + 1] = {0};
  char input_name[NAME_TEXT_MAX + 1] = {0};
  // The refill that ran last found the end of the input: a `cur` of 255 is the end.
  bool at_eof = false;
  // The last line marker put the text into a system header (flag 3).
  bool in_system_header = false;
  unsigned char classes[256] = {0};
  // Block reading under the line reader.
  unsigned char chunk[READ_CHUNK] = {0};
  std::size_t chunk_pos = 0;
  std::size_t chunk_len = 0;
  bool chunk_last = false;
};

scanner_state g_scan;

inline bool is_blank(unsigned char c) { return c == ' ' || (c >= 7 && c <= 13 && c != '\n'); }
inline bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }
inline bool is_hex(unsigned char c) {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
inline bool is_octal(unsigned char c) { return c >= '0' && c <= '7'; }

void build_classes(bool high_bytes_are_letters) {
  unsigned char *cls = g_scan.classes;
  std::memset(cls, 0, 256);
  for (unsigned char c : {7, 8, 9, 11, 12, 13, 32}) cls[c] |= C_BLANK;
  for (int c = 0; c < 256; c++) {
    bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    bool digit = c >= '0' && c <= '9';
    // 255 stands for the end of the input in `cur`: it never continues a run.
    bool high = high_bytes_are_letters && c >= 128 && c != END_OF_INPUT;
    if (letter || c == '_' || c == '$' || c == '@' || high) cls[c] |= C_ID_START | C_ID_CONT;
    if (digit || c == '#') cls[c] |= C_ID_CONT;
    if (digit || c == '\'' || c == '_') cls[c] |= C_DIGIT_RUN | C_HEX_RUN;
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) cls[c] |= C_HEX_RUN;
    if (letter || digit || c == '_') cls[c] |= C_SUFFIX | C_WORD;
  }
  cls[0] |= C_SPECIAL;
  cls[static_cast<unsigned char>('\\')] |= C_SPECIAL;
  cls[static_cast<unsigned char>('?')] |= C_SPECIAL;
}

const char *message_file() {
  return current_file_name[0] ? current_file_name : g_scan.input_name;
}

void close_input() {
  if (g_scan.input) pre_fclose(g_scan.input);
  g_scan.input = nullptr;
}

[[noreturn]] void fatal(pre_status status, const char *text) {
  pre_set_message_args(message_file(), text);
  pre_set_message_line(line_number);
  close_input();
  pre_fatal(status);
}

// --- reading lines ---------------------------------------------------------------

// One line of the input, at most LINE_READ_MAX bytes with its newline, into dst with a
// NUL behind it. False at the end of the input. A read error ends the run.
bool read_line(unsigned char *dst) {
  scanner_state &s = g_scan;
  std::size_t n = 0;
  for (;;) {
    if (s.chunk_pos == s.chunk_len) {
      if (s.chunk_last || !s.input) break;
      errno = 0;
      s.chunk_len = std::fread(s.chunk, 1, READ_CHUNK, s.input);
      s.chunk_pos = 0;
      if (s.chunk_len < READ_CHUNK) {
        if (std::ferror(s.input)) fatal(STATUS_READ_FAILED, std::strerror(errno ? errno : EIO));
        s.chunk_last = true;
      }
      if (s.chunk_len == 0) break;
    }
    const unsigned char *src = s.chunk + s.chunk_pos;
    std::size_t take = s.chunk_len - s.chunk_pos;
    if (take > LINE_READ_MAX - n) take = LINE_READ_MAX - n;
    const void *newline = std::memchr(src, '\n', take);
    if (newline) take = static_cast<std::size_t>(static_cast<const unsigned char *>(newline) - src) + 1;
    std::memcpy(dst + n, src, take);
    n += take;
    s.chunk_pos += take;
    if (newline || n == LINE_READ_MAX) break;
  }
  dst[n] = 0;
  return n > 0;
}

void set_input_name(const char *name, std::size_t len) {
  if (len > NAME_TEXT_MAX) {
    name += len - NAME_TEXT_MAX;
    len = NAME_TEXT_MAX;
  }
  std::memcpy(g_scan.input_name, name, len);
  g_scan.input_name[len] = '\0';
  // The file name of messages and records: each doubled backslash made single.
  std::size_t o = 0;
  for (std::size_t i = 0; i < len; i++) {
    current_file_name[o++] = g_scan.input_name[i];
    if (g_scan.input_name[i] == '\\' && g_scan.input_name[i + 1] == '\\') i++;
  }
  current_file_name[o] = '\0';
}

// Marker mode: the file-and-line prefix of a freshly read line.
void apply_line_marker() {
  scanner_state &s = g_scan;
  char *line = reinterpret_cast<char *>(s.line_buf);
  std::size_t len = std::strlen(line);
  if (s.first_line) {
    if (len >= 3 && s.line_buf[0] == 0xEF && s.line_buf[1] == 0xBB && s.line_buf[2] == 0xBF) {
      std::memmove(line, line + 3, len - 2);
      len -= 3;
    }
  } else if (s.partial_line) {  // the rest of a long line: no prefix
    s.partial_line = len == 0 || line[len - 1] != '\n';
    return;
  }
  bool first = s.first_line;
  s.first_line = false;
  s.partial_line = len == 0 || line[len - 1] != '\n';
  pre_line_marker marker;
  if (!pre_parse_line_marker(line, &marker)) {
    if (first) s.marker_mode = false;
    return;
  }
  std::size_t text_len = len - marker.text_offset;
  std::memcpy(s.remainder, line + marker.text_offset, text_len + 1);
  if (std::strcmp(marker.path, s.input_name) == 0) {
    std::memcpy(line, s.remainder, text_len + 1);
  } else {
    std::snprintf(line, MAX_TOKEN + 1, "#line %lu \"%s\"\n", marker.line, marker.path);
    s.remainder_pending = true;
  }
}

// A new line buffer; false at the end of the input.
bool refill() {
  scanner_state &s = g_scan;
  s.line_pos = 0;
  if (s.remainder_pending) {
    std::strcpy(reinterpret_cast<char *>(s.line_buf), s.remainder);
    s.remainder_pending = false;
    return true;
  }
  if (!read_line(s.line_buf)) {
    s.at_eof = true;
    return false;
  }
  if (s.marker_mode) apply_line_marker();
  return true;
}

// --- delivering characters ------------------------------------------------------------

unsigned char trigraph_of(unsigned char c) {
  switch (c) {
    case '!': return '|';
    case '\'': return '^';
    case '(': return '[';
    case ')': return ']';
    case '-': return '~';
    case '/': return '\\';
    case '<': return '{';
    case '=': return '#';
    case '>': return '}';
    default: return 0;
  }
}

[[noreturn]] void token_too_long() { pre_syntax_error("(token too long)"); }

inline void append_cur() {
  scanner_state &s = g_scan;
  if (s.token_len >= TOKEN_TEXT_MAX) token_too_long();
  s.token_out[s.token_len++] = static_cast<char>(s.cur);
}

void next_char_slow() {
  scanner_state &s = g_scan;
  unsigned char c = s.line_buf[s.line_pos++];
  if (c == '\\') {
    unsigned char *p = s.line_buf + s.line_pos;
    if (compiler_family == FAMILY_MICROSOFT && p[0] == '\r' && p[1] == '\n' && p[2] == 0) {
      p[0] = '\n';
      p[1] = 0;
    }
    if (p[0] == '\n' && s.splice_on) {
      s.line_pos++;
      line_number++;
      c = s.line_buf[s.line_pos++];
      emit_text("\\");
      emit_newline();
    }
  }
  while (c == 0) {
    if (!refill()) {
      s.cur = END_OF_INPUT;
      if (s.accumulate) append_cur();
      return;
    }
    c = s.line_buf[s.line_pos++];
    if (c == '\\' && s.line_buf[s.line_pos] == '\n' && s.splice_on) {
      emit_text("\\");
      c = s.line_buf[s.line_pos++];  // the newline, which then counts as an ordinary one
    }
  }
  if (c == '?' && s.line_buf[s.line_pos] == '?') {
    unsigned char r = trigraph_of(s.line_buf[s.line_pos + 1]);
    if (r) {
      c = r;
      s.line_pos += 2;
    }
  }
  s.cur = c;
  if (s.accumulate) append_cur();
}

inline void next_char() {
  scanner_state &s = g_scan;
  unsigned char c = s.line_buf[s.line_pos];
  if (s.classes[c] & C_SPECIAL) {
    next_char_slow();
    return;
  }
  s.line_pos++;
  s.cur = c;
  if (s.accumulate) append_cur();
}

inline bool at_end() { return g_scan.cur == END_OF_INPUT && g_scan.at_eof; }

// Takes the lookahead character off the end of the token.
inline void drop() { g_scan.token_len--; }

inline std::uint32_t drop_and(std::uint32_t kind) {
  drop();
  return kind;
}

// `cur` belongs to the class and is in the token: copies the rest of the run straight
// from the line buffer, then reads the character behind it.
void take_run(unsigned char mask) {
  scanner_state &s = g_scan;
  const unsigned char *p = s.line_buf + s.line_pos, *q = p;
  while (s.classes[*q] & mask) q++;
  std::size_t n = static_cast<std::size_t>(q - p);
  if (n) {
    if (s.token_len + n > TOKEN_TEXT_MAX) token_too_long();
    std::memcpy(s.token_out + s.token_len, p, n);
    s.token_len += static_cast<std::uint32_t>(n);
    s.line_pos += static_cast<std::uint32_t>(n);
  }
  next_char();
}

// Reads on while `cur` belongs to the class.
inline void read_run(unsigned char mask) {
  while (g_scan.classes[g_scan.cur] & mask) take_run(mask);
}

// At a backslash: `u` and 4 hexadecimal digits, or `U` and 8, follow in the line buffer.
bool is_ucn_ahead() {
  const unsigned char *p = g_scan.line_buf + g_scan.line_pos;
  int n = p[0] == 'u' ? 4 : p[0] == 'U' ? 8 : 0;
  if (n == 0) return false;
  for (int i = 1; i <= n; i++)
    if (!is_hex(p[i])) return false;
  return true;
}

// `cur` is the backslash of a universal character name: reads its letter and digits.
void take_ucn() {
  int n = g_scan.line_buf[g_scan.line_pos] == 'u' ? 5 : 9;
  for (int i = 0; i < n; i++) next_char();
}

inline void count_statement() {
  if (static_cast<std::int32_t>(skip_depth) <= 0) statement_count++;
}

// --- blanks, comments ------------------------------------------------------------------

// The token just scanned is a case or default label that gcc may see a fall-through
// comment in front of, in the user's file: that comment is written again in front of
// the label, as a block comment on the label's line.
void place_fallthrough_comment(const char *text) {
  if (g_scan.in_system_header) return;
  if (std::strcmp(text, "case") != 0 && std::strcmp(text, "default") != 0) return;
  const char *comment = pre_fallthrough_comment_at(current_file_name, line_number);
  if (!comment) return;
  std::string mark = "/*";
  for (const char *p = comment; *p; p++) {
    if (*p == '\n' || *p == '\r') {
      mark += ' ';
    } else if (*p == '*' && p[1] == '/') {
      mark += "* ";  // a line comment may hold "*/"
    } else {
      mark += *p;
    }
  }
  mark += "*/ ";
  emit_fallthrough_mark(mark.c_str());
}

// False at the end of the input. `cur` is the `/`, a `*` follows.
bool skip_block_comment() {
  scanner_state &s = g_scan;
  s.splice_on = false;
  next_char();  // the star
  bool star = false;  // "/*/" does not close
  for (;;) {
    std::uint32_t start = s.line_pos;
    unsigned char c;
    while ((c = s.line_buf[s.line_pos]) != '*' && c != '/' && c != '\n' && c != 0) s.line_pos++;
    if (s.line_pos != start) star = false;
    next_char();
    if (at_end()) return false;
    if (s.cur == '\n') {
      line_number++;
      emit_newline();
      star = false;
    } else if (s.cur == '/' && star) {
      break;
    } else {
      star = s.cur == '*';
    }
  }
  s.splice_on = true;
  next_char();
  return true;
}

// False at the end of the input. `cur` is the `/`, another follows. Leaves `cur` on
// the closing newline.
bool skip_line_comment() {
  scanner_state &s = g_scan;
  s.splice_on = false;
  next_char();  // the second slash
  for (;;) {
    unsigned char c;
    while ((c = s.line_buf[s.line_pos]) != '\\' && c != '\n' && c != 0 && c != '?') s.line_pos++;
    next_char();
    if (at_end()) return false;
    if (s.cur == '\\') {
      next_char();
      if (at_end()) return false;
      if (s.cur == '\n') {
        line_number++;
        emit_newline();
      }
    } else if (s.cur == '\n') {
      break;
    }
  }
  s.splice_on = true;
  return true;
}

// TOK_EOF at the end of the input; otherwise TOK_NONE with the token text set to `cur`.
std::uint32_t skip_blanks() {
  scanner_state &s = g_scan;
  for (;;) {
    unsigned char c = s.cur;
    if (s.classes[c] & C_BLANK) {
      while (s.classes[s.line_buf[s.line_pos]] & C_BLANK) s.line_pos++;
      next_char();
      continue;
    }
    if (c == '\n') {
      line_number++;
      emit_newline();
      next_char();
      continue;
    }
    if (c == '/') {
      unsigned char n = s.line_buf[s.line_pos];
      if (n == '*') {
        bool more = skip_block_comment();
        s.splice_on = true;
        if (!more) return TOK_EOF;
        continue;
      }
      if (n == '/') {
        bool more = skip_line_comment();
        s.splice_on = true;
        if (!more) return TOK_EOF;
        continue;
      }
    }
    if (c == END_OF_INPUT) return TOK_EOF;
    s.token_len = 0;
    if (c) s.token_out[s.token_len++] = static_cast<char>(c);
    return TOK_NONE;
  }
}

// --- directives ----------------------------------------------------------------------

struct line_end {
  std::size_t len;
  bool newline;
  bool continued;  // ends in backslash newline
};

line_end examine_line_end() {
  unsigned char *buf = g_scan.line_buf;
  line_end e;
  e.len = std::strlen(reinterpret_cast<char *>(buf));
  std::size_t n = e.len;
  if (compiler_family == FAMILY_MICROSOFT && n >= 3 && buf[n - 3] == '\\' && buf[n - 2] == '\r' &&
      buf[n - 1] == '\n') {
    buf[n - 2] = '\n';
    buf[n - 1] = 0;
    e.len = --n;
  }
  e.newline = n > 0 && buf[n - 1] == '\n';
  e.continued = e.newline && n >= 2 && buf[n - 2] == '\\';
  return e;
}

// The whole line buffer becomes the token; the next line's first character is read.
void take_line(std::size_t len) {
  scanner_state &s = g_scan;
  std::memcpy(s.token_out, s.line_buf, len);
  s.token_len = static_cast<std::uint32_t>(len);
  s.cur = ' ';
  s.pending = 0;
  s.line_pos = 0;
  s.line_buf[0] = 0;
  next_char();
}

void read_line_directive(std::size_t pos) {
  const unsigned char *buf = g_scan.line_buf;
  line_before_directive = line_number;
  while (is_blank(buf[pos])) pos++;
  if (is_digit(buf[pos])) {
    std::uint32_t value = 0;
    while (is_digit(buf[pos])) value = value * 10 + static_cast<std::uint32_t>(buf[pos++] - '0');
    line_number = value;
  }
  if (is_blank(buf[pos])) pos++;
  if (buf[pos] != '"') return;
  const char *name = reinterpret_cast<const char *>(buf + pos + 1);
  const char *close = std::strchr(name, '"');
  if (!close) return;
  set_input_name(name, static_cast<std::size_t>(close - name));
  // The flags of a GNU line marker: 3 means a system header.
  g_scan.in_system_header = false;
  for (const char *f = close + 1; *f && *f != '\n'; f++)
    if (*f == '3' && (f[-1] == ' ' || f[-1] == '\t') && (f[1] == ' ' || f[1] == '\n' || f[1] == '\r' || f[1] == 0))
      g_scan.in_system_header = true;
}

// `cur` is on `#`, or on the `%` of `%:`.
std::uint32_t scan_directive() {
  scanner_state &s = g_scan;
  s.accumulate = false;
  const unsigned char *buf = s.line_buf;
  std::size_t pos = s.line_pos;
  if (s.cur == '%') pos++;
  while (is_blank(buf[pos])) pos++;
  char word[10];
  std::size_t w = 0, behind_word = pos;
  while (w < 9 && (s.classes[buf[behind_word]] & C_WORD)) word[w++] = static_cast<char>(buf[behind_word++]);
  word[w] = '\0';

  line_end end = examine_line_end();
  std::uint32_t kind;
  if (!end.newline || end.continued) {
    s.directive_continues = true;
    kind = TOK_DIRECTIVE;
    if (end.continued) line_number++;
  } else if (std::strcmp(word, "line") == 0 || (is_digit(static_cast<unsigned char>(word[0])) &&
                                                  compiler_family != FAMILY_BORLAND)) {
    kind = TOK_LINE_DIRECTIVE;
    read_line_directive(word[0] == 'l' ? behind_word : pos);
  } else if (std::strcmp(word, "pragma") == 0 && buf[behind_word] != 0 &&
             std::strncmp(reinterpret_cast<const char *>(buf + behind_word + 1), "QUB ", 4) == 0) {
    kind = TOK_QUB_PRAGMA;
    line_number++;
  } else {
    kind = TOK_DIRECTIVE;
    line_number++;
  }
  take_line(end.len);
  return kind;
}

// One further physical line of a continued directive.
std::uint32_t scan_directive_line() {
  line_end end = examine_line_end();
  if (!end.newline || end.continued) g_scan.directive_continues = true;
  if (end.newline) line_number++;
  take_line(end.len);
  return TOK_DIRECTIVE;
}

// --- literals ------------------------------------------------------------------------

// The body of a raw string, straight from the line buffer, up to its terminator or the
// end of the buffer.
std::uint32_t scan_raw_body() {
  scanner_state &s = g_scan;
  std::uint32_t read = 0;
  const std::uint32_t end_len = s.raw_end_len;
  for (;;) {
    unsigned char c = s.line_buf[s.line_pos];
    if (c == 0) {
      s.in_raw_string = true;
      s.cur = ' ';
      return TOK_RAW_PIECE;
    }
    s.line_pos++;
    if (c == END_OF_INPUT) {
      s.in_raw_string = false;
      s.splice_on = true;
      next_char();
      return drop_and(TOK_BAD);
    }
    if (s.token_len >= MAX_TOKEN) token_too_long();
    s.token_out[s.token_len++] = static_cast<char>(c);
    read++;
    if (c == '\n') line_number++;
    if (c == '"' && read >= end_len &&
        std::memcmp(s.token_out + s.token_len - end_len, s.raw_end, end_len) == 0)
      break;
  }
  s.splice_on = true;
  s.in_raw_string = false;
  next_char();
  read_run(C_SUFFIX);
  return drop_and(TOK_STRING);
}

// The next line of a raw string that went on past its line buffer.
std::uint32_t scan_raw_continuation() {
  scanner_state &s = g_scan;
  s.token_len = 0;
  s.line_pos = 0;
  s.splice_on = false;
  if (!read_line(s.line_buf)) {
    char text[64];
    std::snprintf(text, sizeof text, "When searching raw string end ...%.19s", s.raw_end);
    fatal(STATUS_READ_FAILED, text);
  }
  return scan_raw_body();
}

// The token ends in the opening quote of a raw string; reads the delimiter and the body.
std::uint32_t scan_raw_string() {
  scanner_state &s = g_scan;
  std::uint32_t n = 0;
  for (;;) {
    next_char();
    if (at_end()) break;
    if (s.cur == '(') {
      s.raw_end[0] = ')';
      std::memcpy(s.raw_end + 1, s.token_out + s.token_len - 1 - n, n);
      s.raw_end[n + 1] = '"';
      s.raw_end[n + 2] = '\0';
      s.raw_end_len = n + 2;
      return scan_raw_body();
    }
    if (++n > RAW_DELIMITER_MAX) break;
  }
  s.splice_on = true;
  return drop_and(TOK_BAD);
}

// `cur` is the backslash of an escape, in the token.
void scan_escape() {
  scanner_state &s = g_scan;
  bool ucn = is_ucn_ahead();
  next_char();
  unsigned char c = s.cur;
  if (is_octal(c)) {
    for (int i = 0; i < 2 && is_octal(s.line_buf[s.line_pos]); i++) next_char();
  } else if ((c == 'u' || c == 'U') && ucn) {
    for (int i = c == 'u' ? 4 : 8; i > 0; i--) next_char();
  } else if (c == 'x') {
    int digits = 0;
    while (is_hex(s.line_buf[s.line_pos])) {
      next_char();
      if (++digits > 8) {  // only the last 8 digits stay
        std::memmove(s.token_out + s.token_len - 9, s.token_out + s.token_len - 8, 8);
        s.token_len--;
      }
    }
  } else if (c == '\n') {
    line_number++;
  }
}

// The token ends in the opening quote, which is `cur`.
std::uint32_t scan_string(bool raw) {
  scanner_state &s = g_scan;
  s.splice_on = false;
  if (raw) return scan_raw_string();
  next_char();
  for (;;) {
    unsigned char c = s.cur;
    if (c == '"') break;
    if (c == '\\')
      scan_escape();
    else if (c == '\n')
      line_number++;
    if (at_end()) {
      s.splice_on = true;
      return drop_and(TOK_BAD);
    }
    if (s.token_len < STRING_SPLIT_AT) {
      // Plain characters straight from the buffer, no further than the split point.
      const unsigned char *p = s.line_buf + s.line_pos, *q = p;
      const unsigned char *limit = p + (STRING_SPLIT_AT - s.token_len);
      while (q < limit && (c = *q) != '"' && c != '\\' && c != '\n' && c != 0 && c != '?') q++;
      std::size_t n = static_cast<std::size_t>(q - p);
      std::memcpy(s.token_out + s.token_len, p, n);
      s.token_len += static_cast<std::uint32_t>(n);
      s.line_pos += static_cast<std::uint32_t>(n);
    }
    if (s.token_len >= STRING_SPLIT_AT) {
      // Closed here; the rest follows as an adjacent literal starting with this quote.
      s.token_out[s.token_len++] = '"';
      s.cur = '"';
      s.splice_on = true;
      return TOK_STRING;
    }
    next_char();
  }
  s.splice_on = true;
  next_char();
  const unsigned char *p = s.line_buf + s.line_pos;
  unsigned char c = s.cur;
  bool next_has_prefix = ((c == 'L' || c == 'S' || c == 'U') && p[0] == '"') ||
                         (c == 'u' && (p[0] == '"' || (p[0] == '8' && p[1] == '"')));
  if (!next_has_prefix) read_run(C_SUFFIX);
  return drop_and(TOK_STRING);
}

// The token ends in the opening quote, which is `cur`.
std::uint32_t scan_char_const() {
  scanner_state &s = g_scan;
  s.splice_on = false;
  next_char();
  for (;;) {
    if (s.cur == '\'') break;
    if (s.cur == '\\') next_char();
    if (s.cur == '\n') line_number++;
    if (at_end()) {
      s.splice_on = true;
      return drop_and(TOK_BAD);
    }
    next_char();
  }
  s.splice_on = true;
  next_char();
  read_run(C_SUFFIX);
  return drop_and(TOK_CHAR_CONST);
}

// --- identifiers and numbers -----------------------------------------------------------

bool text_is(const char *text, std::uint32_t len, const char *word) {
  return std::strlen(word) == len && std::memcmp(text, word, len) == 0;
}

bool is_string_prefix(const char *t, std::uint32_t len) {
  if (len == 1) return t[0] == 'u' || t[0] == 'U' || t[0] == 'L' || t[0] == 'S' || t[0] == 'R';
  return text_is(t, len, "u8") || text_is(t, len, "u8R") || text_is(t, len, "uR") ||
         text_is(t, len, "UR") || text_is(t, len, "LR");
}

bool is_char_prefix(const char *t, std::uint32_t len) {
  return is_string_prefix(t, len) && !(len == 1 && t[0] == 'S');
}

std::uint32_t objc_word_kind(const char *t, std::uint32_t len) {
  static const struct {
    const char *word;
    std::uint32_t kind;
  } words[] = {
      {"@", OBJC_AT},
      {"@implementation", OBJC_IMPLEMENTATION},
      {"@interface", OBJC_INTERFACE},
      {"@end", OBJC_END},
      {"@class", OBJC_CLASS},
      {"@try", KW_TRY},
      {"@catch", KW_CATCH},
      {"@finally", KW_FINALLY},
      {"@throw", KW_THROW},
      {"@autoreleasepool", OBJC_AUTORELEASEPOOL},
      {"@synchronized", OBJC_SYNCHRONIZED},
  };
  for (const auto &w : words)
    if (text_is(t, len, w.word)) return w.kind;
  return TOK_IDENT;
}

// `cur` is the first character, in the token.
std::uint32_t scan_identifier() {
  scanner_state &s = g_scan;
  if (s.cur == '\\') {
    take_ucn();
    next_char();
  } else {
    take_run(C_ID_CONT);
  }
  for (;;) {
    if (s.classes[s.cur] & C_ID_CONT) {
      take_run(C_ID_CONT);
    } else if (s.cur == '\\' && is_ucn_ahead()) {
      take_ucn();
      next_char();
    } else {
      break;
    }
  }
  drop();
  const char *t = s.token_out;
  std::uint32_t len = s.token_len;
  if (len >= 4 && std::memcmp(t, "qub_", 4) == 0) {
    pre_set_message_args(message_file(), "");
    pre_set_message_line(line_number);
    pre_report(STATUS_QUB_IDENTIFIER, REPORT_CONTINUE);
  }
  if (s.cur == '"' && is_string_prefix(t, len)) {
    bool raw = std::memchr(t, 'R', len) != nullptr;
    s.token_out[s.token_len++] = '"';
    return scan_string(raw);
  }
  if (s.cur == '\'' && is_char_prefix(t, len)) {
    s.token_out[s.token_len++] = '\'';
    return scan_char_const();
  }
  if (t[0] == '@' && source_language == LANG_OBJC) return objc_word_kind(t, len);
  return TOK_IDENT;
}

void integer_suffix() {
  scanner_state &s = g_scan;
  for (int i = 0; i < 3 && (s.cur == 'l' || s.cur == 'L' || s.cur == 'u' || s.cur == 'U'); i++) next_char();
  read_run(C_SUFFIX);
}

void floating_suffix() {
  scanner_state &s = g_scan;
  if (s.cur == 'f' || s.cur == 'F' || s.cur == 'l' || s.cur == 'L') next_char();
  read_run(C_SUFFIX);
}

// From a `.`, `e` or `E` behind digits; with dot_taken, from the digit behind a `.`.
std::uint32_t scan_number_tail(bool dot_taken) {
  scanner_state &s = g_scan;
  if (dot_taken || s.cur == '.') {
    if (!dot_taken) next_char();
    read_run(C_DIGIT_RUN);
    if (s.cur == '.') {
      while (s.cur == '.') {
        next_char();
        read_run(C_DIGIT_RUN);
      }
      return drop_and(TOK_DOTTED_NUMBER);
    }
  }
  if (s.cur == 'e' || s.cur == 'E') {
    next_char();
    if (s.cur == '+' || s.cur == '-') next_char();
    read_run(C_DIGIT_RUN);
  }
  floating_suffix();
  return drop_and(TOK_FLOAT_CONST);
}

// `cur` is the first digit, in the token.
std::uint32_t scan_number() {
  scanner_state &s = g_scan;
  take_run(C_DIGIT_RUN);
  unsigned char c = s.cur;
  if (c == '.' || c == 'e' || c == 'E') return scan_number_tail(false);
  if (c == 'x' || c == 'X') {
    next_char();
    read_run(C_HEX_RUN);
    if (s.cur == '.' || s.cur == 'p' || s.cur == 'P') {
      if (s.cur == '.') {
        next_char();
        read_run(C_HEX_RUN);
      }
      if (s.cur == 'p' || s.cur == 'P') {
        next_char();
        if (s.cur == '+' || s.cur == '-') next_char();
        read_run(C_DIGIT_RUN);
      }
      floating_suffix();
      return drop_and(TOK_FLOAT_CONST);
    }
    integer_suffix();
    return drop_and(TOK_INT_CONST);
  }
  if (c == 'b' || c == 'B') {
    next_char();
    while (s.cur == '0' || s.cur == '1' || s.cur == '\'') next_char();
  }
  integer_suffix();
  return drop_and(TOK_INT_CONST);
}

// --- operators ---------------------------------------------------------------------------

// One character read behind the token's text so far: is it c?
inline bool then(unsigned char c) {
  if (g_scan.cur != c) return false;
  next_char();
  return true;
}

// `cur` is the first character, in the token; the next one is read first.
std::uint32_t scan_operator() {
  scanner_state &s = g_scan;
  unsigned char first = s.cur;
  next_char();
  std::uint32_t kind;
  switch (first) {
    case '=':
      kind = then('=') ? TOK_OPERATOR : then('>') ? TOK_FAT_ARROW : TOK_ASSIGN;
      break;
    case '.':
      if (is_digit(s.cur)) return scan_number_tail(true);
      if (then('*')) {
        kind = TOK_OPERATOR;
      } else if (then('.')) {
        // The character behind two dots is taken whatever it is.
        if (!at_end()) {
          if (s.cur == '\n') line_number++;
          next_char();
        }
        kind = TOK_ELLIPSIS;
      } else {
        kind = TOK_DOT;
      }
      break;
    case '<':
      if (then('<')) {
        kind = then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      } else if (then('=')) {
        kind = then('>') ? TOK_SPACESHIP : TOK_OPERATOR;
      } else if (then('?')) {
        kind = TOK_OPERATOR;
      } else if (then('%')) {
        kind = TOK_LBRACE;
      } else if (s.cur == ':') {
        const unsigned char *p = s.line_buf + s.line_pos;
        if (p[0] == ':' && p[1] != ':' && p[1] != '>') {
          kind = TOK_LESS;  // "<::": the "::" stays for the next token
        } else {
          next_char();
          kind = TOK_LBRACKET;
        }
      } else {
        kind = TOK_LESS;
      }
      break;
    case '>':
      if (then('=') || then('?')) {
        kind = TOK_OPERATOR;
      } else if (then('>')) {
        if (then('=')) {
          kind = TOK_ASSIGN_OP;
        } else if (source_language == LANG_JAVA && then('>')) {
          kind = then('=') ? TOK_ASSIGN_OP : TOK_USHR;
        } else {
          kind = TOK_SHR;
        }
      } else {
        kind = TOK_GREATER;
      }
      break;
    case '-':
      if (then('>'))
        kind = then('*') ? TOK_OPERATOR : source_language == LANG_JAVA ? TOK_LAMBDA_ARROW : TOK_ARROW;
      else if (then('-'))
        kind = TOK_OPERATOR;
      else
        kind = then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      break;
    case '+':
      kind = then('+') ? TOK_OPERATOR : then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      break;
    case '*':
      kind = then('=') ? TOK_ASSIGN_OP : TOK_STAR;
      break;
    case '/':
      kind = then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      break;
    case '%':
      if (then('>')) {
        if (s.last_kind == TOK_LBRACE) count_statement();
        kind = TOK_RBRACE;
      } else {
        kind = then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      }
      break;
    case '&':
      kind = then('&') ? TOK_ANDAND : then('=') ? TOK_ASSIGN_OP : TOK_AMP;
      break;
    case '|':
      kind = then('|') ? TOK_OROR : then('=') ? TOK_ASSIGN_OP : TOK_OPERATOR;
      break;
    case '^':
      kind = then('=') ? TOK_ASSIGN_OP : TOK_CARET;
      break;
    case '!':
      kind = then('=') ? TOK_OPERATOR : TOK_NOT;
      break;
    case ':':
      if (s.cur == ':') {
        // Three colons in a row: the first is a colon of its own.
        if (s.line_buf[s.line_pos] == ':') {
          kind = TOK_COLON;
        } else {
          next_char();
          kind = TOK_SCOPE;
        }
      } else {
        kind = then('>') ? TOK_RBRACKET : TOK_COLON;
      }
      break;
    case '?':
      kind = then('?') ? TOK_OPERATOR : TOK_QUESTION;
      break;
    default:
      kind = TOK_NONE;
      break;
  }
  return drop_and(kind);
}

// A token of one character; `cur` is that character, in the token.
inline std::uint32_t single(std::uint32_t kind) {
  next_char();
  return drop_and(kind);
}

std::uint32_t scan_token() {
  scanner_state &s = g_scan;
  unsigned char c = s.cur;
  if (s.classes[c] & C_ID_START) return scan_identifier();
  switch (c) {
    case '"': return scan_string(false);
    case '\'': return scan_char_const();
    case '0': case '1': case '2': case '3': case '4':
    case '5': case '6': case '7': case '8': case '9':
      return scan_number();
    case '{': return single(TOK_LBRACE);
    case '}':
      if (s.last_kind == TOK_LBRACE) count_statement();
      return single(TOK_RBRACE);
    case '(': return single(TOK_LPAREN);
    case ')': return single(TOK_RPAREN);
    case '[':
      next_char();
      if (then('[')) return drop_and(TOK_ATTR_OPEN);
      return drop_and(TOK_LBRACKET);
    case ']': return single(TOK_RBRACKET);
    case ',': return single(TOK_COMMA);
    case ';':
      count_statement();
      return single(TOK_SEMI);
    case '~': return single(TOK_TILDE);
    case '\\':
      if (is_ucn_ahead()) return scan_identifier();
      return single(TOK_NONE);
    default: return scan_operator();
  }
}

}  // namespace

// --- interface -------------------------------------------------------------------------

bool pre_parse_line_marker(const char *line, pre_line_marker *marker) {
  bool comment = line[0] == '/' && line[1] == '*' && is_blank(static_cast<unsigned char>(line[2]));
  const char *start = comment ? line + 3 : line;
  const char *colon = start;
  while (*colon && !(*colon == ':' && is_blank(static_cast<unsigned char>(colon[1])))) colon++;
  if (!*colon) return false;
  const char *number = colon;
  while (number > start && is_digit(static_cast<unsigned char>(number[-1]))) number--;
  if (number == colon || number - start < 2 || !is_blank(static_cast<unsigned char>(number[-1])))
    return false;
  std::size_t o = 0;
  for (const char *p = start; p < number - 1; p++) {
    std::size_t need = *p == '\\' ? 2 : 1;
    if (o + need > NAME_TEXT_MAX) return false;
    marker->path[o++] = *p;
    if (*p == '\\') marker->path[o++] = '\\';
  }
  marker->path[o] = '\0';
  unsigned long value = 0;
  for (const char *p = number; p < colon; p++) value = value * 10 + static_cast<unsigned long>(*p - '0');
  marker->line = value;
  const char *text;
  if (comment) {
    const char *slash = std::strchr(colon + 1, '/');
    if (!slash) return false;
    text = slash + 1;
  } else {
    text = colon + 2;
  }
  if (is_blank(static_cast<unsigned char>(*text)) && text[1] != '\0') text++;
  marker->text_offset = static_cast<std::size_t>(text - line);
  return true;
}

pre_status pre_open_source(const char *path) {
  scanner_state &s = g_scan;
  close_input();
  std::size_t len = std::strlen(path);
  set_input_name(path, len);
  build_classes(source_language == LANG_CSHARP || source_language == LANG_JAVA);
  s.input = pre_fopen(path, "r");
  if (!s.input) {
    pre_set_message_args(path, std::strerror(errno));
    return STATUS_OPEN_FAILED;
  }
  s.token_out = nullptr;
  s.token_len = 0;
  s.accumulate = false;
  s.cur = ' ';
  s.pending = 0;
  s.line_pos = 0;
  s.line_buf[0] = 0;
  s.splice_on = true;
  s.last_kind = TOK_NONE;
  s.directive_continues = false;
  s.in_raw_string = false;
  s.raw_end[0] = '\0';
  s.raw_end_len = 0;
  s.marker_mode = compiler_family == FAMILY_BORLAND;
  s.first_line = true;
  s.partial_line = false;
  s.remainder_pending = false;
  s.at_eof = false;
  s.in_system_header = false;
  s.chunk_pos = s.chunk_len = 0;
  s.chunk_last = false;
  next_char();
  return STATUS_OK;
}

std::uint32_t pre_next_token(char *buffer) {
  scanner_state &s = g_scan;
  s.splice_on = true;
  s.token_out = buffer;
  s.accumulate = false;
  s.token_len = 0;
  if (s.pending) buffer[s.token_len++] = static_cast<char>(s.pending);
  buffer[s.token_len] = '\0';
  if (!s.input) {
    buffer[0] = '\0';
    s.last_kind = TOK_EOF;
    return TOK_EOF;
  }
  std::uint32_t kind;
  if (s.directive_continues) {
    s.directive_continues = false;
    kind = at_end() ? TOK_EOF : scan_directive_line();
  } else if (s.in_raw_string) {
    s.accumulate = true;
    kind = scan_raw_continuation();
    s.accumulate = false;
  } else {
    kind = skip_blanks();
    if (kind != TOK_EOF) {
      if (s.cur == '#' || (s.cur == '%' && s.line_buf[s.line_pos] == ':')) {
        kind = scan_directive();
      } else {
        s.accumulate = true;
        kind = scan_token();
        s.accumulate = false;
      }
    }
  }
  if (kind == TOK_EOF) {
    close_input();
    s.pending = s.cur;
    s.last_kind = TOK_EOF;
    buffer[0] = '\0';
    return TOK_EOF;
  }
  buffer[s.token_len] = '\0';
  s.pending = s.cur;
  if (kind != TOK_QUB_PRAGMA && kind != TOK_LINE_DIRECTIVE && kind != TOK_DIRECTIVE) {
    s.last_kind = kind;
    if (kind == TOK_IDENT && (buffer[0] == 'c' || buffer[0] == 'd')) place_fallthrough_comment(buffer);
  }
  return kind;
}

int pre_read_raw_char() {
  scanner_state &s = g_scan;
  if (!s.input) return 0;
  if (s.pending) {
    unsigned char c = s.pending;
    s.pending = 0;
    return c == END_OF_INPUT ? 0 : c;
  }
  s.accumulate = false;
  next_char();
  return s.cur == END_OF_INPUT ? 0 : s.cur;
}

int pre_peek_char() {
  scanner_state &s = g_scan;
  if (!s.input) return 0;
  std::uint32_t pos = s.line_pos;
  unsigned char c = s.pending ? s.pending : s.line_buf[pos++];
  while (is_blank(c)) c = s.line_buf[pos++];
  return c == END_OF_INPUT ? 0 : c;
}

bool pre_space_follows() { return is_blank(g_scan.pending); }

void pre_syntax_error(const char *text) { fatal(STATUS_SYNTAX_ERROR, text); }

void pre_close_source() { close_input(); }

const char *pre_input_name() { return g_scan.input_name; }
