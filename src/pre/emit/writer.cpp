// The instrumented file from first to last byte.
#include "emit/writer.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <algorithm>

#include "base/base.h"
#include "base/version.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "emit/probes.h"
#include "preerror/preerror.h"
#include "preparse/token.h"
#include "symbol/symbol.h"

writer_state g_writer;

namespace {

constexpr std::uint32_t COUNTER_LIMIT = 0x7FFFFFFF;

pre_text_piece *append_piece_n(const char *text, std::size_t len, std::uint32_t kind, char blank) {
  pre_text_piece *p = pre_text_list_append_n(g_writer.text_list, kind, -1, text, len, blank);
  if (g_writer.capture_on) {
    std::size_t have = std::min<std::size_t>(g_writer.capture_text.size(), MAX_TOKEN - 1);
    std::size_t room = MAX_TOKEN - 1 - have;
    g_writer.capture_text.append(p->text, std::min<std::size_t>(room, p->length));
  }
  g_writer.line_position += p->length;
  if (p->length && p->text[p->length - 1] == '\n') g_writer.line_position = 0;
  return p;
}

pre_text_piece *append_piece(const char *text, std::uint32_t kind) {
  return append_piece_n(text, std::strlen(text), kind, 0);
}

std::string doubled_backslashes(const std::string &text) {
  std::string out;
  for (char c : text) {
    if (c == '\\') out += '\\';
    out += c;
  }
  return out;
}

// A file name as the text of a line marker: backslashes and double quotes escaped.
std::string escaped_name(const std::string &name) {
  std::string out;
  for (char c : name) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

// Part of the name behind the last backslash or slash, or behind the first colon.
std::string base_name_of(const std::string &name) {
  std::size_t slash = name.find_last_of("\\/");
  if (slash != std::string::npos) return name.substr(slash + 1);
  std::size_t colon = name.find(':');
  if (colon != std::string::npos) return name.substr(colon + 1);
  return name;
}

std::string source_name() {
  if (g_run.current_record && g_run.current_record->source) return g_run.current_record->source;
  return g_writer.source_name;
}

std::string frame_line(const char *label, const std::string &value) {
  char line[512];
  std::snprintf(line, sizeof line, "*    %s : %-49s    *\n", label, value.c_str());
  return line;
}

// Time stamp of asctime without its line feed.
std::string now_text() {
  std::time_t now = std::time(nullptr);
  std::string t = std::asctime(std::localtime(&now));
  if (!t.empty() && t.back() == '\n') t.pop_back();
  return t;
}

void append_banner() {
  char line[512];
  emit_text("/****************************************************************************\n");
  std::snprintf(line, sizeof line,
                "*           QUB++, Test Coverage Analyzer for C/C++, Version %-7s        *\n",
                PRE_VERSION_TEXT);
  emit_text(line);
  emit_text("*                                                                           *\n");
  emit_text("*                             Instrumented code                             *\n");
  emit_text("*                                                                           *\n");
  emit_text(frame_line("Monitor name   ", pre_symbol_monitor_name()).c_str());
  emit_text(frame_line("Instrumented at", now_text()).c_str());
  emit_text(frame_line("Source file    ", source_name()).c_str());
  emit_text("*                                                                           *\n");
  emit_text("*    Generated text: edit the source file, not this one.                    *\n");
  emit_text("*    Probe macros are defined by qub.h; the coverage runtime counts them.   *\n");
  emit_text("****************************************************************************/\n\n");
}

void append_mode_definitions() {
  emit_text("#define QUB_FUNCTION\n");
  if (g_run.instrument_decision) emit_text("#define QUB_DECISION\n");
  if (g_run.instrument_multicondition) emit_text("#define QUB_MULTICONDITION\n");
  if (g_run.instrument_inclusive_timing) {
    emit_text("#define QUB_TIMING\n");
    emit_text("#define QUB_INCLUSIVE_TIMING\n");
  } else if (g_run.instrument_exclusive_timing) {
    emit_text("#define QUB_TIMING\n");
    emit_text("#define QUB_EXCLUSIVE_TIMING\n");
  }
}

bool timing_on() { return g_run.instrument_inclusive_timing || g_run.instrument_exclusive_timing; }

// The data file name that the tail hands to the runtime.
std::string data_file_name() {
  std::string value = conf_get("DATAFILE");
  if (value.empty() || value == "%DEFAULT%") return doubled_backslashes(pre_symbol_data_file_name());
  std::string out = doubled_backslashes(value);
  if (value.size() < 4 || value.compare(value.size() - 4, 4, ".dat") != 0) out += ".dat";
  return out;
}

[[noreturn]] void write_failed() {
  pre_fatal_file(STATUS_WRITE_FAILED, g_writer.out_name.c_str());
}

// The finished text goes out through one large buffer of our own: pieces are small.
struct out_buffer {
  char data[1 << 18];
  std::size_t used = 0;
};
out_buffer g_out;

void flush_out() {
  if (g_out.used && std::fwrite(g_out.data, 1, g_out.used, g_writer.out_file) != g_out.used) write_failed();
  g_out.used = 0;
}

void write_text(const char *text, std::size_t length) {
  if (g_out.used + length > sizeof g_out.data) {
    flush_out();
    if (length > sizeof g_out.data) {
      if (std::fwrite(text, 1, length, g_writer.out_file) != length) write_failed();
      return;
    }
  }
  std::memcpy(g_out.data + g_out.used, text, length);
  g_out.used += length;
}

[[noreturn]] void counter_limit(const char *which) {
  pre_set_message_args(which, "");
  pre_fatal(STATUS_COUNTER_LIMIT);
}

std::uint32_t next_counter(std::uint32_t &count, const char *which) {
  if (count + 1 >= COUNTER_LIMIT) counter_limit(which);
  return count++;
}

}  // namespace

// --- text operations -------------------------------------------------------------

void emit_token(const char *text, std::uint32_t kind) {
  append_piece_n(text, std::strlen(text), kind, kind == TOK_RAW_PIECE ? 0 : ' ');
}

void emit_text(const char *text) { append_piece(text, 0); }

void emit_text_kind(const char *text, std::uint32_t kind) { append_piece(text, kind); }

void emit_newline() {
  pre_text_list_append(g_writer.text_list, 0, -1, "\n");
  g_writer.line_position = 0;
}

void emit_directive(const char *text, bool is_line_directive) {
  if (g_writer.line_position != 0) {
    pre_text_list_append(g_writer.text_list, 0, -1, "\n");
    g_writer.line_position = 0;
    if (!is_line_directive) {
      char repair[64];
      std::snprintf(repair, sizeof repair, "#line %lu\n", static_cast<unsigned long>(line_number) - 1);
      pre_text_list_append(g_writer.text_list, 0, -1, repair);
    }
  }
  pre_text_list_append(g_writer.text_list, 0, -1, text);
  g_writer.line_position = 0;
}

pre_text_piece *emit_macro(const char *text, std::uint32_t kind) {
  pre_text_piece *p = pre_text_list_append(g_writer.text_list, kind, -1, text);
  g_writer.line_position += static_cast<std::uint32_t>(std::strlen(text));
  return p;
}

void emit_fallthrough_mark(const char *text) {
  pre_text_list_append(g_writer.text_list, TOK_FALLTHROUGH_MARK, -1, text);
  g_writer.line_position += static_cast<std::uint32_t>(std::strlen(text));
}

pre_text_piece *fallthrough_mark_at_tail() {
  pre_text_piece *p = text_tail();
  while (p && p->kind == 0 && p->length == 1 && p->text[0] == '\n') p = pre_text_piece_prev(p);
  return p && p->kind == TOK_FALLTHROUGH_MARK ? p : nullptr;
}

void capture_begin() {
  g_writer.capture_text.clear();
  g_writer.capture_on = true;
}

void capture_end() {
  g_writer.capture_on = false;
  if (!g_writer.capture_text.empty() && g_writer.capture_text.back() == ' ')
    g_writer.capture_text.pop_back();
}

const char *capture_result() { return g_writer.capture_text.c_str(); }

pre_text_piece *text_tail() { return pre_text_list_tail(g_writer.text_list); }

pre_text_piece *text_before_tail() { return pre_text_piece_prev(text_tail()); }

// --- counters ----------------------------------------------------------------------

std::uint32_t pre_next_function_counter() {
  return next_counter(g_writer.function_count, "(function counters)");
}
std::uint32_t pre_next_jump_counter() { return next_counter(g_writer.jump_count, "(jump counters)"); }
std::uint32_t pre_next_decision_counter() {
  return next_counter(g_writer.decision_count, "(decision counters)");
}

void pre_add_condition_counters(std::uint32_t n) {
  if (static_cast<std::uint64_t>(n) + 1 > COUNTER_LIMIT - static_cast<std::uint64_t>(g_writer.condition_count))
    counter_limit("(condition counters)");
  g_writer.condition_count += n;
}

std::uint32_t pre_function_count() { return g_writer.function_count; }
std::uint32_t pre_jump_count() { return g_writer.jump_count; }
std::uint32_t pre_decision_count() { return g_writer.decision_count; }
std::uint32_t pre_condition_count() { return g_writer.condition_count; }
std::uint32_t pre_last_jump_number() { return g_writer.jump_count - 1; }
std::uint32_t pre_last_function_number() { return g_writer.function_count - 1; }

void pre_reset_counters() {
  g_writer.function_count = g_writer.jump_count = g_writer.decision_count = g_writer.condition_count = 0;
}

// --- hashes ----------------------------------------------------------------------------

std::uint32_t pre_name_hash(const char *source_id) {
  std::uint32_t h = 351555;
  for (const char *p = source_id; *p; p++) {
    h *= 2;
    if (h > 0xFFFFF) h = (h & 0xFFFFF) + 1;
    char c = *p == '/' ? '\\' : *p;
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    h ^= static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(c)));
  }
  return h;
}

