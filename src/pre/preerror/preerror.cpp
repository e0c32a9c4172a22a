// Numbered messages, open files and the settings log.
#include "preerror/preerror.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "base/base.h"
#include "config/config.h"
#include "driver/options.h"
#include "driver/run_state.h"
#include "platform/platform.h"
#include "symbol/symbol.h"

namespace {

enum msg_class { CLASS_NONE, CLASS_E, CLASS_W, CLASS_N };

struct message {
  int status;
  msg_class cls;
  const char *text;
};

// Indexed by status. Statuses 15 and 31 are not assigned.
constexpr message message_table[PRE_LAST_STATUS + 1] = {
    {STATUS_BAD_PARAMETER_VALUE, CLASS_E, "Configuration parameter %.450s has illegal value \"%.450s\""},
    {STATUS_BAD_CONFIG_FORMAT, CLASS_E, "Bad configuration format \"%.450s\" in file %.450s at line %lu"},
    {STATUS_BAD_SYMBOL_STAMP, CLASS_E, "Bad identification stamp in symbol file %.900s"},
    {STATUS_BAD_PRAGMA, CLASS_W, "Bad or misplaced QUB++ pragma \"%.450s\" in file %.450s at line %lu"},
    {STATUS_BAD_ENVIRONMENT_VALUE, CLASS_E, "Environment variable %.450s has illegal value \"%.450s\""},
    {STATUS_CLOSE_FAILED, CLASS_E, "Cannot close file %.450s: %.450s"},
    {STATUS_USAGE, CLASS_NONE, "(Command-line usage)"},
    {STATUS_PREPROCESS_FAILED, CLASS_E, "Cannot execute C or C++ preprocessor or preprocessing failed%.450s%.450s"},
    {STATUS_COMPILE_FAILED, CLASS_E, "Cannot execute C or C++ compiler or compilation failed%.450s%.450s"},
    {STATUS_CREATE_FAILED, CLASS_E, "Cannot create file %.450s: %.450s"},
    {STATUS_QUB_IDENTIFIER, CLASS_W, "Identifier begins with 'qub_' in file %.900s at line %lu"},
    {STATUS_MISPLACED_STRING, CLASS_W, "Misplaced string %.450s in file %.450s at line %lu"},
    {STATUS_NO_CURRENT_DIRECTORY, CLASS_E, "Cannot get current directory: %.900s"},
    {STATUS_BAD_COMMAND_LINE, CLASS_E, "Erroneous command line, %.450s %.450s"},
    {STATUS_UNKNOWN_ERROR, CLASS_E, "Unknown error"},
    {15, CLASS_NONE, nullptr},
    {STATUS_LINK_FAILED, CLASS_E, "Cannot execute linker or linking failed%.450s%.450s"},
    {STATUS_LOCK_CREATE_FAILED, CLASS_E, "Cannot create lock file %.450s: %.450s"},
    {STATUS_LOCK_REMOVE_FAILED, CLASS_E, "Cannot remove lock file %.450s: %.450s"},
    {STATUS_MISMATCHED_ENDSKIP, CLASS_W, "Mismatched \"QUB ENDSKIP\" in file %.900s at line %lu"},
    {STATUS_MISSING_DEFINITION, CLASS_E, "Missing definition \"%.900s\" in configuration file"},
    {STATUS_OK, CLASS_NONE, "(No error)"},
    {STATUS_OPEN_FAILED, CLASS_E, "Cannot open file %.450s: %.450s"},
    {STATUS_OUT_OF_MEMORY, CLASS_E, "Out of memory"},
    {STATUS_READ_FAILED, CLASS_E, "Cannot read file %.450s: %.450s"},
    {STATUS_PRAGMA_IN_BODY, CLASS_W, "Pragma \"%.450s\" encountered in function body (file %.450s:%lu)"},
    {STATUS_SYNTAX_ERROR, CLASS_E, "Syntax error in file %.450s at line %lu %.450s"},
    {STATUS_NO_TEMP_FILE, CLASS_E, "Cannot create temporary file"},
    {STATUS_TOO_COMPLEX, CLASS_W, "Too complex code, reduced to decision coverage in file %.900s at line %lu"},
    {STATUS_COUNTER_LIMIT, CLASS_E, "Counter limit reached %.900s"},
    {STATUS_USER_COMMAND_FAILED, CLASS_E, "Cannot execute the user-specified command or the command failed: \"%.900s\""},
    {31, CLASS_NONE, nullptr},
    {STATUS_ABNORMAL_CASE, CLASS_N, "Abnormal use of case/default, not instrumented (file %.900s:%lu)"},
    {STATUS_CAPACITY, CLASS_E, "Capacity restriction, something too big for QUB++ (file %.900s:%lu)"},
    {STATUS_WRITE_FAILED, CLASS_E, "Cannot write file %.450s: %.450s"},
    {STATUS_ORIGINAL_COMMAND_FAILED, CLASS_W, "Original compile/link command failed (-2comp)"},
    {STATUS_TERNARY_DECISION_ONLY, CLASS_W, "Ternary-?: instrumented for decision coverage only in file %.900s at line %lu"},
    {STATUS_CONST_DECISION, CLASS_N, "Decision not instrumented (because of 'const') in file %.900s at line %lu"},
    {STATUS_CANNOT_INSTRUMENT, CLASS_N, "Cannot instrument in file %.900s at line %lu "},
};

constexpr bool table_in_status_order() {
  for (int i = 0; i <= PRE_LAST_STATUS; i++)
    if (message_table[i].status != i) return false;
  return true;
}
static_assert(table_in_status_order(), "the message table is indexed by status");

constexpr std::size_t MAX_MESSAGE_ARG = 999;

struct message_state {
  char text1[MAX_MESSAGE_ARG + 1];
  char text2[MAX_MESSAGE_ARG + 1];
  unsigned long line;
  char formatted[MAX_TOKEN + 1];
};
message_state g_msg = {"", "", 0, ""};

// Files that outlive one function; closed on a fatal exit.
pre_list *g_open_files = nullptr;

struct log_state {
  std::FILE *file = nullptr;
  std::string name;
  std::string date;
  bool named = false;
  unsigned column = 0;
};
log_state g_log;

bool is_valid_status(int status) {
  return status >= 0 && status <= PRE_LAST_STATUS && status != 21 &&
         message_table[status].text != nullptr;
}

void copy_arg(char *dest, const char *src) {
  if (!src) src = "(null)";
  std::size_t n = std::strlen(src);
  if (n > MAX_MESSAGE_ARG) n = MAX_MESSAGE_ARG;
  std::memcpy(dest, src, n);
  dest[n] = '\0';
}

// Which conversion of the template, counted from 1 and not counting "%%", is "%lu".
int line_conversion(const char *tmpl) {
  int index = 0;
  for (const char *p = tmpl; *p; p++) {
    if (*p != '%') continue;
    if (p[1] == '%') {
      p++;
      continue;
    }
    index++;
    if (std::strncmp(p, "%lu", 3) == 0) return index;
  }
  return 0;
}

void print_error_output(const char *text) {
  std::fflush(stdout);
  std::fputs(text, stderr);
  std::fflush(stderr);
}

}  // namespace

