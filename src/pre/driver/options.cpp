// The tool's own options: the word chain from QUBOPTS and argv, the option loop,
// option files, and QUBOPTS rebuilt for child processes.
#include "driver/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "base/version.h"
#include "command/command.h"
#include "platform/platform.h"
#include "preerror/preerror.h"

namespace {

constexpr const char *OPTS_PREFIX = "QUBOPTS=";

// An option file whose words are in the chain: the word as written and the last word
// it added (none for a file without words).
struct pending_file {
  char *word;
  arg_node *last;
  pending_file *below;
};

struct options_state {
  pending_file *pending;  // top of the stack of option files
};

options_state g_options = {nullptr};

bool is_separator(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == '\v';
}

bool word_is(const arg_node *node, const char *text) { return std::strcmp(node->text, text) == 0; }

arg_node *new_word(char *text) {
  arg_node *n = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
  *n = arg_node{ARG_OTHER, text, nullptr, false, nullptr};
  return n;
}

// Each double quote gets a backslash in front of it, after the run of backslashes
// directly before it has been doubled. A word of n characters grows to at most 2n.
char *escape_word(const char *word) {
  std::size_t n = std::strlen(word);
  char *out = static_cast<char *>(pre_xmalloc(2 * n + 1));
  std::size_t o = 0, run = 0;
  for (const char *p = word; *p; p++) {
    if (*p == '"') {
      for (std::size_t k = 0; k < run + 1; k++) out[o++] = '\\';
      run = 0;
    } else {
      run = *p == '\\' ? run + 1 : 0;
    }
    out[o++] = *p;
  }
  out[o] = '\0';
  return out;
}

// A value as QUBOPTS holds it, in the double-quote form that pre_split_words reads back.
std::string quote_for_opts(const char *word) {
  if (!std::strpbrk(word, " \t<>&|")) return word;
  std::string q = "\"";
  q += word;
  std::size_t n = std::strlen(word);
  if (n >= 1 && word[n - 1] == '\\' && (n == 1 || word[n - 2] != '\\')) q += '\\';
  q += '"';
  return q;
}

void opts_append(const char *text) { pre_str_append(&g_run.opts_env, text); }

void push_pending(const char *word, arg_node *last) {
  pending_file *p = static_cast<pending_file *>(pre_xmalloc(sizeof(pending_file)));
  p->word = pre_xstrdup(word);
  p->last = last;
  p->below = g_options.pending;
  g_options.pending = p;
}

// Pops the whole stack, newest first; with to_opts each file word goes into QUBOPTS.
void pop_all_pending(bool to_opts) {
  while (pending_file *p = g_options.pending) {
    if (to_opts) {
      opts_append(p->word);
      opts_append(" ");
    }
    g_options.pending = p->below;
    std::free(p->word);
    std::free(p);
  }
}

// The coverage modes of a -i value; false for a value that names no valid combination.
bool set_modes(const char *value) {
  bool decision = false, multicondition = false, inclusive = false, exclusive = false;
  bool timing_asked = false;
  char previous = '\0';
  for (const char *p = value; *p; previous = *p, p++) {
    switch (*p) {
      case 'f': break;
      case 'd': decision = true; break;
      case 'm': decision = multicondition = true; break;
      case 't': timing_asked = true; break;
      case 'i':
        if (previous != 't' || exclusive) return false;
        inclusive = true;
        break;
      case 'e':
        if (previous != 't' || inclusive) return false;
        exclusive = true;
        break;
      default: return false;
    }
  }
  if (timing_asked && !inclusive && !exclusive) return false;
  g_run.instrument_function = true;
  g_run.instrument_decision = decision;
  g_run.instrument_multicondition = multicondition;
  g_run.instrument_inclusive_timing = inclusive;
  g_run.instrument_exclusive_timing = exclusive;
  return true;
}

bool is_value_option(const arg_node *w) {
  return word_is(w, "-c") || word_is(w, "-C") || word_is(w, "-n") || word_is(w, "-i");
}

// The field of a flag option, or none.
bool *flag_field(const arg_node *w) {
  if (word_is(w, "-v")) return &g_run.verbose;
  if (word_is(w, "-V")) return &g_run.show_settings;
  if (word_is(w, "-k")) return &g_run.keep_temp;
  if (word_is(w, "-no-templates")) return &g_run.no_templates;
  if (word_is(w, "-2comp")) return &g_run.two_comp;
  if (word_is(w, "-no-comp")) return &g_run.no_comp;
  if (word_is(w, "-no-warnings")) return &g_run.no_warnings;
  if (word_is(w, "-dump-config")) return &g_run.dump_config;
  return nullptr;
}

void step_over(arg_node *w) {
  g_run.last_option_arg = w;
  g_run.current_arg = w->next;
}

pre_status missing_argument(const char *option) {
  pre_set_message_args("argument missing for option", option);
  return STATUS_BAD_COMMAND_LINE;
}

// An option with a value in the next word.
pre_status take_value_option(arg_node *option) {
  arg_node *value = option->next;
  if (!value || value->text[0] == '-') return missing_argument(option->text);
  // The value as the user typed it, without the chain's escapes of double quotes.
  std::string typed = pre_unescape_quotes(value->text);
  if (word_is(option, "-c")) {
    if (g_run.conf_file_list && *g_run.conf_file_list) pre_str_append(&g_run.conf_file_list, ";");
    else {
      std::free(g_run.conf_file_list);
      g_run.conf_file_list = nullptr;
    }
    pre_str_append(&g_run.conf_file_list, typed.c_str());
  } else if (word_is(option, "-n")) {
    std::free(g_run.symbol_file_name);
    g_run.symbol_file_name = pre_xstrdup(typed.c_str());
  } else if (word_is(option, "-C")) {
    if (!g_run.pending_overrides) g_run.pending_overrides = pre_list_new(pre_list_text_equal);
    pre_list_add(g_run.pending_overrides, pre_xstrdup(typed.c_str()));
  } else if (!set_modes(value->text)) {
    pre_set_message_args("unknown instrumentation mode", value->text);
    return STATUS_BAD_COMMAND_LINE;
  }
  bool from_file = word_is(option, "-C") && g_options.pending && g_options.pending->last;
  if (!from_file) {
    opts_append(option->text);
    opts_append(" ");
    opts_append(quote_for_opts(value->text).c_str());
    opts_append(" ");
  }
  step_over(option);
  if (g_options.pending && g_options.pending->last == value) pop_all_pending(true);
  step_over(value);
  return STATUS_OK;
}

// An @file word: the file's words go into the chain behind it.
pre_status take_option_file(arg_node *at) {
  if (at->text[1] == '\0') return missing_argument(at->text);
  char *text = pre_read_text_file(at->text + 1);
  arg_node *words = pre_split_words(text);
  std::free(text);
  arg_node *last = nullptr;
  if (words) {
    for (last = words; last->next; last = last->next) {
    }
    last->next = at->next;
    at->next = words;
  }
  push_pending(at->text, last);
  step_over(at);
  return STATUS_OK;
}

}  // namespace

