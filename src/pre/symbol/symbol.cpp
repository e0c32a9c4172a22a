// The description of one source file: name line, head, records and "#line" records,
// written to a temporary file while the analysis runs; its fingerprint.
#include "symbol/symbol.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <unordered_map>

#include "base/base.h"
#include "command/tempfile.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include "preparse/token.h"
#include "prepath/prepath.h"
#include "symbol/symbol_state.h"

symbol_state g_symbol;

namespace {

constexpr int RECORD_TEXT_LIMIT = 4000;
constexpr int LINE_NAME_LIMIT = 3980;
constexpr std::size_t STACK_GROWTH = 30;
constexpr std::size_t POOL_START = 10;
constexpr std::size_t POOL_MIN_GROWTH = 100;

std::uint32_t crc_table[256];
bool crc_table_ready = false;

void build_crc_table() {
  for (std::uint32_t i = 0; i < 256; i++) {
    std::uint32_t c = i << 24;
    for (int bit = 0; bit < 8; bit++) c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
    crc_table[i] = c;
  }
  crc_table_ready = true;
}

void check_write(int result) {
  if (result < 0) symbol_temp_write_failed();
}

// --- name pool ---------------------------------------------------------------------------

// Names of the pool by their path-comparison key, '\\' read as '/'.
std::unordered_map<std::string, const char *> g_pool_index;

std::string pool_key(const char *name) {
  std::string key = name;
  for (char &c : key)
    if (c == '\\') c = '/';
  return key;
}

const char *pool_intern(const char *name) {
  std::string key = pool_key(name);
  auto found = g_pool_index.find(key);
  if (found != g_pool_index.end()) return found->second;
  if (g_symbol.pool_count == g_symbol.pool_capacity) {
    std::size_t growth = g_symbol.pool_capacity == 0 ? POOL_START : g_symbol.pool_capacity / 5;
    if (g_symbol.pool_capacity != 0 && growth < POOL_MIN_GROWTH) growth = POOL_MIN_GROWTH;
    g_symbol.pool_capacity += growth;
    g_symbol.name_pool = static_cast<char **>(
        pre_xrealloc(g_symbol.name_pool, g_symbol.pool_capacity * sizeof(char *)));
  }
  char *copy = pre_xstrdup(name);
  g_symbol.name_pool[g_symbol.pool_count++] = copy;
  g_pool_index.emplace(std::move(key), copy);
  return copy;
}

// --- line stack --------------------------------------------------------------------------

symbol_line_entry *stack_push() {
  if (g_symbol.stack_count == g_symbol.stack_capacity) {
    g_symbol.stack_capacity += STACK_GROWTH;
    g_symbol.line_stack = static_cast<symbol_line_entry *>(
        pre_xrealloc(g_symbol.line_stack, g_symbol.stack_capacity * sizeof(symbol_line_entry)));
  }
  symbol_line_entry *entry = &g_symbol.line_stack[g_symbol.stack_count++];
  std::memset(entry, 0, sizeof *entry);
  return entry;
}

symbol_line_entry *stack_top() {
  return g_symbol.stack_count ? &g_symbol.line_stack[g_symbol.stack_count - 1] : nullptr;
}

// Index of the newest entry of the file name that entered it (number 1), or -1.
long newest_entry_of(const char *name) {
  for (std::size_t i = g_symbol.stack_count; i-- > 0;)
    if (g_symbol.line_stack[i].name == name && g_symbol.line_stack[i].number == 1)
      return static_cast<long>(i);
  return -1;
}

// A line directive (kind 50): the stack follows the files entered and left.
void note_line_directive(const char *text, std::uint32_t number, std::uint32_t level,
                         std::uint32_t statements) {
  std::string absolute = pre_abs_path_text(text ? text : "");
  const char *name = pool_intern(absolute.c_str());
  if (number == 1 && g_symbol.stack_count && g_symbol.line_stack[0].name == name)
    g_symbol.stack_count = 0;
  symbol_line_entry *entry = nullptr;
  bool written = false;
  while (!entry) {
    symbol_line_entry *top = stack_top();
    if (!top) {
      entry = stack_push();
      written = true;
    } else if (top->name == name) {
      entry = top->number == 1 ? stack_push() : top;
    } else if (number == 1) {
      entry = stack_push();
    } else {
      long entered = newest_entry_of(top->name);
      g_symbol.stack_count = entered < 0 ? 0 : static_cast<std::size_t>(entered);
    }
  }
  entry->before_line = line_before_directive;
  entry->number = number;
  entry->name = name;
  entry->level = level;
  entry->statements = statements;
  entry->written = written;
}

// Writes the "#line" record of the entry that the stack shows and marks that entry.
void write_line_record(std::uint32_t kind) {
  symbol_line_entry *top = stack_top();
  long entered = newest_entry_of(top->name);
  symbol_line_entry *shown = top;
  if (entered >= 0 && !g_symbol.line_stack[entered].written) shown = &g_symbol.line_stack[entered];
  unsigned line = shown->number == 1 ? shown->before_line : shown->number - 1;
  unsigned statements = kind == 50 ? 0 : shown->statements;
  unsigned level = kind == 50 ? 0 : shown->level;
  check_write(std::fprintf(g_symbol.temp_file, "%d %u %u %d %u #line %lu \"%.*s\"\n",
                           static_cast<int>(kind), line, statements, 0, level,
                           static_cast<unsigned long>(shown->number), LINE_NAME_LIMIT, shown->name));
  shown->written = true;
}

void set_last_name(const char *name) {
  char *copy = pre_xstrdup(name);
  std::free(g_symbol.last_name);
  g_symbol.last_name = copy;
}

}  // namespace

