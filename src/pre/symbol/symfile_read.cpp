// Reading a symbol file: a strict line parser over the whole file in memory. Every line
// is checked against the form its place calls for, so that a truncated, edited or
// foreign file is refused with the line at fault instead of being half understood.
#include "symbol/symfile_read.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unordered_map>

namespace {

constexpr std::string_view IDENTIFICATION = "QUB++ sym 9";
constexpr std::string_view END_MARK = "END OF SYMBOLFILE";
constexpr std::size_t DATE_LENGTH = 24;

// --- the checksum ------------------------------------------------------------------------

struct crc_table {
  std::uint32_t value[256];
  crc_table() {
    for (std::uint32_t i = 0; i < 256; i++) {
      std::uint32_t c = i << 24;
      for (int bit = 0; bit < 8; bit++) c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
      value[i] = c;
    }
  }
};

const crc_table &table() {
  static const crc_table t;
  return t;
}

struct crc_state {
  std::uint32_t value = 0;
  std::uint64_t length = 0;
};

void crc_add(crc_state *crc, std::string_view bytes) {
  const std::uint32_t *t = table().value;
  std::uint32_t v = crc->value;
  for (unsigned char c : bytes) v = (v << 8) ^ t[((v >> 24) ^ c) & 0xFFu];
  crc->value = v;
  crc->length += bytes.size();
}

std::uint32_t crc_finish(const crc_state &crc) {
  const std::uint32_t *t = table().value;
  std::uint32_t v = crc.value;
  for (std::uint64_t n = crc.length; n; n >>= 8) v = (v << 8) ^ t[((v >> 24) ^ (n & 0xFFu)) & 0xFFu];
  return ~v;
}

// --- numbers -----------------------------------------------------------------------------

// Takes an unsigned decimal number from the front of text; no sign, at least one digit.
bool take_unsigned(std::string_view *text, std::uint64_t limit, std::uint64_t *value) {
  std::size_t i = 0;
  std::uint64_t v = 0;
  while (i < text->size() && (*text)[i] >= '0' && (*text)[i] <= '9') {
    std::uint64_t digit = static_cast<std::uint64_t>((*text)[i] - '0');
    if (v > (limit - digit) / 10) return false;
    v = v * 10 + digit;
    i++;
  }
  if (i == 0) return false;
  text->remove_prefix(i);
  *value = v;
  return true;
}

bool take_signed(std::string_view *text, long long *value) {
  bool negative = !text->empty() && (*text)[0] == '-';
  if (negative) text->remove_prefix(1);
  std::uint64_t v;
  if (!take_unsigned(text, negative ? 9223372036854775808ull : 9223372036854775807ull, &v)) return false;
  *value = negative ? static_cast<long long>(0 - v) : static_cast<long long>(v);
  return true;
}

bool take_char(std::string_view *text, char c) {
  if (text->empty() || (*text)[0] != c) return false;
  text->remove_prefix(1);
  return true;
}

bool take_hex32(std::string_view *text, std::uint32_t *value) {
  std::size_t i = 0;
  std::uint32_t v = 0;
  for (; i < text->size() && i < 8; i++) {
    char c = (*text)[i];
    int digit;
    if (c >= '0' && c <= '9')
      digit = c - '0';
    else if (c >= 'A' && c <= 'F')
      digit = c - 'A' + 10;
    else if (c >= 'a' && c <= 'f')
      digit = c - 'a' + 10;
    else
      break;
    v = (v << 4) | static_cast<std::uint32_t>(digit);
  }
  if (i == 0) return false;
  text->remove_prefix(i);
  *value = v;
  return true;
}

// --- the parser --------------------------------------------------------------------------

struct parser {
  std::string_view data;
  std::size_t pos = 0;
  std::uint64_t line_no = 0;
  symfile *out = nullptr;
  symfile_error *error = nullptr;
  std::unordered_map<std::string, std::uint32_t> file_index;

  // The next line without its line feed; false at the end of the data.
  bool next_line(std::string_view *line, bool *had_feed) {
    if (pos >= data.size()) return false;
    std::size_t end = data.find('\n', pos);
    *had_feed = end != std::string_view::npos;
    if (!*had_feed) end = data.size();
    *line = data.substr(pos, end - pos);
    pos = *had_feed ? end + 1 : end;
    line_no++;
    return true;
  }

  bool fail(symfile_status status, std::uint64_t line, const std::string &message) {
    error->status = status;
    error->line = line;
    error->message = message;
    return false;
  }

  bool bad_line(const char *what) { return fail(SYMFILE_BAD_LINE, line_no, what); }

  std::uint32_t file_of(const std::string &name) {
    auto found = file_index.find(name);
    if (found != file_index.end()) return found->second;
    std::uint32_t index = static_cast<std::uint32_t>(out->file_names.size());
    out->file_names.push_back(name);
    file_index.emplace(name, index);
    return index;
  }