void pre_print_usage() {
  std::printf(
      "\nThis is QUB++ (v%s) Preprocessor utility, used for instrumenting,\ncompiling and linking the given C/C++ "
      "source files.\n\nUsage:\nqub [qub-options] comp/link-command comp/link-options-and-files\n\n[qub-options]:\n"
      "   [-i {f|d|m|te|ti}...] [-n symbolfile]\n   [-v] [-V] [-k] [-h] [@optionsfile]...\n"
      "   [-c conf-file[;conf-file]...]... [-C conf-param{=value|+value|-value}]...\n"
      "   [-2comp] [-no-comp] [-no-templates] [-no-warnings] [-dump-config]\n\n"
      "Read more from 'man qub' or from the 'doc' subdirectory of %s.\n\n",
      PRE_VERSION_TEXT, "%%QUBHOME%%");
}

void pre_default_home() {
  if (std::getenv("QUBHOME")) return;
  std::string dir = pre_executable_directory();
  if (dir.empty()) return;
  std::size_t slash = dir.rfind('/');
  std::string home = (slash == std::string::npos ? dir + "/.." : dir.substr(0, slash)) + "/share/qub";
  std::string ini = home + "/qub.ini";
  if (pre_path_exists(ini.c_str())) pre_set_environment("QUBHOME", home.c_str());
}

arg_node *pre_split_words(const char *text) {
  arg_node *head = nullptr;
  arg_node **tail = &head;
  if (!text) return nullptr;
  const char *p = text;
  while (*p) {
    while (*p && is_separator(*p)) p++;
    if (!*p) break;
    std::string word;
    bool quoted = false;
    while (*p && (quoted || !is_separator(*p))) {
      if (p[0] == '\\' && (p[1] == '\\' || p[1] == '"')) {
        word.append(p, 2);
        p += 2;
      } else if (*p == '"') {
        quoted = !quoted;
        p++;
      } else {
        word.push_back(*p++);
      }
    }
    if (word.empty()) continue;
    *tail = new_word(pre_xstrdup(word.c_str()));
    tail = &(*tail)->next;
  }
  return head;
}

