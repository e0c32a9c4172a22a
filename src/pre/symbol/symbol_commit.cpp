// The merge of a finished description into the symbol file, under the system lock on
// the file or under a lock file, and the names of the symbol, data and lock files.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

#include "base/base.h"
#include "command/tempfile.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "platform/lock.h"
#include "platform/platform.h"
#include "preerror/preerror.h"
#include "symbol/symbol.h"
#include "prepath/prepath.h"
#include "symbol/symbol_state.h"

namespace {

const char *const IDENTIFICATION = "QUB++ sym 9\n";
const char *const END_MARK = "END OF SYMBOLFILE\n";
const char *const LOCK_VARIABLE = "QUB_LOCK_MAX_WAIT";
constexpr unsigned LOCK_POLL_MS = 25;

// Locking chosen by QUB_LOCK_MAX_WAIT.
enum lock_mode { LOCK_SYSTEM, LOCK_FILE, LOCK_NONE };

pre_signal_save g_signals = {{nullptr, nullptr, nullptr}, false};

// --- reports ------------------------------------------------------------------------------

[[noreturn]] void fail(pre_status status, const char *name, const char *text) {
  pre_fatal_file(status, name, text);
}

void symbol_write_failed() { fail(STATUS_WRITE_FAILED, g_symbol.symbol_path, symbol_error_text("write failed")); }

void write_symbol(const char *text) {
  if (std::fputs(text, g_symbol.symbol_file) < 0) symbol_write_failed();
}

void write_temp(const char *text) {
  if (std::fputs(text, g_symbol.temp_file) < 0) symbol_temp_write_failed();
}

// "Www Mmm dd hh:mm:ss yyyy" of the local time.
std::string date_text() {
  std::time_t now = std::time(nullptr);
  std::tm local;
  localtime_r(&now, &local);
  char buffer[64];
  asctime_r(&local, buffer);
  buffer[24] = '\0';
  return buffer;
}

void verbose(const char *format) {
  if (!g_run.verbose) return;
  std::fprintf(stderr, format, g_symbol.symbol_display_name);
  std::fputc('\n', stderr);
}

// --- the line reader of the symbol file -----------------------------------------------------

// One line of the symbol file into line_buffer; blanks in front of its line feed go.
void read_symbol_line() {
  errno = 0;
  if (!std::fgets(g_symbol.line_buffer, static_cast<int>(MAX_TOKEN), g_symbol.symbol_file))
    fail(STATUS_READ_FAILED, g_symbol.symbol_path, symbol_error_text("unexpected end of file"));
  std::size_t length = std::strlen(g_symbol.line_buffer);
  g_symbol.read_offset += length;
  if (length > 1 && g_symbol.line_buffer[length - 1] == '\n') {
    std::size_t end = length - 1;
    while (end > 0 && g_symbol.line_buffer[end - 1] == ' ') end--;
    g_symbol.line_buffer[end] = '\n';
    g_symbol.line_buffer[end + 1] = '\0';
  }
}

bool begins_entry(const char *line) { return line[0] == '@' || line[0] == 'E'; }

// --- the lock file --------------------------------------------------------------------------

// Waits for lock_path to be free and creates it with this process's identifier.
bool take_lock_file(const char *path, long max_wait) {
  long long limit = max_wait > LLONG_MAX / 1000 ? LLONG_MAX : static_cast<long long>(max_wait) * 1000;
  long long elapsed = 0;
  long long blind = 0;  // time spent on a lock file whose holder cannot be read
  long last = 0;
  for (;;) {
    long holder = pre_read_pid_file(path);
    bool last_try = false;
    if (holder >= 0) {
      blind = 0;
      if (holder != last) {
        last = holder;
        pre_sleep_ms(LOCK_POLL_MS);
        elapsed = LOCK_POLL_MS;
        continue;
      }
      if (elapsed <= limit) {
        pre_sleep_ms(LOCK_POLL_MS);
        elapsed += LOCK_POLL_MS;
        continue;
      }
      // The same holder beyond the limit: a holder that is gone leaves its file behind.
      if (holder > 0 && !pre_process_exists(holder))
        unlink(path);
      else
        last_try = true;
    }
    if (pre_create_pid_file(path, static_cast<long>(pre_process_id()))) return true;
    int error = errno;
    if (error == ENOENT || error == EACCES || error == EINVAL) return false;
    if (last_try) return false;
    if (holder < 0) {
      // Created by someone else meanwhile, or its holder has not written its
      // identifier yet: look again after a short pause that counts against the limit.
      if (blind >= limit) {
        errno = error;
        return false;
      }
      pre_sleep_ms(1);
      blind += 1;
    }
    errno = error;
  }
}

void remove_lock_file(report_mode mode) {
  if (!g_symbol.lock_held) return;
  g_symbol.lock_held = false;
  if (unlink(g_symbol.lock_path) != 0) {
    pre_set_message_args(g_symbol.lock_path, std::strerror(errno));
    pre_report(STATUS_LOCK_REMOVE_FAILED, mode);
  }
}

// --- copying --------------------------------------------------------------------------------

// The description into the symbol file at its current position, with the settled head.
void copy_in() {
  std::rewind(g_symbol.temp_file);
  symbol_read_temp_line();
  write_symbol(g_symbol.temp_buffer);
  symbol_read_temp_line();
  if (std::fprintf(g_symbol.symbol_file, "%u %lld %08X %u %u\n", g_symbol.mode_bits, g_symbol.time_stamp,
                   g_symbol.fingerprint, g_symbol.revision, 0u) < 0)
    symbol_write_failed();
  bool line_start = true;
  for (;;) {
    symbol_read_temp_line();
    write_symbol(g_symbol.temp_buffer);
    std::size_t length = std::strlen(g_symbol.temp_buffer);
    bool at_end = line_start && g_symbol.temp_buffer[0] == 'E';
    line_start = length > 0 && g_symbol.temp_buffer[length - 1] == '\n';
    if (at_end && line_start) break;
  }
}

void write_identification() {
  std::string head = std::string(IDENTIFICATION) + date_text() + "\n";
  write_symbol(head.c_str());
}

void finish_temp_for_reading() {
  if (std::fflush(g_symbol.temp_file) != 0) symbol_temp_write_failed();
}

// --- the three cases ------------------------------------------------------------------------

void merge_new_file() {
  write_temp(END_MARK);
  verbose("qub: creating %s");
  verbose("qub: adding file to %s");
  symbol_compute_fingerprint();
  write_identification();
  copy_in();
}

// Compares the stored description with the new one, from the record after the head up to
// the first counts line on either side. The last stored line read stays in line_buffer.
bool records_differ() {
  std::rewind(g_symbol.temp_file);
  symbol_read_temp_line();
  symbol_read_temp_line();
  for (;;) {
    read_symbol_line();
    symbol_read_temp_line();
    if (std::strcmp(g_symbol.line_buffer, g_symbol.temp_buffer) != 0) return true;
    if (g_symbol.line_buffer[0] == '%' || g_symbol.temp_buffer[0] == '%') return false;
  }
}

void merge_existing_file(const char *source_id) {
  read_symbol_line();
  if (std::strcmp(g_symbol.line_buffer, IDENTIFICATION) != 0) {
    pre_set_message_args(g_symbol.symbol_path, "");
    pre_fatal(STATUS_BAD_SYMBOL_STAMP);
  }
  read_symbol_line();
  bool found = false;
  for (;;) {
    std::uint64_t start = g_symbol.read_offset;
    read_symbol_line();
    if (!begins_entry(g_symbol.line_buffer)) continue;
    g_symbol.entry_offset = start;
    if (g_symbol.line_buffer[0] == 'E') break;
    char *name = g_symbol.line_buffer + 1;
    name[std::strcspn(name, "\n")] = '\0';
    if (pre_path_equal(name, source_id)) {
      found = true;
      break;
    }
  }
  if (!found) {
    write_temp(END_MARK);
    symbol_compute_fingerprint();
    verbose("qub: adding file to %s");
  } else {
    symbol_compute_fingerprint();
    read_symbol_line();
    unsigned stored_mode = 0, stored_fingerprint = 0, stored_revision = 0, stored_word = 0, extra = 0;
    long long stored_time_stamp = 0;
    int fields = std::sscanf(g_symbol.line_buffer, "%u %lld %08X %u %u %u", &stored_mode, &stored_time_stamp,
                             &stored_fingerprint, &stored_revision, &stored_word, &extra);
    if (fields != 5) fail(STATUS_READ_FAILED, g_symbol.symbol_path, "bad description head");
    g_symbol.stored_time_stamp = stored_time_stamp;
    g_symbol.stored_fingerprint = stored_fingerprint;
    bool changed = stored_mode != g_symbol.mode_bits || records_differ();
    if (!changed) {
      g_symbol.time_stamp = g_symbol.stored_time_stamp;
      g_symbol.revision = stored_revision;
      verbose("qub: unchanged file in %s");
      return;
    }
    g_symbol.revision = stored_revision + 1;
    if (g_symbol.time_stamp == g_symbol.stored_time_stamp) g_symbol.time_stamp += 1;
    verbose("qub: updating file in %s");
    // The descriptions behind the old one and the end mark follow the new one.
    if (std::fseek(g_symbol.temp_file, 0, SEEK_END) != 0) symbol_temp_write_failed();
    while (!begins_entry(g_symbol.line_buffer)) read_symbol_line();
    bool line_start = true;
    for (;;) {
      write_temp(g_symbol.line_buffer);
      std::size_t length = std::strlen(g_symbol.line_buffer);
      bool at_end = line_start && g_symbol.line_buffer[0] == 'E';
      line_start = length > 0 && g_symbol.line_buffer[length - 1] == '\n';
      if (at_end && line_start) break;
      read_symbol_line();
    }
    finish_temp_for_reading();
  }
  if (std::fseek(g_symbol.symbol_file, static_cast<long>(g_symbol.entry_offset), SEEK_SET) != 0)
    symbol_write_failed();
  copy_in();
  std::rewind(g_symbol.symbol_file);
  write_identification();
  if (std::fflush(g_symbol.symbol_file) != 0) symbol_write_failed();
}

// Reads QUB_LOCK_MAX_WAIT: the locking it asks for and, for a lock file, the seconds.
lock_mode read_lock_mode(long *max_wait) {
  const char *value = std::getenv(LOCK_VARIABLE);
  *max_wait = 0;
  if (!value) return LOCK_SYSTEM;
  char *end = nullptr;
  errno = 0;
  long parsed = std::strtol(value, &end, 0);
  if (end == value || *end != '\0') {
    pre_set_message_args(LOCK_VARIABLE, value);
    pre_fatal(STATUS_BAD_ENVIRONMENT_VALUE);
  }
  *max_wait = parsed;
  return parsed >= 1 ? LOCK_FILE : LOCK_NONE;
}

void free_text(char **text) {
  std::free(*text);
  *text = nullptr;
}

}  // namespace