std::uint32_t pre_file_identity(std::uint32_t hash, long long time_stamp) {
  return (hash << 12) | static_cast<std::uint32_t>(time_stamp & 0xFFF);
}

// --- file operations ----------------------------------------------------------------

void pre_begin_instrumented_file(const char *output_name) {
  g_writer.in_function_body = g_writer.is_main_function = false;
  pre_text_list_destroy(&g_writer.text_list);
  g_writer.text_list = pre_text_list_create_arena();
  g_writer.region_start = g_writer.region_end = g_writer.head_mark = nullptr;
  g_writer.function_mark = g_writer.lambda_mark = nullptr;
  g_writer.module_needed = false;
  g_writer.multi_tmp_needed = false;
  g_writer.capture_on = false;
  g_writer.line_position = 0;
  pre_probes_reset();
  g_writer.out_name = output_name;
  g_writer.out_file = pre_fopen(output_name, "w");
  if (!g_writer.out_file) pre_fatal_file(STATUS_CREATE_FAILED, output_name);
  // The first line names the source: compilers take the name of the compilation unit
  // (debug information, the object's file symbol) from a line marker that stands there.
  std::string first = "# 1 \"" + escaped_name(source_name()) + "\"\n";
  pre_text_list_append(g_writer.text_list, 0, -1, first.c_str());
  append_banner();
  append_mode_definitions();
  const char *timer = conf_get("TIMER");
  std::snprintf(g_writer.scratch, sizeof g_writer.scratch, "#include \"qub.h\"\nQUB_MODULE_HEAD(%s)\n",
                *timer ? timer : "(void *) 0");
  g_writer.head_mark = pre_text_list_append(g_writer.text_list, 0, -1, g_writer.scratch);
  std::string line1 = "#line 1 \"" + doubled_backslashes(source_name()) + "\"\n";
  pre_text_list_append(g_writer.text_list, 0, -1, line1.c_str());
  g_writer.line_position = 0;
}

