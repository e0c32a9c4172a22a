// Running tools: how each command text is composed, quoted and started, when flags go to
// a response file, and how a child's result is judged.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "base/base.h"
#include "command/command.h"
#include "command/signals.h"
#include "driver/options.h"
#include "command/tempfile.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"

extern char **environ;

namespace {

// Longest text in one line of a response file, and longest flags text on one line.
constexpr std::size_t RSP_LINE_LIMIT = 100000;

struct run_limits {
  bool known = false;
  std::uint64_t direct_start_limit = 0;
  std::uint64_t response_limit = 0;
};
run_limits g_limits;

void read_limits() {
  if (g_limits.known) return;
  const char *text = conf_get("MAX_CMDLINE_LENGTH");
  char *end = nullptr;
  unsigned long long n = std::strtoull(text, &end, 10);
  if (!*text || *end) n = 0;
  g_limits.direct_start_limit = n ? n : 2000;
  g_limits.response_limit = n ? n : 4294967295ull;
  g_limits.known = true;
}

// Characters that the POSIX shell would treat in a word.
bool shell_special(char c) {
  return std::strchr(" \t\n|&;<>()$`\\\"'*?[]{}!", c) != nullptr;
}

std::string quoted(const char *word) {
  char *q = pre_quote_if_needed(word);
  std::string s = q;
  std::free(q);
  return s;
}

std::string joined(pre_list *list) {
  char *j = pre_join_flags(list);
  std::string s = j;
  std::free(j);
  return s;
}

const char *first_optfile() {
  const char *first = nullptr;
  conf_each_value("OPTFILE", [&](const char *v) {
    first = v;
    return true;
  });
  return first;
}

bool is_exact_value(const char *text, const char *parameter) {
  return conf_each_value(parameter, [&](const char *v) { return std::strcmp(v, text) == 0; });
}

// Writes a response file and returns the option text that names it.
std::string write_rsp(const std::string &content, const char *option) {
  char *name = pre_temp_name(".rsp", !g_run.keep_temp);
  pre_write_file(name, content.data(), content.size());
  std::string text = option;
  if (is_exact_value(option, "PARAMS_SEPARATE")) text += ' ';
  text += quoted(name);
  std::free(name);
  return text;
}

// The flags of a list that is too long: items of OPT_NO_OPTFILE stay on the command line
// (kept), the others go to a response file. Without OPTFILE the list stays as it is.
void shorten(pre_list *list, std::string &kept, std::string &flags) {
  const char *option = first_optfile();
  kept.clear();
  if (!option) {
    flags = joined(list);
    return;
  }
  pre_list *rest = pre_list_new(pre_list_text_equal);
  for (void *p = pre_list_first(list); p; p = pre_list_next(list)) pre_list_add(rest, p);
  pre_list *kept_list = nullptr;
  conf_each_value("OPT_NO_OPTFILE", [&](const char *v) {
    void *item = pre_list_remove(rest, v);
    if (!item) return;
    if (!kept_list) kept_list = pre_list_new(pre_list_text_equal);
    pre_list_add(kept_list, item);
  });
  if (kept_list) {
    kept = joined(kept_list);
    pre_list_free(kept_list);
  }
  std::string content;
  std::string all = joined(rest);
  if (all.size() > RSP_LINE_LIMIT) {
    std::size_t line = 0;
    bool first = true;
    for (void *p = pre_list_first(rest); p; p = pre_list_next(rest)) {
      char *q = pre_quote_for_rsp(static_cast<char *>(p));
      std::size_t n = std::strlen(q);
      if (!first) {
        if (line + n >= RSP_LINE_LIMIT) {
          content += '\n';
          line = 0;
        } else {
          content += ' ';
          line++;
        }
      }
      content += q;
      line += n;
      first = false;
      std::free(q);
    }
  } else {
    bool first = true;
    for (void *p = pre_list_first(rest); p; p = pre_list_next(rest)) {
      char *q = pre_quote_for_rsp(static_cast<char *>(p));
      if (!first) content += ' ';
      content += q;
      first = false;
      std::free(q);
    }
  }
  pre_list_free(rest);
  flags = write_rsp(content, option);
}

std::string replace_all(std::string text, const char *needle, const std::string &value) {
  std::size_t n = std::strlen(needle);
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + value.size()))
    text.replace(at, n, value);
  return text;
}