// --- names ----------------------------------------------------------------------------------

void pre_symbol_settle_names() {
  if (g_symbol.names_settled) return;
  const char *name = g_run.symbol_file_name && *g_run.symbol_file_name ? g_run.symbol_file_name : "MON";
  g_symbol.monitor_name = pre_xstrdup(pre_base_name_text(name).c_str());
  std::string symbol_path = name;
  if (!pre_has_extension(name, "sym")) symbol_path += ".sym";
  g_symbol.symbol_path = pre_xstrdup(symbol_path.c_str());
  std::string data_path = pre_abs_path_text(name);
  if (pre_has_extension(data_path.c_str(), "sym"))
    data_path.replace(data_path.size() - 3, 3, "dat");
  else
    data_path += ".dat";
  g_symbol.data_path = pre_xstrdup(data_path.c_str());
  g_symbol.symbol_display_name = pre_xstrdup(pre_abs_path_text(symbol_path.c_str()).c_str());
  g_symbol.lock_path = pre_xstrdup((symbol_path + ".lock").c_str());
  g_symbol.names_settled = true;
}

void pre_symbol_prepare() {
  pre_symbol_settle_names();
  if (!g_symbol.temp_name) g_symbol.temp_name = pre_temp_name("", true);
}

const char *pre_symbol_data_file_name() {
  pre_symbol_settle_names();
  return g_symbol.data_path;
}