void pre_finish_instrumented_file(const char *source_id) {
  if (!g_writer.out_file) return;
  long long ts = pre_symbol_time_stamp();
  unsigned long fp = pre_symbol_fingerprint();
  std::string fn = doubled_backslashes(source_id);
  unsigned long sizes[5] = {g_writer.function_count, g_writer.jump_count, g_writer.decision_count,
                            g_writer.condition_count, timing_on() ? g_writer.function_count : 0u};
  if (g_writer.module_needed) {
    std::string tail = "\nQUB_MODULE_TAIL(\"" + fn + "\",\"" + data_file_name() + "\",";
    char numbers[256];
    std::snprintf(numbers, sizeof numbers, "%lld,%#lX,%lu,%lu,%lu,%lu,%lu)\n", ts, fp, sizes[0],
                  sizes[1], sizes[2], sizes[3], sizes[4]);
    tail += numbers;
    pre_text_list_append(g_writer.text_list, 0, -1, tail.c_str());
  }
  std::uint32_t hash = pre_name_hash(source_id);
  for (pre_text_piece *p = pre_text_list_first(g_writer.text_list); p; p = p->next) {
    if (p == g_writer.head_mark) {
      if (!g_writer.module_needed) continue;
      std::string defs = "#define QUB_FN         \"" + fn + "\"\n";
      defs += "#define QUB_FNBASE     \"" + base_name_of(source_name()) + "\"\n";
      char buf[512];
      std::snprintf(buf, sizeof buf,
                    "#define QUB_FNCRC      %#X\n#define QUB_TS         %lld\n#define QUB_FP         %#lX\n"
                    "#define QUB_FID        %#lX\n",
                    hash, ts, fp, static_cast<unsigned long>(pre_file_identity(hash, ts)));
      defs += buf;
      std::snprintf(buf, sizeof buf,
                    "#define QUB_F_SIZE     %lu\n#define QUB_J_SIZE     %lu\n#define QUB_TF_SIZE    %lu\n"
                    "#define QUB_C_SIZE     %lu\n#define QUB_TIME_SIZE  %lu\n",
                    sizes[0], sizes[1], sizes[2], sizes[3], sizes[4]);
      defs += buf;
      write_text(defs.data(), defs.size());
    }
    write_text(p->text, p->length);
  }
  flush_out();
  pre_text_list_destroy(&g_writer.text_list);
  std::FILE *f = g_writer.out_file;
  g_writer.out_file = nullptr;
  if (std::fflush(f) != 0) {
    pre_fclose(f);
    write_failed();
  }
  if (pre_fclose(f) != 0) pre_fatal_file(STATUS_CLOSE_FAILED, g_writer.out_name.c_str());
}
