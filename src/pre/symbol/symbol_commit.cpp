// The merge of a finished description into the symbol file, under the system lock on
// the file or under a lock file, and the names of the symbol, data and lock files.
#include <cerrno>
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

// Locking chosen by QUB_LOCK_MAX_WAIT.
enum lock_mode { LOCK_SYSTEM, LOCK_FILE, LOCK_NONE };

pre_signal_hold g_signals = {};  // the interruption signals, held back during the commit
pre_lock_file_id g_lock_file = {0, 0};  // the lock file this process created
std::uint64_t g_line_offset = 0;         // where the line in line_buffer starts

void free_text(char **text) {
  std::free(*text);
  *text = nullptr;
}

// --- reports ------------------------------------------------------------------------------

[[noreturn]] void fail(pre_status status, const char *name, const char *text) {
  pre_fatal_file(status, name, text);
}

void symbol_write_failed() { fail(STATUS_WRITE_FAILED, g_symbol.symbol_path, symbol_error_text("write failed")); }

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

// One line of the symbol file into line_buffer, as stored; its length.
std::size_t read_raw_symbol_line() {
  g_line_offset = g_symbol.read_offset;
  errno = 0;
  if (!std::fgets(g_symbol.line_buffer, static_cast<int>(MAX_TOKEN), g_symbol.symbol_file))
    fail(STATUS_READ_FAILED, g_symbol.symbol_path, symbol_error_text("unexpected end of file"));
  std::size_t length = std::strlen(g_symbol.line_buffer);
  g_symbol.read_offset += length;
  return length;
}

// One line of the symbol file into line_buffer; blanks in front of its line feed go.
void read_symbol_line() {
  std::size_t length = read_raw_symbol_line();
  if (length > 1 && g_symbol.line_buffer[length - 1] == '\n') {
    std::size_t end = length - 1;
    while (end > 0 && g_symbol.line_buffer[end - 1] == ' ') end--;
    g_symbol.line_buffer[end] = '\n';
    g_symbol.line_buffer[end + 1] = '\0';
  }
}

bool begins_entry(const char *line) { return line[0] == '@' || line[0] == 'E'; }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The second line as the file format writes it: "Www Mmm dd hh:mm:ss yyyy\n".
bool is_date_line(const char *line) {
  if (std::strlen(line) != 25 || line[24] != '\n') return false;
  static const char days[] = "SunMonTueWedThuFriSat";
  static const char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  bool day = false, month = false;
  for (int i = 0; i < 7; i++) day = day || std::strncmp(line, days + 3 * i, 3) == 0;
  for (int i = 0; i < 12; i++) month = month || std::strncmp(line + 4, months + 3 * i, 3) == 0;
  const char *form = "... ... _# ##:##:## ####";  // '#' a digit, '_' a blank or a digit
  for (int i = 0; i < 24; i++) {
    char c = line[i];
    bool fits = form[i] == '.' || (form[i] == '#' && is_digit(c)) ||
                (form[i] == '_' && (c == ' ' || is_digit(c))) || form[i] == c;
    if (!fits) return false;
  }
  return day && month;
}

void bad_identification() {
  pre_set_message_args(g_symbol.symbol_path, "");
  pre_fatal(STATUS_BAD_SYMBOL_STAMP);
}

// --- the lock file --------------------------------------------------------------------------

void remove_lock_file(report_mode mode) {
  if (!g_symbol.lock_held) return;
  g_symbol.lock_held = false;
  if (!pre_remove_lock_file(g_symbol.lock_path, &g_lock_file)) {
    pre_set_message_args(g_symbol.lock_path, std::strerror(errno));
    pre_report(STATUS_LOCK_REMOVE_FAILED, mode);
  }
}

// --- the new symbol file -------------------------------------------------------------------
//
// A change never writes into the symbol file itself: the merged text goes to a new file
// beside it, which reaches the disk and is then renamed over the old one, while the lock
// is held. Whatever moment a process dies at, and however full the disk is, the symbol
// file is the old one or the new one.

struct replacement_state {
  std::FILE *file;   // the new file being written
  char *name;        // its name, until it is renamed or removed
  char *target;      // the file it replaces: the symbol file, or what its link names
  bool empty_made;   // the symbol file was empty when locked: no file before this commit
};
replacement_state g_new = {nullptr, nullptr, nullptr, false};

void write_new(const char *text, std::size_t length) {
  if (std::fwrite(text, 1, length, g_new.file) != length) symbol_write_failed();
}

void write_new(const char *text) { write_new(text, std::strlen(text)); }