const char *pre_symbol_monitor_name() {
  pre_symbol_settle_names();
  return g_symbol.monitor_name;
}

const char *pre_symbol_file_path() {
  pre_symbol_settle_names();
  return g_symbol.symbol_path;
}

const char *pre_symbol_display_name() {
  pre_symbol_settle_names();
  return g_symbol.symbol_display_name;
}

const char *pre_symbol_lock_path() {
  pre_symbol_settle_names();
  return g_symbol.lock_path;
}

// --- the merge ------------------------------------------------------------------------------

void pre_symbol_commit(const char *source_id, std::uint32_t line_count) {
  if (!g_symbol.temp_file) return;
  pre_symbol_settle_names();
  symbol_discard_line_state();
  g_symbol.read_offset = 0;
  g_symbol.entry_offset = 0;
  g_symbol.lock_held = false;
  bool timing = g_run.instrument_inclusive_timing || g_run.instrument_exclusive_timing;
  if (std::fprintf(g_symbol.temp_file, "%%%lu,%lu,%lu,%lu,%lu,%lu\n", static_cast<unsigned long>(line_count),
                   static_cast<unsigned long>(pre_function_count()), static_cast<unsigned long>(pre_jump_count()),
                   static_cast<unsigned long>(pre_decision_count()),
                   static_cast<unsigned long>(pre_condition_count()),
                   static_cast<unsigned long>(timing ? pre_function_count() : 0u)) < 0 ||
      std::fflush(g_symbol.temp_file) != 0)
    symbol_temp_write_failed();
  long max_wait = 0;
  lock_mode mode = read_lock_mode(&max_wait);
  pre_signals_ignore(&g_signals);
  if (mode == LOCK_FILE) {
    if (!take_lock_file(g_symbol.lock_path, max_wait)) fail(STATUS_LOCK_CREATE_FAILED, g_symbol.lock_path, std::strerror(errno));
    g_symbol.lock_held = true;
  }
  long size = 0;
  for (unsigned attempt = 0;; attempt++) {
    bool second_route = false;
    g_symbol.symbol_file = pre_fopen(g_symbol.symbol_path, "r+");
    if (!g_symbol.symbol_file) {
      g_symbol.symbol_file = pre_fopen(g_symbol.symbol_path, "a+");
      second_route = true;
      if (!g_symbol.symbol_file) fail(STATUS_CREATE_FAILED, g_symbol.symbol_path, std::strerror(errno));
    }
    if (mode == LOCK_SYSTEM && !pre_lock_file_region(g_symbol.symbol_file))
      fail(STATUS_LOCK_CREATE_FAILED, g_symbol.symbol_path, std::strerror(errno));
    if (std::fseek(g_symbol.symbol_file, 0, SEEK_END) != 0 || (size = std::ftell(g_symbol.symbol_file)) < 0)
      fail(STATUS_READ_FAILED, g_symbol.symbol_path, std::strerror(errno));
    if (!second_route || size == 0) break;
    // It exists, yet could not be opened for update: someone else may be creating it.
    pre_fclose(g_symbol.symbol_file);
    g_symbol.symbol_file = nullptr;
    if (attempt == 2) fail(STATUS_CREATE_FAILED, g_symbol.symbol_path, "Too many QUB processes");
    pre_sleep_ms(3 * attempt);
  }
  std::rewind(g_symbol.symbol_file);
  if (size == 0)
    merge_new_file();
  else
    merge_existing_file(source_id);
  std::FILE *symbol_file = g_symbol.symbol_file;
  g_symbol.symbol_file = nullptr;
  if (pre_fclose(symbol_file) != 0) fail(STATUS_CLOSE_FAILED, g_symbol.symbol_path, std::strerror(errno));
  remove_lock_file(REPORT_FATAL);
  pre_signals_restore(&g_signals);
  std::FILE *temp_file = g_symbol.temp_file;
  g_symbol.temp_file = nullptr;
  if (pre_fclose(temp_file) != 0) fail(STATUS_CLOSE_FAILED, g_symbol.temp_name, std::strerror(errno));
}