char *pre_read_text_file(const char *path) {
  errno = 0;
  std::FILE *f = pre_fopen(path, "rb");
  if (!f) pre_fatal_file(STATUS_OPEN_FAILED, path);
  std::string raw;
  char buffer[8192];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0) raw.append(buffer, got);
  if (std::ferror(f)) {
    int e = errno;
    pre_fclose(f);
    pre_fatal_file(STATUS_READ_FAILED, path, std::strerror(e));
  }
  errno = 0;
  if (pre_fclose(f) != 0) pre_fatal_file(STATUS_CLOSE_FAILED, path);

  // Byte order marks: FF FE is UTF-16 little-endian, EF BB BF is dropped.
  const unsigned char *b = reinterpret_cast<const unsigned char *>(raw.data());
  std::size_t n = raw.size(), i = 0;
  bool wide = false, bad = false;
  if (n >= 1 && b[0] == 0xFF) {
    wide = n >= 2 && b[1] == 0xFE;
    bad = !wide;
    i = 2;
  } else if (n >= 1 && b[0] == 0xEF) {
    bad = !(n >= 3 && b[1] == 0xBB && b[2] == 0xBF);
    i = 3;
  }
  std::string text;
  if (!bad && wide) {
    for (; i < n && !bad; i += 2) {
      bad = i + 1 >= n || b[i + 1] != 0;
      if (!bad) text.push_back(static_cast<char>(b[i]));
    }
  } else if (!bad) {
    text.assign(raw, i, std::string::npos);
  }
  if (bad) pre_fatal_file(STATUS_READ_FAILED, path, std::strerror(EILSEQ));

  // Whole-line "#" comments go with their line feed; CR in front of LF goes.
  std::string out;
  out.reserve(text.size());
  bool line_start = true;
  for (std::size_t k = 0; k < text.size(); k++) {
    char c = text[k];
    if (line_start && c == '#') {
      std::size_t lf = text.find('\n', k);
      if (lf == std::string::npos) break;
      k = lf;
      continue;
    }
    if (c == '\r' && k + 1 < text.size() && text[k + 1] == '\n') continue;
    out.push_back(c);
    line_start = c == '\n';
  }
  return pre_xstrdup(out.c_str());
}

pre_status pre_parse_options() {
  pop_all_pending(false);
  if (!g_run.opts_env) g_run.opts_env = pre_xstrdup(OPTS_PREFIX);
  for (;;) {
    arg_node *w = g_run.current_arg;
    if (w && (word_is(w, "-h") || word_is(w, "-?"))) return STATUS_USAGE;
    if (!w) break;
    pre_status status;
    if (is_value_option(w)) {
      status = take_value_option(w);
    } else if (bool *field = flag_field(w)) {
      *field = true;
      opts_append(w->text);
      opts_append(" ");
      step_over(w);
      status = STATUS_OK;
    } else if (w->text[0] == '@') {
      status = take_option_file(w);
    } else {
      break;
    }
    if (status != STATUS_OK) return status;
  }
  g_run.command_arg = g_run.current_arg;
  if (!pre_set_environment("QUBOPTS", g_run.opts_env + std::strlen(OPTS_PREFIX))) return STATUS_OUT_OF_MEMORY;
  return STATUS_OK;
}

void pre_setup_arguments(int argc, char **argv) {
  pre_default_home();
  if (argc <= 1) pre_fatal(STATUS_USAGE);
  g_run.instrument_function = true;
  g_run.instrument_decision = true;
  g_run.instrument_multicondition = false;
  g_run.instrument_inclusive_timing = false;
  g_run.instrument_exclusive_timing = false;

  // Words of QUBOPTS are in the chain's form already (a double quote in a word stands
  // escaped there); the words of argv get that form here.
  arg_node *head = nullptr;
  if (const char *env = std::getenv("QUBOPTS")) head = pre_split_words(env);
  arg_node **tail = &head;
  while (*tail) tail = &(*tail)->next;
  for (int i = 1; i < argc; i++) {
    *tail = new_word(escape_word(argv[i]));
    tail = &(*tail)->next;
  }
  g_run.args = head;
  g_run.current_arg = head;
  g_run.last_option_arg = nullptr;
  std::free(g_run.opts_env);
  g_run.opts_env = pre_xstrdup(OPTS_PREFIX);

  pre_status status = pre_parse_options();
  if (status != STATUS_OK) pre_fatal(status);
}