void pre_set_message_args(const char *text1, const char *text2) {
  copy_arg(g_msg.text1, text1);
  copy_arg(g_msg.text2, text2);
}

void pre_set_message_line(unsigned long line) { g_msg.line = line; }

bool pre_is_warning(int status) {
  return status >= 0 && status <= PRE_LAST_STATUS && message_table[status].cls == CLASS_W;
}

bool pre_is_note(int status) {
  return status >= 0 && status <= PRE_LAST_STATUS && message_table[status].cls == CLASS_N;
}

bool pre_is_error(int status) {
  return status >= 0 && status <= PRE_LAST_STATUS && message_table[status].cls == CLASS_E;
}

void pre_internal_error(const char *module, unsigned long line) {
  char text[600];
  std::snprintf(text, sizeof text, "** Please notify vendor about error on\n** line %lu, module %s\n\n",
                line, module);
  print_error_output(text);
}

const char *pre_format_message(int status) {
  if (!is_valid_status(status)) {
    pre_internal_error("src/pre/preerror", static_cast<unsigned long>(__LINE__));
    status = STATUS_UNKNOWN_ERROR;
  }
  const message &m = message_table[status];
  char body[MAX_TOKEN + 1];
  const char *t1 = g_msg.text1, *t2 = g_msg.text2;
  unsigned long line = g_msg.line;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  switch (line_conversion(m.text)) {
    case 1: std::snprintf(body, sizeof body, m.text, line, t1, t2); break;
    case 2: std::snprintf(body, sizeof body, m.text, t1, line, t2); break;
    case 3: std::snprintf(body, sizeof body, m.text, t1, t2, line); break;
    default: std::snprintf(body, sizeof body, m.text, t1, t2); break;
  }
#pragma GCC diagnostic pop
  std::snprintf(g_msg.formatted, sizeof g_msg.formatted,
                m.cls == CLASS_E ? "QUB++ error %d: %s\n" : "QUB++ warning %d: %s\n", status, body);
  g_msg.text1[0] = g_msg.text2[0] = '\0';
  g_msg.line = 0;
  return g_msg.formatted;
}