// --- shared with the merge ---------------------------------------------------------------

void symbol_discard_line_state() {
  std::free(g_symbol.line_stack);
  g_symbol.line_stack = nullptr;
  g_symbol.stack_count = g_symbol.stack_capacity = 0;
  g_pool_index.clear();
  for (std::size_t i = 0; i < g_symbol.pool_count; i++) std::free(g_symbol.name_pool[i]);
  std::free(g_symbol.name_pool);
  g_symbol.name_pool = nullptr;
  g_symbol.pool_count = g_symbol.pool_capacity = 0;
}

const char *symbol_error_text(const char *fallback) {
  return errno ? std::strerror(errno) : fallback;
}

void symbol_temp_write_failed() {
  pre_fatal_file(STATUS_WRITE_FAILED, g_symbol.temp_name, symbol_error_text("write failed"));
}

void symbol_read_temp_line() {
  errno = 0;
  if (!std::fgets(g_symbol.temp_buffer, static_cast<int>(MAX_TOKEN), g_symbol.temp_file)) {
    pre_fatal_file(STATUS_READ_FAILED, g_symbol.temp_name, symbol_error_text("unexpected end of file"));
  }
}

void symbol_crc_start(symbol_crc *crc) {
  if (!crc_table_ready) build_crc_table();
  crc->value = 0;
  crc->length = 0;
}

void symbol_crc_add(symbol_crc *crc, const char *data, std::size_t length) {
  std::uint32_t value = crc->value;
  for (std::size_t i = 0; i < length; i++)
    value = (value << 8) ^ crc_table[((value >> 24) ^ static_cast<unsigned char>(data[i])) & 0xFFu];
  crc->value = value;
  crc->length += length;
}

std::uint32_t symbol_crc_finish(symbol_crc *crc) {
  std::uint32_t value = crc->value;
  for (std::uint64_t n = crc->length; n; n >>= 8)
    value = (value << 8) ^ crc_table[((value >> 24) ^ static_cast<std::uint32_t>(n & 0xFFu)) & 0xFFu];
  return ~value;
}

std::uint32_t pre_symbol_cksum(const unsigned char *data, std::size_t length) {
  symbol_crc crc;
  symbol_crc_start(&crc);
  symbol_crc_add(&crc, reinterpret_cast<const char *>(data), length);
  return symbol_crc_finish(&crc);
}

// The name line does not count; of the head only its first two characters; every later
// line up to the counts line counts without its line feed.
void symbol_compute_fingerprint() {
  if (std::fflush(g_symbol.temp_file) != 0) symbol_temp_write_failed();
  std::rewind(g_symbol.temp_file);
  symbol_crc crc;
  symbol_crc_start(&crc);
  symbol_read_temp_line();
  bool line_start = std::strchr(g_symbol.temp_buffer, '\n') != nullptr;
  while (!line_start) {  // a name line longer than the buffer
    symbol_read_temp_line();
    line_start = std::strchr(g_symbol.temp_buffer, '\n') != nullptr;
  }
  symbol_read_temp_line();
  std::size_t head_length = std::strcspn(g_symbol.temp_buffer, "\n");
  symbol_crc_add(&crc, g_symbol.temp_buffer, head_length < 2 ? head_length : 2);
  line_start = g_symbol.temp_buffer[head_length] == '\n';
  for (;;) {
    symbol_read_temp_line();
    const char *text = g_symbol.temp_buffer;
    std::size_t length = std::strlen(text);
    bool whole = length > 0 && text[length - 1] == '\n';
    if (!line_start) {  // the rest of an earlier line
      symbol_crc_add(&crc, text, whole ? length - 1 : length);
      line_start = whole;
      continue;
    }
    symbol_crc_add(&crc, text, whole ? length - 1 : length);
    if (text[0] == '%') break;
    line_start = whole;
  }
  g_symbol.fingerprint = symbol_crc_finish(&crc);
}