  bool read_head(std::string_view line, symfile_description *d) {
    std::uint64_t mode, revision, word;
    long long stamp;
    if (!take_unsigned(&line, 0xFFFFFFFFu, &mode) || !take_char(&line, ' ') || !take_signed(&line, &stamp) ||
        !take_char(&line, ' ') || !take_hex32(&line, &d->fingerprint) || !take_char(&line, ' ') ||
        !take_unsigned(&line, 0xFFFFFFFFu, &revision) || !take_char(&line, ' ') ||
        !take_unsigned(&line, 0xFFFFFFFFu, &word) || !line.empty())
      return bad_line("the head of a description must hold mode bits, time stamp, fingerprint, revision and 0");
    d->mode_bits = static_cast<std::uint32_t>(mode);
    d->time_stamp = stamp;
    d->revision = static_cast<std::uint32_t>(revision);
    return true;
  }

  bool read_counts(std::string_view line, symfile_description *d) {
    line.remove_prefix(1);
    std::uint64_t *fields[6] = {&d->line_count, &d->f_size, &d->j_size, &d->tf_size, &d->c_size, &d->time_size};
    for (int i = 0; i < 6; i++) {
      if ((i > 0 && !take_char(&line, ',')) || !take_unsigned(&line, 0x7FFFFFFFu, fields[i]))
        return bad_line("the counts line must hold six numbers separated by commas");
    }
    if (!line.empty()) return bad_line("the counts line must hold six numbers separated by commas");
    return true;
  }

  bool read_record(std::string_view line, symfile_description *d, std::uint32_t *current_file) {
    std::uint64_t kind, at, statements, level;
    long long counter;
    if (!take_unsigned(&line, 0xFFFFFFFFu, &kind) || !take_char(&line, ' ') ||
        !take_unsigned(&line, 0xFFFFFFFFu, &at) || !take_char(&line, ' ') ||
        !take_unsigned(&line, 0xFFFFFFFFu, &statements) || !take_char(&line, ' ') || !take_signed(&line, &counter) ||
        counter < -2147483648ll || counter > 2147483647ll || !take_char(&line, ' ') ||
        !take_unsigned(&line, 0xFFFFFFFFu, &level))
      return bad_line("a record must begin with five numbers separated by single blanks");
    if (!line.empty() && !take_char(&line, ' '))
      return bad_line("a record's text must be separated from its numbers by one blank");
    if (kind == 50 || kind == 51) {
      std::uint32_t number;
      std::string name;
      if (!symfile_line_form(line, &number, &name))
        return bad_line("a file-change record must read #line, a number and a quoted file name");
      *current_file = file_of(name);
    }
    if (d->texts.size() + line.size() > 0xFFFFFFFFu) return bad_line("the description is too large");
    symfile_record r;
    r.kind = static_cast<std::uint32_t>(kind);
    r.line = static_cast<std::uint32_t>(at);
    r.statements = static_cast<std::uint32_t>(statements);
    r.counter = static_cast<std::int32_t>(counter);
    r.level = static_cast<std::uint32_t>(level);
    r.file = *current_file;
    r.text_offset = static_cast<std::uint32_t>(d->texts.size());
    r.text_length = static_cast<std::uint32_t>(line.size());
    d->texts.append(line);
    d->records.push_back(r);
    return true;
  }

  // Every counter within its array, every index list well formed and within the C array.
  bool check_counters(const symfile_description &d, const std::vector<std::uint64_t> &record_lines) {
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < d.records.size(); i++) {
      const symfile_record &r = d.records[i];
      std::uint64_t size = 0;
      switch (symfile_array_of(r.kind)) {
        case SYMFILE_NONE: continue;
        case SYMFILE_F: size = d.f_size; break;
        case SYMFILE_J: size = d.j_size; break;
        case SYMFILE_TF: size = d.tf_size; break;
        case SYMFILE_C: size = d.c_size; break;
      }
      char what[160];
      if (r.counter < 0 || static_cast<std::uint64_t>(r.counter) >= size) {
        std::snprintf(what, sizeof what, "the counter %ld of a record of kind %u lies outside its array of %llu",
                      static_cast<long>(r.counter), r.kind, static_cast<unsigned long long>(size));
        return fail(SYMFILE_BAD_COUNTER, record_lines[i], what);
      }
      if (r.kind >= 78 && r.kind <= 81) {
        if (!symfile_index_list(symfile_text(d, r), &numbers))
          return fail(SYMFILE_BAD_COUNTER, record_lines[i], "a path list must be numbers separated by commas");
        for (std::uint32_t n : numbers)
          if (static_cast<std::uint64_t>(r.counter) + n >= size) {
            std::snprintf(what, sizeof what, "the path %u of a record of kind %u lies outside the C array of %llu", n,
                          r.kind, static_cast<unsigned long long>(size));
            return fail(SYMFILE_BAD_COUNTER, record_lines[i], what);
          }
      }
    }
    return true;
  }