namespace {

// Prints the message of status as its class and the settings ask; returns the class.
msg_class print_report(pre_status status) {
  if (status == STATUS_USAGE) {
    pre_print_usage();
    std::fflush(stdout);
    std::exit(0);
  }
  const char *level = conf_get("WARNING_LEVEL");
  int cls_status = is_valid_status(status) ? status : STATUS_UNKNOWN_ERROR;
  msg_class cls = message_table[cls_status].cls;
  bool show = true;
  if (cls == CLASS_W)
    show = !g_run.no_warnings && std::strcmp(level, "none") != 0;
  else if (cls == CLASS_N)
    show = !g_run.no_warnings && (std::strcmp(level, "info") == 0 || g_run.verbose);
  if (show)
    print_error_output(pre_format_message(status));
  else
    pre_format_message(status);  // clears the arguments all the same
  if (status == STATUS_BAD_COMMAND_LINE) print_error_output("Type 'qub -h' for usage information\n");
  return cls;
}

[[noreturn]] void end_process() {
  pre_symbol_unlock();
  pre_close_all_files();
  std::exit(1);
}

}  // namespace

void pre_report(pre_status status, report_mode mode) {
  msg_class cls = print_report(status);
  if (mode == REPORT_CONTINUE) return;
  if (mode == REPORT_FATAL_IF_ERROR && (cls == CLASS_W || cls == CLASS_N)) return;
  end_process();
}

void pre_fatal(pre_status status) {
  print_report(status);
  end_process();
}

// --- open files -------------------------------------------------------------------

std::FILE *pre_fopen(const char *name, const char *mode) {
  std::FILE *f = std::fopen(name, mode);
  if (!f) return nullptr;
  if (!g_open_files) g_open_files = pre_list_new(nullptr);
  pre_list_add(g_open_files, f);
  return f;
}

int pre_fclose(std::FILE *stream) {
  if (g_open_files) pre_list_remove(g_open_files, stream);
  return std::fclose(stream);
}

void pre_close_all_files() {
  if (!g_open_files) return;
  for (void *f = pre_list_first(g_open_files); f; f = pre_list_next(g_open_files))
    std::fclose(static_cast<std::FILE *>(f));
  pre_list_free(g_open_files);
  g_open_files = nullptr;
}

void pre_fatal_file(pre_status status, const char *name, const char *reason) {
  pre_set_message_args(name, reason ? reason : std::strerror(errno));
  pre_fatal(status);
}

void pre_write_file(const char *name, const char *data, std::size_t size) {
  std::FILE *f = pre_fopen(name, "w");
  if (!f) pre_fatal_file(STATUS_CREATE_FAILED, name);
  if (std::fwrite(data, 1, size, f) != size || std::fflush(f) != 0) {
    int error = errno;
    pre_fclose(f);
    errno = error;
    pre_fatal_file(STATUS_WRITE_FAILED, name);
  }
  if (pre_fclose(f) != 0) pre_fatal_file(STATUS_CLOSE_FAILED, name);
}

// --- settings log -------------------------------------------------------------------

bool pre_log_open(const char *prefix) {
  if (g_log.file) return true;
  if (!g_log.named) {
    std::string dir = pre_temp_directory() + "/qublog";
    pre_make_directory(dir.c_str());
    std::time_t now = std::time(nullptr);
    std::tm local = *std::localtime(&now);
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%04i%02i%02i_%02i%02i%02i_%05i.txt", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(pre_process_id()));
    g_log.name = dir + "/" + prefix + "log_" + stamp;
    g_log.date = std::asctime(&local);
    g_log.named = true;
    g_log.file = pre_fopen(g_log.name.c_str(), "w");
  } else {
    g_log.file = pre_fopen(g_log.name.c_str(), "a+");
  }
  g_log.column = 0;
  return g_log.file != nullptr;
}

void pre_log_char(int c) {
  if (!g_log.file) return;
  if (c == '\n') {
    std::fputc('\n', g_log.file);
    g_log.column = 0;
    return;
  }
  if (g_log.column >= 75) {
    std::fputc('\n', g_log.file);
    g_log.column = 0;
  }
  std::fputc(c, g_log.file);
  g_log.column++;
}

void pre_log_text(const char *text) {
  if (!text) text = "(null)";
  for (const char *p = text; *p; p++) pre_log_char(static_cast<unsigned char>(*p));
}

void pre_log_line(const char *text) {
  pre_log_text(text);
  pre_log_char('\n');
}

void pre_log_newline() {
  if (!g_log.file) return;
  std::fputc('\n', g_log.file);
  g_log.column = 0;
}

void pre_log_close() {
  if (!g_log.file) return;
  pre_fclose(g_log.file);
  g_log.file = nullptr;
}

bool pre_log_is_open() { return g_log.file != nullptr; }

const char *pre_log_name() { return g_log.name.c_str(); }

const char *pre_log_date() { return g_log.date.c_str(); }

void pre_log_forget() {
  pre_log_close();
  g_log = log_state();
}