// ": 0x<code>" for an exit code, 128 + the signal for a child killed by one.
void set_exit_arguments(int wait_status) {
  unsigned code = 0;
  if (WIFEXITED(wait_status))
    code = static_cast<unsigned>(WEXITSTATUS(wait_status));
  else if (WIFSIGNALED(wait_status))
    code = 128u + static_cast<unsigned>(WTERMSIG(wait_status));
  char text[32];
  std::snprintf(text, sizeof text, ": 0x%X", code);
  pre_set_message_args(text, "");
}

bool spawn_and_wait(const char *program, std::vector<char *> &argv, bool search) {
  argv.push_back(nullptr);
  pid_t pid = 0;
  // The child leads a process group of its own, so that a stop of the run can end it
  // with everything it started; the stop handler learns of it before it can run.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attr, 0);
  sigset_t saved;
  pre_hold_stop_signals(&saved);
  int rc = search ? posix_spawnp(&pid, program, nullptr, &attr, argv.data(), environ)
                  : posix_spawn(&pid, program, nullptr, &attr, argv.data(), environ);
  posix_spawnattr_destroy(&attr);
  if (rc == 0) pre_set_running_child(pid);
  pre_release_stop_signals(&saved);
  if (rc != 0) {
    pre_set_message_args(": ", std::strerror(rc));
    std::fflush(stderr);
    return false;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      pre_set_running_child(0);
      pre_set_message_args(": ", std::strerror(errno));
      std::fflush(stderr);
      return false;
    }
  }
  pre_set_running_child(0);
  std::fflush(stderr);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  set_exit_arguments(status);
  return false;
}

}  // namespace

std::uint64_t pre_direct_start_limit() {
  read_limits();
  return g_limits.direct_start_limit;
}

std::uint64_t pre_response_limit() {
  read_limits();
  return g_limits.response_limit;
}

void pre_reset_command_limits() { g_limits = run_limits{}; }

// --- quoting and splitting --------------------------------------------------------------

std::string pre_unescape_quotes(const char *word) {
  std::string out;
  for (const char *p = word; *p;) {
    if (*p != '\\') {
      out += *p++;
      continue;
    }
    const char *run = p;
    while (*p == '\\') p++;
    std::size_t n = static_cast<std::size_t>(p - run);
    if (*p == '"' && n % 2 == 1)
      out.append(n / 2, '\\');
    else
      out.append(n, '\\');
  }
  return out;
}

char *pre_escape_quotes(const char *word) {
  std::string out;
  std::size_t run = 0;  // backslashes directly in front
  for (const char *p = word; *p; p++) {
    if (*p == '"') out.append(run + 1, '\\');
    run = *p == '\\' ? run + 1 : 0;
    out += *p;
  }
  return pre_xstrdup(out.c_str());
}

void pre_split_gnu_words(const char *text, pre_list *words) {
  std::string word;
  bool in_word = false, escaped = false;
  char quote = 0;
  for (const char *p = text; *p; p++) {
    char c = *p;
    if (escaped) {
      word += c;
      escaped = false;
    } else if (c == '\\') {
      escaped = in_word = true;
    } else if (quote) {
      if (c == quote)
        quote = 0;
      else
        word += c;
    } else if (c == '\'' || c == '"') {
      quote = c;
      in_word = true;
    } else if (std::strchr(" \t\n\r\f\v", c)) {
      if (in_word) pre_list_add(words, pre_xstrdup(word.c_str()));
      word.clear();
      in_word = false;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) pre_list_add(words, pre_xstrdup(word.c_str()));
}

bool pre_read_whole_file(const char *path, std::string *content) {
  std::FILE *f = std::fopen(path, "rb");
  if (!f) return false;
  char buffer[8192];
  std::size_t got;
  content->clear();
  while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0) content->append(buffer, got);
  bool ok = !std::ferror(f);
  std::fclose(f);
  return ok;
}