  bool read_description(std::string_view name_line) {
    out->descriptions.emplace_back();
    symfile_description *d = &out->descriptions.back();
    d->first_line = line_no;
    d->source_id.assign(name_line.substr(1));
    if (d->source_id.empty()) return bad_line("a description's name line holds no name");
    d->file = file_of(d->source_id);
    std::uint32_t current_file = d->file;
    std::string_view line;
    bool feed;
    if (!next_line(&line, &feed) || !feed)
      return fail(SYMFILE_TRUNCATED, line_no, "the file ends inside a description");
    if (!read_head(line, d)) return false;
    crc_state crc;
    crc_add(&crc, line.substr(0, 2));
    std::vector<std::uint64_t> record_lines;
    for (;;) {
      if (!next_line(&line, &feed) || !feed)
        return fail(SYMFILE_TRUNCATED, line_no, "the file ends inside a description");
      crc_add(&crc, line);
      if (!line.empty() && line[0] == '%') {
        if (!read_counts(line, d)) return false;
        break;
      }
      if (line.empty() || line[0] < '0' || line[0] > '9')
        return bad_line("a description ends without its counts line");
      if (!read_record(line, d, &current_file)) return false;
      record_lines.push_back(line_no);
    }
    d->computed_fingerprint = crc_finish(crc);
    return check_counters(*d, record_lines);
  }

  bool run() {
    std::string_view line;
    bool feed;
    if (!next_line(&line, &feed) || line != IDENTIFICATION || !feed)
      return fail(SYMFILE_FOREIGN, 1, "this is not a symbol file of this format (\"QUB++ sym 9\" expected on line 1)");
    if (!next_line(&line, &feed) || !feed) return fail(SYMFILE_TRUNCATED, line_no, "the file ends after its first line");
    if (line.size() != DATE_LENGTH) return bad_line("line 2 must hold the 24-character date of the last change");
    out->date.assign(line);
    for (;;) {
      if (!next_line(&line, &feed))
        return fail(SYMFILE_TRUNCATED, line_no, "the end mark \"END OF SYMBOLFILE\" is missing");
      if (line == END_MARK) return true;  // whatever follows is left over from an older version
      if (line.empty() || line[0] != '@') return bad_line("a description must begin with a name line (@name)");
      if (!read_description(line)) return false;
    }
  }
};

}  // namespace

symfile_array symfile_array_of(std::uint32_t kind) {
  switch (kind) {
    case 0: return SYMFILE_F;
    case 1: case 4: case 5:
    case 10: case 11: case 12: case 13: case 14: case 15: case 16:
    case 55:
    case 60: case 61: case 62: case 63: case 64: case 65: case 66:
    case 100: case 101: case 102: case 103: case 104:
      return SYMFILE_J;
    case 20: case 21: case 22: case 23: case 24: case 25:
    case 30: case 31: case 32: case 33: case 34: case 35:
      return SYMFILE_TF;
    case 75: case 76: case 78: case 79: case 80: case 81:
      return SYMFILE_C;
    default:
      return SYMFILE_NONE;
  }
}

bool symfile_known_kind(std::uint32_t kind) {
  if (symfile_array_of(kind) != SYMFILE_NONE) return true;
  switch (kind) {
    case 2: case 3: case 6: case 40: case 41: case 42: case 43: case 45: case 50: case 51: case 56:
    case 70: case 71: case 72: case 73: case 74: case 77: case 85: case 90:
      return true;
    default:
      return false;
  }
}

bool symfile_index_list(std::string_view text, std::vector<std::uint32_t> *numbers) {
  numbers->clear();
  if (text.empty()) return true;
  for (;;) {
    std::uint64_t n;
    if (!take_unsigned(&text, 0x7FFFFFFFu, &n)) return false;
    numbers->push_back(static_cast<std::uint32_t>(n));
    if (text.empty()) return true;
    if (!take_char(&text, ',')) return false;
  }
}

bool symfile_line_form(std::string_view text, std::uint32_t *number, std::string *name) {
  constexpr std::string_view word = "#line ";
  if (text.substr(0, word.size()) != word) return false;
  text.remove_prefix(word.size());
  std::uint64_t n;
  if (!take_unsigned(&text, 0xFFFFFFFFu, &n) || !take_char(&text, ' ') || text.size() < 2 || text.front() != '"' ||
      text.back() != '"')
    return false;
  *number = static_cast<std::uint32_t>(n);
  name->assign(text.substr(1, text.size() - 2));
  return !name->empty();
}

std::uint32_t symfile_cksum(std::string_view bytes) {
  crc_state crc;
  crc_add(&crc, bytes);
  return crc_finish(crc);
}

bool symfile_parse(std::string_view data, symfile *out, symfile_error *error) {
  *out = symfile();
  *error = symfile_error();
  parser p;
  p.data = data;
  p.out = out;
  p.error = error;
  if (p.run()) return true;
  *out = symfile();
  return false;
}

bool symfile_read(const std::string &path, symfile *out, symfile_error *error) {
  *error = symfile_error();
  std::FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) {
    error->status = SYMFILE_CANNOT_OPEN;
    error->message = std::strerror(errno);
    return false;
  }
  std::string data;
  char buffer[1 << 16];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) data.append(buffer, n);
  bool failed = std::ferror(f) != 0;
  int saved = errno;
  std::fclose(f);
  if (failed) {
    error->status = SYMFILE_CANNOT_OPEN;
    error->message = std::strerror(saved);
    return false;
  }
  return symfile_parse(data, out, error);
}