void pre_symbol_unlock() { remove_lock_file(REPORT_CONTINUE); }

void pre_symbol_reset() {
  if (g_symbol.temp_file) pre_fclose(g_symbol.temp_file);
  if (g_symbol.symbol_file) pre_fclose(g_symbol.symbol_file);
  pre_signals_restore(&g_signals);
  symbol_discard_line_state();
  free_text(&g_symbol.temp_name);
  free_text(&g_symbol.index_list);
  free_text(&g_symbol.last_name);
  free_text(&g_symbol.monitor_name);
  free_text(&g_symbol.symbol_path);
  free_text(&g_symbol.data_path);
  free_text(&g_symbol.symbol_display_name);
  free_text(&g_symbol.lock_path);
  g_symbol.temp_file = nullptr;
  g_symbol.symbol_file = nullptr;
  g_symbol.index_capacity = 0;
  g_symbol.names_settled = false;
  g_symbol.mode_bits = 0;
  g_symbol.time_stamp = 0;
  g_symbol.fingerprint = 0;
  g_symbol.revision = 0;
  g_symbol.stored_time_stamp = 0;
  g_symbol.stored_fingerprint = 0;
  g_symbol.read_offset = 0;
  g_symbol.entry_offset = 0;
  g_symbol.lock_held = false;
}