char *pre_quote_if_needed(const char *escaped) {
  std::string plain = pre_unescape_quotes(escaped);
  const char *word = plain.c_str();
  bool needed = word[0] == '\0' || word[0] == '#' || word[0] == '~';
  for (const char *p = word; *p && !needed; p++) needed = shell_special(*p);
  if (!needed) return pre_xstrdup(word);
  std::string q = "'";
  for (const char *p = word; *p; p++) {
    if (*p == '\'')
      q += "'\\''";
    else
      q += *p;
  }
  q += '\'';
  return pre_xstrdup(q.c_str());
}

char *pre_quote_for_rsp(const char *escaped) {
  std::string plain = pre_unescape_quotes(escaped);
  const char *word = plain.c_str();
  bool needed = word[0] == '\0';
  for (const char *p = word; *p && !needed; p++)
    needed = std::strchr(" \t\n\r\f\v'\"\\", *p) != nullptr;
  if (!needed) return pre_xstrdup(word);
  std::string q = "'";
  for (const char *p = word; *p; p++) {
    if (*p == '\\' || *p == '\'') q += '\\';
    q += *p;
  }
  q += '\'';
  return pre_xstrdup(q.c_str());
}

char *pre_join_flags(pre_list *list) {
  std::string text;
  bool first = true;
  if (list) {
    for (pre_list_node *n = list->head; n; n = n->next) {
      if (!first) text += ' ';
      text += quoted(static_cast<const char *>(n->item));
      first = false;
    }
  }
  return pre_xstrdup(text.c_str());
}

bool pre_split_shell_words(const char *text, pre_list *words) {
  std::string word;
  bool in_word = false;
  const char *p = text;
  while (*p) {
    char c = *p;
    if (c == ' ' || c == '\t' || c == '\n') {
      if (in_word) pre_list_add(words, pre_xstrdup(word.c_str()));
      word.clear();
      in_word = false;
      p++;
      continue;
    }
    if (c == '\'') {
      const char *close = std::strchr(p + 1, '\'');
      if (!close) return false;
      word.append(p + 1, close);
      in_word = true;
      p = close + 1;
      continue;
    }
    if (c == '"') {
      p++;
      for (;;) {
        if (!*p) return false;
        if (*p == '"') break;
        if (*p == '\\' && (p[1] == '$' || p[1] == '`' || p[1] == '"' || p[1] == '\\' || p[1] == '\n')) {
          if (p[1] != '\n') word += p[1];
          p += 2;
          continue;
        }
        word += *p++;
      }
      p++;
      in_word = true;
      continue;
    }
    if (c == '\\') {
      if (p[1] == '\n') {
        p += 2;
        continue;
      }
      if (p[1]) word += p[1];
      p += p[1] ? 2 : 1;
      in_word = true;
      continue;
    }
    word += c;
    in_word = true;
    p++;
  }
  if (in_word) pre_list_add(words, pre_xstrdup(word.c_str()));
  return true;
}

// --- starting commands ------------------------------------------------------------------

bool pre_run_command(const char *text, bool force_shell) {
  if (g_run.verbose) std::fprintf(stderr, "qub: %s\n", text);
  std::fflush(stdout);
  if (std::strlen(text) > pre_direct_start_limit() && !force_shell) {
    pre_list *words = pre_list_new(pre_list_text_equal);
    bool ok = pre_split_shell_words(text, words);
    std::vector<char *> argv;
    for (pre_list_node *n = words->head; n; n = n->next) argv.push_back(static_cast<char *>(n->item));
    bool result;
    if (!ok || argv.empty()) {
      pre_set_message_args(": ", std::strerror(ok ? ENOENT : EINVAL));
      std::fflush(stderr);
      result = false;
    } else {
      result = spawn_and_wait(argv[0], argv, true);
    }
    pre_list_free_texts(words);
    return result;
  }
  std::vector<char *> argv;
  argv.push_back(const_cast<char *>("sh"));
  argv.push_back(const_cast<char *>("-c"));
  argv.push_back(const_cast<char *>(text));
  return spawn_and_wait("/bin/sh", argv, false);
}

