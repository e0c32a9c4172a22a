// The configuration store: reading qub.ini files, blocks, lookups, the search for files.
#include "config/config.h"

#include "driver/run_state.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "config/params.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"

namespace {

struct conf_value {
  char *text;
  conf_value *next;
};

struct conf_block {
  char *name;           // none for the default block
  conf_value **values;  // one slot per parameter row
  conf_block *next;
};

struct conf_store {
  const conf_param *table;
  std::size_t count;
  conf_block *blocks;  // the default block first, then the named ones
  conf_block *current;
};

// Where the reader stands, for messages.
struct conf_reader {
  unsigned long line;   // lines read from the current file, the last one included
  int read_errno;       // errno of a failed read
  char error_text[129];  // statement or name of the last format error
};

constexpr std::size_t MESSAGE_TEXT_LIMIT = 128;

conf_store *g_store = nullptr;
conf_reader g_reader = {0, 0, ""};

conf_block *new_block(const char *name, std::size_t count) {
  conf_block *b = static_cast<conf_block *>(pre_xmalloc(sizeof(conf_block)));
  b->name = name ? pre_xstrdup(name) : nullptr;
  b->values = static_cast<conf_value **>(pre_xmalloc(count * sizeof(conf_value *)));
  for (std::size_t i = 0; i < count; i++) b->values[i] = nullptr;
  b->next = nullptr;
  return b;
}

conf_store *store() {
  if (!g_store) {
    g_store = static_cast<conf_store *>(pre_xmalloc(sizeof(conf_store)));
    g_store->table = conf_param_table;
    g_store->count = conf_param_table_size;
    g_store->blocks = new_block(nullptr, g_store->count);
    g_store->current = g_store->blocks;
  }
  return g_store;
}

conf_value *new_value(const std::string &text) {
  conf_value *v = static_cast<conf_value *>(pre_xmalloc(sizeof(conf_value)));
  v->text = pre_xstrdup(text.c_str());
  v->next = nullptr;
  return v;
}

void free_chain(conf_value *v) {
  while (v) {
    conf_value *next = v->next;
    std::free(v->text);
    std::free(v);
    v = next;
  }
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == '\r'; }

bool is_name_char(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || c == '_'; }

std::string trim_blanks(const std::string &s) {
  std::size_t a = 0, b = s.size();
  while (a < b && is_blank(s[a])) a++;
  while (b > a && is_blank(s[b - 1])) b--;
  return s.substr(a, b - a);
}

std::string cut(const char *text) {
  std::string s = text ? text : "";
  if (s.size() > MESSAGE_TEXT_LIMIT) s.resize(MESSAGE_TEXT_LIMIT);
  return s;
}

void set_cut_args(const char *text1, const char *text2) {
  pre_set_message_args(cut(text1).c_str(), cut(text2).c_str());
}

pre_status format_error(const char *text) {
  std::snprintf(g_reader.error_text, sizeof g_reader.error_text, "%s", text);
  return STATUS_BAD_CONFIG_FORMAT;
}

// The values of the slot that a lookup finds: the current block's, else the default's.
conf_value *lookup(const char *parameter) {
  if (!g_store) return nullptr;
  int row = conf_param_index(parameter);
  if (row < 0) return nullptr;
  conf_value *v = g_store->current->values[row];
  return v ? v : g_store->blocks->values[row];
}

// The value of a single-valued parameter: a text without a double quote as it is,
// otherwise what stands between its first double quote and the next one or the end.
bool unquote_single(const std::string &value, std::string *out) {
  std::size_t open = value.find('"');
  if (open == std::string::npos) {
    *out = value;
    return true;
  }
  std::size_t close = value.find('"', open + 1);
  if (open == 0 && close == std::string::npos) return false;
  *out = value.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1);
  return true;
}

// The comma-separated values of a list parameter; false for an unclosed quote.
bool split_values(const std::string &s, conf_value **list) {
  conf_value **tail = list;
  *list = nullptr;
  std::size_t n = s.size(), p = 0;
  if (n == 0) {
    *list = new_value("");
    return true;
  }
  for (;;) {
    while (p < n && is_blank(s[p])) p++;
    std::string v;
    if (p < n && s[p] == '"') {
      std::size_t close = s.find('"', p + 1);
      if (close == std::string::npos) {
        free_chain(*list);
        *list = nullptr;
        return false;
      }
      v = s.substr(p + 1, close - p - 1);
      p = s.find(',', close + 1);
      if (p == std::string::npos) p = n;
    } else {
      std::size_t comma = s.find(',', p);
      if (comma == std::string::npos) comma = n;
      std::size_t end = comma;
      while (end > p && is_blank(s[end - 1])) end--;
      v = s.substr(p, end - p);
      p = comma;
    }
    *tail = new_value(v);
    tail = &(*tail)->next;
    if (p >= n) break;
    p++;  // the comma
    if (p >= n) break;  // a comma at the very end adds nothing
  }
  return true;
}