// --- the description ---------------------------------------------------------------------

void pre_symbol_begin_file(const char *source_id) {
  if (!g_symbol.temp_name) pre_symbol_prepare();
  set_last_name(source_id);
  g_symbol.time_stamp = 0;
  g_symbol.fingerprint = 0;
  g_symbol.revision = 0;
  g_symbol.stored_time_stamp = 0;
  g_symbol.stored_fingerprint = 0;
  if (g_symbol.index_list) g_symbol.index_list[0] = '\0';
  symbol_discard_line_state();
  if (g_symbol.temp_file) {
    pre_fclose(g_symbol.temp_file);
    g_symbol.temp_file = nullptr;
  }
  g_symbol.temp_file = pre_fopen(g_symbol.temp_name, "w+");
  if (!g_symbol.temp_file) pre_fatal_file(STATUS_CREATE_FAILED, g_symbol.temp_name);
  check_write(std::fprintf(g_symbol.temp_file, "@%s\n", source_id));
  std::uint32_t mode = g_run.instrument_decision ? 3u : 1u;
  if (g_run.instrument_multicondition) mode |= 4u;
  if (g_run.instrument_inclusive_timing)
    mode |= 8u;
  else if (g_run.instrument_exclusive_timing)
    mode |= 16u;
  g_symbol.mode_bits = mode;
  g_symbol.time_stamp =
      static_cast<long long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(std::time(nullptr))));
  check_write(std::fprintf(g_symbol.temp_file, "%u %lld %08X %u %u\n", g_symbol.mode_bits,
                           g_symbol.time_stamp, 0u, 0u, 0u));
}

void pre_symbol_add_index(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "%u", number);
  if (g_symbol.index_list && g_symbol.index_list[0])
    pre_str_builder_append(&g_symbol.index_list, &g_symbol.index_capacity, ",");
  pre_str_builder_append(&g_symbol.index_list, &g_symbol.index_capacity, text);
}

void pre_symbol_record(std::uint32_t counter, std::uint32_t kind, std::uint32_t level,
                       std::uint32_t line, std::uint32_t statements, const char *text) {
  if (!g_symbol.temp_file) return;
  if (kind == 50) {
    note_line_directive(text, line, level, statements);
    return;
  }
  symbol_line_entry *top = stack_top();
  if (top && !top->written) {
    if (!pre_same_file(current_file_name, g_symbol.last_name ? g_symbol.last_name : "")) {
      write_line_record(kind == 0 ? 50 : 51);
      set_last_name(current_file_name);
    }
    if (g_symbol.stack_count) {
      long entered = newest_entry_of(stack_top()->name);
      if (entered != 0) g_symbol.stack_count = entered < 0 ? 0 : static_cast<std::size_t>(entered) + 1;
    }
  }
  char *copy = nullptr;
  const char *shown = text ? text : "";
  if (kind >= 78 && kind <= 81) {
    shown = g_symbol.index_list ? g_symbol.index_list : "";
  } else if (std::strchr(shown, '\n')) {
    copy = pre_str_replace_all(pre_xstrdup(shown), "\n", "");
    if (!copy) {
      pre_set_message_args("", "");
      pre_fatal(STATUS_OUT_OF_MEMORY);
    }
    shown = copy;
  }
  // Stored lines never end in blanks: the merge compares them without.
  int length = static_cast<int>(strnlen(shown, RECORD_TEXT_LIMIT));
  while (length > 0 && shown[length - 1] == ' ') length--;
  int result;
  if (length > 0)
    result = std::fprintf(g_symbol.temp_file, "%d %lu %u %d %u %.*s\n", static_cast<int>(kind),
                          static_cast<unsigned long>(line), statements, static_cast<int>(counter), level,
                          length, shown);
  else
    result = std::fprintf(g_symbol.temp_file, "%d %lu %u %d %u\n", static_cast<int>(kind),
                          static_cast<unsigned long>(line), statements, static_cast<int>(counter), level);
  std::free(copy);
  if (kind >= 78 && kind <= 81 && g_symbol.index_list) g_symbol.index_list[0] = '\0';
  check_write(result);
}

long long pre_symbol_time_stamp() { return g_symbol.time_stamp; }

unsigned long pre_symbol_fingerprint() { return g_symbol.fingerprint; }

const char *pre_symbol_description_name() { return g_symbol.temp_name; }