// Starts the new file with the identification and the date of this change. It lies
// beside the file that it replaces (a symbolic link stays a link). Under a lock only the
// holder writes it, so one name serves and a file left by a process that died is reused;
// without locking each process has its own.
void open_replacement(bool locked) {
  std::string target = g_symbol.symbol_path;
  std::string real;
  if (pre_is_symbolic_link(target.c_str()) && pre_real_path(target.c_str(), &real)) target = real;
  std::string name = target;
  if (!locked) name += "." + std::to_string(pre_process_id());
  name += ".new";
  g_new.file = pre_open_replacement(name.c_str(), g_new.empty_made ? nullptr : g_symbol.symbol_file);
  if (!g_new.file) symbol_write_failed();
  g_new.name = pre_xstrdup(name.c_str());
  g_new.target = pre_xstrdup(target.c_str());
  static char buffer[1 << 16];
  std::setvbuf(g_new.file, buffer, _IOFBF, sizeof buffer);
  write_new(IDENTIFICATION);
  std::string date = date_text() + "\n";
  write_new(date.c_str());
}

// The new file reaches the disk and takes the place of the symbol file.
void install_replacement() {
  std::FILE *file = g_new.file;
  g_new.file = nullptr;
  if (!pre_close_on_disk(file) || std::rename(g_new.name, g_new.target) != 0) symbol_write_failed();
  free_text(&g_new.name);
  free_text(&g_new.target);
  g_new.empty_made = false;
}

// After a failure: the symbol file stays as it was; an empty one that this commit found
// goes, so that no file stands where there was none.
void drop_replacement() {
  if (g_new.file) std::fclose(g_new.file);
  g_new.file = nullptr;
  if (g_new.name) unlink(g_new.name);
  free_text(&g_new.name);
  free_text(&g_new.target);
  if (g_new.empty_made && g_symbol.symbol_file && pre_is_file_at(g_symbol.symbol_file, g_symbol.symbol_path))
    unlink(g_symbol.symbol_path);
  g_new.empty_made = false;
}

// Bytes [from, to) of the symbol file, as they stand, into the new file.
void copy_stored(std::uint64_t from, std::uint64_t to) {
  if (std::fseek(g_symbol.symbol_file, static_cast<long>(from), SEEK_SET) != 0)
    fail(STATUS_READ_FAILED, g_symbol.symbol_path, std::strerror(errno));
  while (from < to) {
    std::size_t chunk = to - from < sizeof g_symbol.line_buffer ? static_cast<std::size_t>(to - from)
                                                                : sizeof g_symbol.line_buffer;
    errno = 0;
    if (std::fread(g_symbol.line_buffer, 1, chunk, g_symbol.symbol_file) != chunk)
      fail(STATUS_READ_FAILED, g_symbol.symbol_path, symbol_error_text("unexpected end of file"));
    write_new(g_symbol.line_buffer, chunk);
    from += chunk;
  }
}

// The description into the new file, with the settled head.
void copy_in() {
  std::rewind(g_symbol.temp_file);
  symbol_read_temp_line();
  write_new(g_symbol.temp_buffer);
  symbol_read_temp_line();
  char head[128];
  std::snprintf(head, sizeof head, "%u %lld %08X %u %u\n", g_symbol.mode_bits, g_symbol.time_stamp,
                g_symbol.fingerprint, g_symbol.revision, 0u);
  write_new(head);
  for (;;) {
    errno = 0;
    std::size_t n = std::fread(g_symbol.temp_buffer, 1, sizeof g_symbol.temp_buffer, g_symbol.temp_file);
    if (n == 0) {
      if (std::ferror(g_symbol.temp_file)) {
        pre_set_message_args(g_symbol.temp_name, symbol_error_text("read failed"));
        pre_fatal(STATUS_READ_FAILED);
      }
      break;
    }
    write_new(g_symbol.temp_buffer, n);
  }
}

// --- the three cases ------------------------------------------------------------------------

void merge_new_file(bool locked) {
  write_temp(END_MARK);
  verbose("qub: creating %s");
  verbose("qub: adding file to %s");
  symbol_compute_fingerprint();
  open_replacement(locked);
  copy_in();
  install_replacement();
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

// The lines of the symbol file from the one just read into line_buffer up to and including the end
// mark, into the new file; blanks in front of their line feeds stay behind.
void copy_rest() {
  bool line_start = true;
  for (;;) {
    write_new(g_symbol.line_buffer);
    std::size_t length = std::strlen(g_symbol.line_buffer);
    bool at_end = line_start && g_symbol.line_buffer[0] == 'E';
    line_start = length > 0 && g_symbol.line_buffer[length - 1] == '\n';
    if (at_end && line_start) break;
    read_symbol_line();
  }
}

void merge_existing_file(const char *source_id, bool locked) {
  // The first two lines exactly as written, or the file is not ours to change.
  read_raw_symbol_line();
  if (std::strcmp(g_symbol.line_buffer, IDENTIFICATION) != 0) bad_identification();
  read_raw_symbol_line();
  if (!is_date_line(g_symbol.line_buffer)) bad_identification();
  std::uint64_t first_entry = g_symbol.read_offset;
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
    open_replacement(locked);
    copy_stored(first_entry, g_symbol.entry_offset);
    copy_in();
    install_replacement();
    return;
  }
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
  // Never a time stamp that this source had before, even when the clock stands still
  // or went back.
  if (g_symbol.time_stamp <= g_symbol.stored_time_stamp) g_symbol.time_stamp = g_symbol.stored_time_stamp + 1;
  verbose("qub: updating file in %s");
  // What stands in front of the old description, the new one, then what follows the old.
  while (!begins_entry(g_symbol.line_buffer)) read_symbol_line();
  std::uint64_t rest_offset = g_line_offset;
  open_replacement(locked);
  copy_stored(first_entry, g_symbol.entry_offset);
  copy_in();
  if (std::fseek(g_symbol.symbol_file, static_cast<long>(rest_offset), SEEK_SET) != 0)
    fail(STATUS_READ_FAILED, g_symbol.symbol_path, std::strerror(errno));
  read_symbol_line();
  copy_rest();
  install_replacement();
}