pre_status set_single(conf_value **slot, char op, const std::string &value, const char *statement) {
  if (op == '-') return format_error(statement);
  if (op == '+' && *slot) {
    char *joined = (*slot)->text;
    pre_str_append(&joined, value.c_str());
    (*slot)->text = joined;
    return STATUS_OK;
  }
  std::string text;
  if (!unquote_single(value, &text)) return format_error(statement);
  free_chain(*slot);
  *slot = new_value(text);
  return STATUS_OK;
}

pre_status set_multi(conf_value **slot, char op, const std::string &value, const char *statement) {
  conf_value *list = nullptr;
  if (!split_values(value, &list)) return format_error(statement);
  if (op == '=') {
    free_chain(*slot);
    *slot = list;
  } else if (op == '+') {
    conf_value **tail = slot;
    while (*tail) tail = &(*tail)->next;
    *tail = list;
  } else {
    for (conf_value *gone = list; gone; gone = gone->next) {
      for (conf_value **at = slot; *at; at = &(*at)->next) {
        if (std::strcmp((*at)->text, gone->text) != 0) continue;
        conf_value *found = *at;
        *at = found->next;
        found->next = nullptr;
        free_chain(found);
        break;
      }
    }
    free_chain(list);
  }
  return STATUS_OK;
}

// Each $(NAME) from left to right becomes the variable's value, or nothing when it
// isn't set; a "$(" without a ")" behind it stays, with everything after it.
std::string expand_variables(const std::string &s) {
  std::string out;
  std::size_t p = 0;
  for (;;) {
    std::size_t open = s.find("$(", p);
    std::size_t close = open == std::string::npos ? std::string::npos : s.find(')', open + 2);
    if (close == std::string::npos) {
      out.append(s, p, std::string::npos);
      return out;
    }
    out.append(s, p, open - p);
    std::string name = s.substr(open + 2, close - open - 2);
    if (const char *value = std::getenv(name.c_str())) out += value;
    p = close + 1;
  }
}

// One line with its continuation lines joined; false at the end of the file or on a
// read error (then read_errno is set).
bool read_joined_line(std::FILE *f, std::string *out) {
  out->clear();
  bool any = false;
  for (;;) {
    std::string physical;
    bool line_feed = false;
    int c;
    while ((c = std::getc(f)) != EOF) {
      if (c == '\n') {
        line_feed = true;
        break;
      }
      physical.push_back(static_cast<char>(c));
    }
    if (c == EOF && std::ferror(f)) {
      g_reader.read_errno = errno;
      return false;
    }
    if (!line_feed && physical.empty()) return any;
    g_reader.line++;
    any = true;
    if (line_feed && !physical.empty() && physical.back() == '\r') physical.pop_back();
    if (line_feed && !physical.empty() && physical.back() == '\\') {
      physical.pop_back();
      out->append(physical);
      continue;
    }
    out->append(physical);
    return true;
  }
}

pre_status process_line(const std::string &line) {
  std::size_t first = 0;
  while (first < line.size() && is_blank(line[first])) first++;
  if (first == line.size() || line[first] == '#') return STATUS_OK;
  std::string text = expand_variables(line);
  std::string joined;
  for (std::size_t i = 0; i < text.size(); i++) {
    if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '\n') {
      i++;
      continue;
    }
    joined.push_back(text[i]);
  }
  std::size_t start = 0;
  while (start <= joined.size()) {
    std::size_t end = joined.find('\n', start);
    if (end == std::string::npos) end = joined.size();
    std::string statement = trim_blanks(joined.substr(start, end - start));
    start = end + 1;
    if (statement.empty() || statement[0] == '#') continue;
    if (statement.size() >= 2 && statement.front() == '[' && statement.back() == ']') {
      conf_select_block(statement.substr(1, statement.size() - 2).c_str());
      continue;
    }
    pre_status status = conf_apply_line(statement.c_str());
    if (status != STATUS_OK) return status;
  }
  return STATUS_OK;
}