void pre_run_preproc(const char *source, const char *result, const char *command,
                     const char *templ, pre_list *flags) {
  std::string text = templ;
  text = replace_all(text, "%COMMAND%", quoted(command));
  text = replace_all(text, "%FILE%", quoted(source));
  text = replace_all(text, "%RESULT%", quoted(result));
  if (text.find("%FLAGS%") != std::string::npos) {
    std::string kept, flag_text = joined(flags);
    if (text.size() - 7 + flag_text.size() > pre_response_limit()) shorten(flags, kept, flag_text);
    text = replace_all(text, "%FLAGS%", kept.empty() ? flag_text : kept + " " + flag_text);
  }
  bool force_shell = std::strpbrk(templ, "><|&") != nullptr;
  if (!pre_run_command(text.c_str(), force_shell)) pre_fatal(STATUS_PREPROCESS_FAILED);
}

char *pre_compose_command(const char *command, pre_list *flags, const char *file) {
  std::string qcommand = quoted(command);
  std::string qfile = file ? quoted(file) : "";
  std::string kept, flag_text = joined(flags);
  std::uint64_t length = qcommand.size() + flag_text.size() + (file ? qfile.size() + 2 : 1);
  if (length > pre_response_limit()) shorten(flags, kept, flag_text);
  std::string text = qcommand + " ";
  if (!kept.empty()) text += kept + " ";
  text += flag_text;
  if (file) text += " " + qfile;
  return pre_xstrdup(text.c_str());
}

void pre_run_compile(const char *file, const char *command, pre_list *flags) {
  char *text = pre_compose_command(command, flags, file);
  bool ok = pre_run_command(text, false);
  std::free(text);
  if (!ok) pre_fatal(STATUS_COMPILE_FAILED);
}

void pre_run_final(const char *command, pre_list *args, bool is_link) {
  char *text = pre_compose_command(command, args, nullptr);
  bool ok = pre_run_command(text, false);
  std::free(text);
  if (!ok) pre_fatal(is_link ? STATUS_LINK_FAILED : STATUS_COMPILE_FAILED);
}

void pre_run_hook(const char *hook, const char *command, const char *source, const char *result) {
  std::string text = quoted(hook) + " " + quoted(command) + " " + quoted(source) + " " +
                     quoted(result) + " " + (g_run.user_command ? g_run.user_command : "");
  if (!pre_run_command(text.c_str(), false)) {
    pre_set_message_args(text.c_str(), "");
    pre_fatal(STATUS_USER_COMMAND_FAILED);
  }
}

void pre_run_before_all(const char *hook) {
  char *name = pre_temp_name(".ret", !g_run.keep_temp);
  pre_write_file(name, "", 0);
  std::string text = quoted(hook) + " " + quoted(name) + " " +
                     (g_run.user_command ? g_run.user_command : "");
  if (!pre_run_command(text.c_str(), false)) {
    pre_set_message_args(text.c_str(), "");
    pre_fatal(STATUS_USER_COMMAND_FAILED);
  }
  pre_after_before_all(name);
  std::free(name);
}

void pre_after_before_all(const char *ret_name) {
  char *text = pre_read_text_file(ret_name);
  arg_node *words = pre_split_words(text);
  if (g_run.dump_config && pre_log_is_open()) {
    pre_log_text("RUN_BEFORE_ALL step responded: ");
    pre_log_text(text);
    pre_log_newline();
    pre_log_newline();
  }
  std::free(text);
  if (words) {
    arg_node *command = g_run.command_arg;
    arg_node *last = words;
    while (last->next) last = last->next;
    last->next = command;
    if (g_run.last_option_arg)
      g_run.last_option_arg->next = words;
    else
      g_run.args = words;
    g_run.current_arg = words;
    pre_status status = pre_parse_options();
    if (status != STATUS_OK) pre_fatal(status);
    // A word that is no option ends the response: it and the rest of it are dropped.
    if (g_run.current_arg != command) {
      arg_node *from = g_run.current_arg;
      if (g_run.last_option_arg)
        g_run.last_option_arg->next = command;
      else
        g_run.args = command;
      while (from && from != command) {
        arg_node *next = from->next;
        from->next = nullptr;
        pre_free_arg_chain(from);
        from = next;
      }
    }
    g_run.current_arg = g_run.command_arg = command;
  }
  conf_apply_pending_overrides();
  conf_validate();
}

void pre_run_user_command() {
  if (!pre_run_command(g_run.user_command ? g_run.user_command : "", false))
    pre_report(STATUS_ORIGINAL_COMMAND_FAILED, REPORT_CONTINUE);
}