// A name with a line end would break the line it stands on, or plant a line of its own.
void refuse_line_ends(const char *name) {
  if (!std::strpbrk(name, "\n\r")) return;
  pre_set_message_args("file name holds a line feed or carriage return:", name);
  pre_fatal(STATUS_BAD_COMMAND_LINE);
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
  refuse_line_ends(g_symbol.symbol_path);
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
  refuse_line_ends(g_symbol.symbol_path);
  refuse_line_ends(source_id);
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
  // Signals go through while the process waits for the lock, and are held back from
  // the moment it has the lock until the commit is over.
  if (mode == LOCK_FILE) {
    if (!pre_take_lock_file(g_symbol.lock_path, max_wait, &g_lock_file, &g_signals))
      fail(STATUS_LOCK_CREATE_FAILED, g_symbol.lock_path, std::strerror(errno));
    g_symbol.lock_held = true;
  }
  long size = 0;
  for (unsigned attempt = 0;;) {
    bool second_route = false;
    g_symbol.symbol_file = pre_fopen(g_symbol.symbol_path, "r+");
    if (!g_symbol.symbol_file) {
      g_symbol.symbol_file = pre_fopen(g_symbol.symbol_path, "a+");
      second_route = true;
      if (!g_symbol.symbol_file) fail(STATUS_CREATE_FAILED, g_symbol.symbol_path, std::strerror(errno));
    }
    if (mode == LOCK_SYSTEM && !pre_lock_file_region(g_symbol.symbol_file))
      fail(STATUS_LOCK_CREATE_FAILED, g_symbol.symbol_path, std::strerror(errno));
    pre_signals_hold(&g_signals);
    bool replaced = mode == LOCK_SYSTEM && !pre_is_file_at(g_symbol.symbol_file, g_symbol.symbol_path);
    if (!replaced) {
      if (std::fseek(g_symbol.symbol_file, 0, SEEK_END) != 0 || (size = std::ftell(g_symbol.symbol_file)) < 0)
        fail(STATUS_READ_FAILED, g_symbol.symbol_path, std::strerror(errno));
      if (!second_route || size == 0) break;
    }
    // Replaced (or removed) while this process waited: lock what stands there now. Or it
    // exists, yet could not be opened for update: someone else may be creating it.
    pre_fclose(g_symbol.symbol_file);
    g_symbol.symbol_file = nullptr;
    if (mode != LOCK_FILE) pre_signals_release(&g_signals);
    if (replaced) continue;
    if (attempt == 2) fail(STATUS_CREATE_FAILED, g_symbol.symbol_path, "Too many QUB processes");
    pre_sleep_ms(3 * attempt);
    attempt++;
  }
  std::rewind(g_symbol.symbol_file);
  bool locked = mode != LOCK_NONE;
  g_new.empty_made = size == 0;
  if (size == 0)
    merge_new_file(locked);
  else
    merge_existing_file(source_id, locked);
  g_new.empty_made = false;
  std::FILE *symbol_file = g_symbol.symbol_file;
  g_symbol.symbol_file = nullptr;
  if (pre_fclose(symbol_file) != 0) fail(STATUS_CLOSE_FAILED, g_symbol.symbol_path, std::strerror(errno));
  remove_lock_file(REPORT_FATAL);
  pre_signals_release(&g_signals);
  std::FILE *temp_file = g_symbol.temp_file;
  g_symbol.temp_file = nullptr;
  if (pre_fclose(temp_file) != 0) fail(STATUS_CLOSE_FAILED, g_symbol.temp_name, std::strerror(errno));
}

void pre_symbol_unlock() {
  drop_replacement();
  remove_lock_file(REPORT_CONTINUE);
}

void pre_symbol_reset() {
  if (g_symbol.temp_file) pre_fclose(g_symbol.temp_file);
  if (g_symbol.symbol_file) pre_fclose(g_symbol.symbol_file);
  pre_signals_release(&g_signals);
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