// Reads one file; open_errno tells why it couldn't be opened.
pre_status load_file(const char *path, int *open_errno) {
  *open_errno = 0;
  errno = 0;
  std::FILE *f = pre_fopen(path, "r");
  if (!f) {
    *open_errno = errno;
    set_cut_args(path, std::strerror(errno));
    return STATUS_OPEN_FAILED;
  }
  conf_select_block(nullptr);
  g_reader.line = 0;
  g_reader.read_errno = 0;
  pre_status status = STATUS_OK;
  std::string line;
  while (status == STATUS_OK && read_joined_line(f, &line)) status = process_line(line);
  if (status == STATUS_OK && std::ferror(f)) {
    set_cut_args(path, std::strerror(g_reader.read_errno));
    status = STATUS_READ_FAILED;
  }
  errno = 0;
  if (pre_fclose(f) != 0 && status == STATUS_OK) {
    set_cut_args(path, std::strerror(errno));
    status = STATUS_CLOSE_FAILED;
  }
  if (status == STATUS_BAD_CONFIG_FORMAT) {
    set_cut_args(g_reader.error_text, path);
    pre_set_message_line(g_reader.line);
  }
  return status;
}

bool is_missing(int open_errno) { return open_errno == ENOENT || open_errno == ENOTDIR; }

std::string without_quotes(const char *text) {
  std::string s;
  for (const char *p = text; *p; p++)
    if (*p != '"') s.push_back(*p);
  return s;
}

void load_line(bool report, const std::string &path, const char *ending) {
  if (report) std::fprintf(stderr, "   %s%s\n", path.c_str(), ending);
}

// A file that need not be there.
pre_status load_optional(const std::string &path, bool report, int *loaded) {
  int open_errno = 0;
  pre_status status = load_file(path.c_str(), &open_errno);
  if (status == STATUS_OK) {
    (*loaded)++;
    load_line(report, path, " ... Loaded");
  } else if (status == STATUS_OPEN_FAILED && is_missing(open_errno)) {
    load_line(report, path, " ... Not provided");
    status = STATUS_OK;
  } else {
    load_line(report, path, " ...");
  }
  return status;
}

// A ";"-separated list of files that must all be there.
pre_status load_list(const std::string &list, bool report, int *loaded) {
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(';', start);
    if (end == std::string::npos) end = list.size();
    std::string path = list.substr(start, end - start);
    start = end + 1;
    if (path.empty()) continue;
    int open_errno = 0;
    pre_status status = load_file(path.c_str(), &open_errno);
    if (status == STATUS_OK) {
      (*loaded)++;
      load_line(report, path, " ... Loaded");
      continue;
    }
    load_line(report, path, status == STATUS_OPEN_FAILED && is_missing(open_errno) ? " ... Not found" : " ...");
    return status;
  }
  return STATUS_OK;
}

// Reads the home file, the list variable's files, the current directory's file and the
// files of -c, each adding to what the earlier ones left.
pre_status conf_search(const char *base, const char *home_variable, const char *list_variable,
                const char *conf_file_list, bool report) {
  std::string file = std::string(base) + ".ini";
  int loaded = 0;
  pre_status status = STATUS_OK;
  if (report) std::fputs("Searching for configuration files:\n", stderr);

  if (report)
    std::fprintf(stderr, "%d. Morvaine QUB++ home directory (%s%s%s%s%s)\n", 1, "%", home_variable, "%", "/",
                 file.c_str());
  if (const char *home = std::getenv(home_variable)) {
    std::string path = without_quotes(home);
    if (path.empty() || path.back() != '/') path += '/';
    path += file;
    status = load_optional(path, report, &loaded);
    if (status != STATUS_OK) return status;
  } else if (report) {
    std::fprintf(stderr, "   - Not used : Environment variable %s not set\n", home_variable);
  }

  const char *init = std::getenv(list_variable);
  if (report) std::fprintf(stderr, "%d. Environment Variable %s%s%s%s\n", 2, "%", list_variable, "%", init ? "" : " : Not used");
  if (init) {
    status = load_list(init, report, &loaded);
    if (status != STATUS_OK) return status;
  }

  std::string here = "./" + file;
  if (report) std::fprintf(stderr, "%d. Current Directory (%s)\n", 3, here.c_str());
  status = load_optional(here, report, &loaded);
  if (status != STATUS_OK) return status;

  bool have_list = conf_file_list && *conf_file_list;
  if (report) std::fprintf(stderr, "%d. By Command Line Option \"-c\"%s\n", 4, have_list ? "" : " : Not used");
  if (have_list) {
    status = load_list(without_quotes(conf_file_list), report, &loaded);
    if (status != STATUS_OK) return status;
  }
  if (report) std::fputs("\n", stderr);

  if (loaded == 0) {
    pre_set_message_args(file.c_str(), "No such file could be found");
    return STATUS_OPEN_FAILED;
  }
  return STATUS_OK;
}

}  // namespace

void pre_load_configuration(const char *conf_file_list, bool report) {
  conf_reset();
  store();
  pre_status status = conf_search("qub", "QUBHOME", "QUBINIT", conf_file_list, report);
  if (status != STATUS_OK) pre_fatal(status);
}

const char *conf_get(const char *parameter) {
  conf_value *v = lookup(parameter);
  return v ? v->text : "";
}

const char *conf_first(const char *parameter, conf_iter *iterator) {
  conf_value *v = lookup(parameter);
  *iterator = nullptr;
  if (!v) return nullptr;
  int row = conf_param_index(parameter);
  if (conf_param_table[row].multi) *iterator = v->next;
  return v->text;
}

const char *conf_next(conf_iter *iterator) {
  conf_value *v = static_cast<conf_value *>(*iterator);
  if (!v) return nullptr;
  *iterator = v->next;
  return v->text;
}

const char *conf_select_first() {
  conf_store *s = store();
  conf_block *first = s->blocks->next;
  s->current = first ? first : s->blocks;
  return first ? first->name : nullptr;
}

const char *conf_select_next() {
  conf_store *s = store();
  conf_block *next = s->current == s->blocks ? nullptr : s->current->next;
  s->current = next ? next : s->blocks;
  return next ? next->name : nullptr;
}

void conf_select_block(const char *name) {
  conf_store *s = store();
  if (!name) {
    s->current = s->blocks;
    return;
  }
  conf_block *last = s->blocks;
  for (conf_block *b = s->blocks->next; b; b = b->next) {
    if (std::strcmp(b->name, name) == 0) {
      s->current = b;
      return;
    }
    last = b;
  }
  last->next = new_block(name, s->count);
  s->current = last->next;
}

pre_status conf_apply_line(const char *statement) {
  conf_store *s = store();
  std::size_t name_length = 0;
  while (is_name_char(statement[name_length])) name_length++;
  if (name_length == 0) return format_error(statement);
  const char *p = statement + name_length;
  while (is_blank(*p)) p++;
  char op = *p;
  if (op != '=' && op != '+' && op != '-') return format_error(statement);
  std::string value = trim_blanks(p + 1);
  std::string name(statement, name_length);
  int row = conf_param_index(name.c_str());
  if (row < 0) return format_error(name.c_str());
  conf_value **slot = &s->current->values[row];
  return s->table[row].multi ? set_multi(slot, op, value, statement) : set_single(slot, op, value, statement);
}

const char *conf_error_text() { return g_reader.error_text; }

void conf_apply_override(const char *text) {
  pre_status status = conf_apply_line(text);
  if (status == STATUS_OK) return;
  set_cut_args(g_reader.error_text, "");
  pre_set_message_line(0);
  pre_fatal(status);
}

pre_status conf_load_file(const char *path) {
  int open_errno = 0;
  store();
  return load_file(path, &open_errno);
}

void conf_reset() {
  if (!g_store) return;
  for (conf_block *b = g_store->blocks; b;) {
    conf_block *next = b->next;
    for (std::size_t i = 0; i < g_store->count; i++) free_chain(b->values[i]);
    std::free(b->values);
    std::free(b->name);
    std::free(b);
    b = next;
  }
  std::free(g_store);
  g_store = nullptr;
}

void conf_apply_pending_overrides() {
  if (!g_run.pending_overrides) return;
  for (void *t = pre_list_first(g_run.pending_overrides); t; t = pre_list_next(g_run.pending_overrides))
    conf_apply_override(static_cast<const char *>(t));
  pre_list_free_texts(g_run.pending_overrides);
  g_run.pending_overrides = nullptr;
}
