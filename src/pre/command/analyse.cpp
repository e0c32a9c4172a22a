// Command analysis: the block of the command word, the compiler's option files, the
// kind of every word, and the plan of file records and the final command.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "command/command.h"
#include "command/language.h"
#include "command/tempfile.h"
#include "driver/options.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"
#include "prepath/prepath.h"

namespace {

void command_line_error(const char *text1, const char *text2) {
  pre_set_message_args(text1, text2);
  pre_fatal(STATUS_BAD_COMMAND_LINE);
}

bool ends_with(const std::string &text, const char *tail) {
  std::size_t n = std::strlen(tail);
  return text.size() >= n && text.compare(text.size() - n, n, tail) == 0;
}

bool is_source_kind(arg_kind kind) { return kind >= ARG_C && kind <= ARG_JAVA; }

void free_node(arg_node *n) {
  for (arg_value *v = n->values; v;) {
    arg_value *next = v->next;
    std::free(v->text);
    std::free(v);
    v = next;
  }
  std::free(n->text);
  std::free(n);
}

// Appends a value to a word, taking the text over.
void add_value(arg_node *arg, char *text) {
  arg_value *v = static_cast<arg_value *>(pre_xmalloc(sizeof(arg_value)));
  *v = arg_value{text, nullptr};
  arg_value **tail = &arg->values;
  while (*tail) tail = &(*tail)->next;
  *tail = v;
}

// Takes the word behind arg out of the chain and makes it a value of arg.
void take_next_as_value(arg_node *arg) {
  arg_node *next = arg->next;
  arg->next = next->next;
  add_value(arg, next->text);
  next->text = nullptr;
  free_node(next);
}

// True if the word or its file part names the value as a command.
bool command_matches(const char *word, const char *value) {
  const char *forms[] = {"", ".exe", "-orig", "-orig.exe"};
  for (const char *form : forms) {
    std::string name = std::string(value) + form;
    if (pre_path_equal(word, name.c_str()) || pre_path_equal(pre_file_part(word), name.c_str()))
      return true;
  }
  return false;
}

// Shortens a command word by the first rule that applies; false when none does.
bool shorten_command(std::string &word) {
  if (word.size() >= 5 && ends_with(word, ".exe")) {
    word.resize(word.size() - 4);
    return true;
  }
  if (word.size() > 5 && ends_with(word, "-orig")) {
    word.resize(word.size() - 5);
    return true;
  }
  std::size_t i = word.size();
  while (i > 0 && (std::isdigit(static_cast<unsigned char>(word[i - 1])) || word[i - 1] == '.')) i--;
  if (i < word.size() && i > 0 && word[i - 1] == '-') {
    word.resize(i - 1);
    return true;
  }
  return false;
}

// Cross and distribution names put a target in front of the tool's name
// (arm-linux-gnueabihf-gcc, x86_64-pc-linux-gnu-g++): the file part behind its last
// "-". False when the file part has none.
bool cut_target_prefix(std::string &word) {
  const char *part = pre_file_part(word.c_str());
  const char *dash = std::strrchr(part, '-');
  if (!dash || dash == part || dash[1] == '\0') return false;
  word = dash + 1;
  return true;
}

// The parameter list's kind of value handling.
enum param_kind { PK_PARAMS, PK_SEPARATE, PK_OPTIONAL, PK_LIST };

param_kind kind_of(const char *parameter) {
  if (std::strcmp(parameter, "PARAMS_SEPARATE") == 0) return PK_SEPARATE;
  if (std::strcmp(parameter, "PARAMS_OPTIONAL") == 0) return PK_OPTIONAL;
  if (std::strcmp(parameter, "PARAMS_LIST") == 0) return PK_LIST;
  return PK_PARAMS;
}

bool in_group(const char *group, char c) { return c != '\0' && std::strchr(group, c) != nullptr; }

// True if text ends in, or begins with, a character of the separator set.
bool ends_in_separator(const char *text, const char *separators) {
  std::size_t n = std::strlen(text);
  return n > 0 && std::strchr(separators, text[n - 1]) != nullptr;
}

bool begins_with_separator(const char *text, const char *separators) {
  return text[0] != '\0' && std::strchr(separators, text[0]) != nullptr;
}

// The symbol file is named after the first file word when its base name is "-".
void note_file_word(const char *word) {
  if (!g_run.symbol_file_name) return;
  char *base = pre_base_name(g_run.symbol_file_name);
  bool dash = std::strcmp(base, "-") == 0;
  std::free(base);
  if (!dash) return;
  char *dir = pre_dir_part(g_run.symbol_file_name);
  char *word_base = pre_base_name(word);
  std::string name = std::string(dir) + "MON-" + word_base;
  std::free(dir);
  std::free(word_base);
  std::free(g_run.symbol_file_name);
  g_run.symbol_file_name = pre_xstrdup(name.c_str());
}

arg_kind file_kind(const char *word) {
  struct ext_list {
    const char *parameter;
    arg_kind kind;
  };
  static const ext_list lists[] = {{"EXT_C", ARG_C},           {"EXT_CXX", ARG_CXX},
                                   {"EXT_OBJC", ARG_OBJC},     {"EXT_CSHARP", ARG_CSHARP},
                                   {"EXT_JAVA", ARG_JAVA},     {"EXT_OTHER", ARG_OTHER}};
  for (const ext_list &l : lists) {
    if (conf_each_value(l.parameter, [&](const char *v) {
          return std::strcmp(v, "%DEFAULT%") == 0 || pre_has_extension(word, v);
        }))
      return l.kind;
  }
  return ARG_OTHER;
}

void add_text(pre_list *list, const char *text) { pre_list_add(list, pre_xstrdup(text)); }

final_command *new_final(const char *command, bool is_link) {
  final_command *f = static_cast<final_command *>(pre_xmalloc(sizeof(final_command)));
  f->command = pre_xstrdup(command);
  f->args = pre_list_new(pre_list_text_equal);
  f->is_link = is_link;
  return f;
}

// GNU dependency output (-MD, -MMD) is written by the preprocess step here, whose output
// is a temporary file. The compiler names the file and its target after the output of
// the command: the object when compiling, the program when linking in one step. `named`
// is that output; the file is named after it unless -MF names it, the target is it
// unless -MT or -MQ give one.
void name_dependency_output(file_record *r, const std::string &named, const std::string &target) {
  bool wanted = false, file_given = false, target_given = false;
  for (pre_list_node *n = r->preproc_flags->head; n; n = n->next) {
    const char *w = static_cast<const char *>(n->item);
    if (std::strcmp(w, "-MD") == 0 || std::strcmp(w, "-MMD") == 0) wanted = true;
    // -Wp,-MD,FILE and -Wp,-MMD,FILE: the same, with the file named.
    if (std::strncmp(w, "-Wp,-MD,", 8) == 0 || std::strncmp(w, "-Wp,-MMD,", 9) == 0) wanted = file_given = true;
    if (std::strncmp(w, "-MF", 3) == 0) file_given = true;
    if (std::strncmp(w, "-MT", 3) == 0 || std::strncmp(w, "-MQ", 3) == 0) target_given = true;
  }
  if (!wanted) return;
  if (!file_given) {
    // The output's name with its extension (from the dot on) replaced.
    const char *o = named.c_str();
    std::string depfile(o, static_cast<std::size_t>(pre_extension(o) - o));
    add_text(r->preproc_flags, "-MF");
    add_text(r->preproc_flags, (depfile + ".d").c_str());
  }
  if (!target_given) {
    add_text(r->preproc_flags, "-MQ");
    add_text(r->preproc_flags, target.c_str());
  }
}

}  // namespace

// --- shared operations -----------------------------------------------------------------

const char *pre_find_optchars(char c) {
  if (c == '\0') return nullptr;
  const char *found = nullptr;
  conf_each_value("OPTCHARS", [&](const char *v) {
    if (std::strchr(v, c)) found = v;
    return found != nullptr;
  });
  return found;
}

bool pre_is_option(const char *word, const char *parameter) {
  const char *group = pre_find_optchars(word[0]);
  if (!group) return false;
  return conf_each_value(parameter,
                         [&](const char *v) { return in_group(group, v[0]) && std::strcmp(word + 1, v + 1) == 0; });
}

void pre_add_option(pre_list *list, const arg_node *arg) {
  if (!arg->values) {
    add_text(list, arg->text);
  } else if (arg->value_attached) {
    std::string joined = std::string(arg->text) + arg->values->text;
    add_text(list, joined.c_str());
  } else {
    add_text(list, arg->text);
    for (arg_value *v = arg->values; v; v = v->next) add_text(list, v->text);
  }
}

void pre_free_arg_chain(arg_node *chain) {
  while (chain) {
    arg_node *next = chain->next;
    free_node(chain);
    chain = next;
  }
}

void pre_free_file_record(file_record *r) {
  if (!r) return;
  std::free(r->source);
  std::free(r->object);
  std::free(r->command);
  pre_list_free_texts(r->preproc_flags);
  pre_list_free_texts(r->compile_flags);
  std::free(r);
}

void pre_free_final_command(final_command *f) {
  if (!f) return;
  std::free(f->command);
  pre_list_free_texts(f->args);
  std::free(f);
}

// --- block selection ---------------------------------------------------------------------

void pre_select_command_block(arg_node *command_arg) {
  if (!command_arg) command_line_error("compiler command is missing", "");
  std::string word = command_arg->text;
  std::string before_prefix;  // the word as it was before a target prefix was cut
  for (;;) {
    for (const char *name = conf_select_first(); name; name = conf_select_next())
      if (conf_each_value("COMMAND", [&](const char *v) { return command_matches(word.c_str(), v); })) return;
    std::string shorter = word;
    if (shorten_command(shorter)) {
      word = shorter;
      continue;
    }
    if (word[0] != '-' && before_prefix.empty() && cut_target_prefix(shorter)) {
      before_prefix = word;
      word = shorter;
      continue;
    }
    if (!before_prefix.empty()) word = before_prefix;
    command_line_error(word[0] == '-' ? "unknown option" : "unknown command", word.c_str());
  }
}

// --- option files ---------------------------------------------------------------------------

namespace {

// True if the word is an option of PARAMS with a longer name than the OPTFILE value.
bool longer_params_option(const char *word, std::size_t optfile_length) {
  const char *group = pre_find_optchars(word[0]);
  if (!group) return false;
  return conf_each_value("PARAMS", [&](const char *p) {
    std::size_t n = std::strlen(p);
    return in_group(group, p[0]) && std::strlen(word) >= n && std::strncmp(word + 1, p + 1, n - 1) == 0 &&
           n > optfile_length;
  });
}

// The option file a word names (with the word behind it when `two_words`), or none.
bool optfile_of(const arg_node *n, std::string &file, bool &two_words) {
  return conf_each_value("OPTFILE", [&](const char *v) {
    std::size_t len = std::strlen(v);
    if (std::strncmp(n->text, v, len) != 0) return false;
    if (n->text[len] == '\0') {
      if (!n->next) return false;
      file = n->next->text;
      two_words = true;
      return true;
    }
    if (longer_params_option(n->text, len)) return false;
    file = n->text + len;
    two_words = false;
    return true;
  });
}

}  // namespace

void pre_expand_optfiles(arg_node *command_arg) {
  if (!command_arg) return;
  // A file that names itself, directly or not, is read this many times at most.
  constexpr int EXPANSION_LIMIT = 1000;
  int expansions = 0;
  arg_node *prev = command_arg;
  while (prev->next) {
    arg_node *n = prev->next;
    std::string file, content;
    bool two_words = false;
    // The compiler keeps a word that names no readable file as it is, and so do we.
    if (!optfile_of(n, file, two_words) || expansions == EXPANSION_LIMIT ||
        !pre_read_whole_file(pre_unescape_quotes(file.c_str()).c_str(), &content)) {
      prev = n;
      continue;
    }
    expansions++;
    arg_node *after = two_words ? n->next->next : n->next;
    if (two_words) free_node(n->next);
    free_node(n);
    pre_list *texts = pre_list_new(pre_list_text_equal);
    pre_split_gnu_words(content.c_str(), texts);
    arg_node **tail = &prev->next;
    for (pre_list_node *t = texts->head; t; t = t->next) {
      arg_node *w = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
      *w = arg_node{ARG_OTHER, pre_escape_quotes(static_cast<const char *>(t->item)), nullptr, false, nullptr};
      *tail = w;
      tail = &w->next;
    }
    *tail = after;
    pre_list_free_texts(texts);
  }
}

// --- classification ----------------------------------------------------------------------

bool pre_match_param_option(arg_node *arg, const char *group, const char *value,
                            const char *parameter) {
  if (!in_group(group, value[0])) return false;
  std::size_t vlen = std::strlen(value);
  std::size_t wlen = std::strlen(arg->text);
  if (wlen < vlen || std::strncmp(arg->text + 1, value + 1, vlen - 1) != 0) return false;
  param_kind kind = kind_of(parameter);
  if (wlen > vlen) {
    if (kind == PK_SEPARATE || kind == PK_LIST) return false;
    add_value(arg, pre_xstrdup(arg->text + vlen));
    arg->value_attached = true;
    arg->text[vlen] = '\0';
    return true;
  }
  if (kind == PK_OPTIONAL) return true;
  if (!arg->next) command_line_error("argument missing for compiler option", value);
  arg->value_attached = false;
  const char *last = arg->next->text;
  std::string last_taken = last;
  take_next_as_value(arg);
  if (kind != PK_LIST) return true;
  const char *separators = conf_get("PARAMS_LIST_SEPARATOR");
  if (!*separators) {
    while (arg->next) take_next_as_value(arg);
    return true;
  }
  for (;;) {
    bool last_ends = ends_in_separator(last_taken.c_str(), separators);
    if (!arg->next) {
      if (last_ends) command_line_error("argument missing for compiler option", value);
      return true;
    }
    if (!last_ends && !begins_with_separator(arg->next->text, separators)) return true;
    last_taken = arg->next->text;
    take_next_as_value(arg);
  }
}

void pre_classify_args(arg_node *command_arg) {
  if (!command_arg) return;
  static const char *const param_lists[] = {"PARAMS", "PARAMS_SEPARATE", "PARAMS_OPTIONAL",
                                            "PARAMS_LIST"};
  const char *language = nullptr;  // the value of the language option in force
  for (arg_node *n = command_arg->next; n; n = n->next) {
    const char *group = pre_find_optchars(n->text[0]);
    if (group) {
      n->kind = ARG_OPTION;
      bool matched = false;
      for (const char *parameter : param_lists) {
        matched = conf_each_value(parameter, [&](const char *v) { return pre_match_param_option(n, group, v, parameter); });
        if (matched) break;
      }
      if (pre_is_option(n->text, "OPT_COMPILE_ONLY"))
        g_run.compile_only_arg = n;
      else if (pre_is_option(n->text, "OPT_COMP_OUT"))
        g_run.comp_out_arg = n;
      if (pre_is_language_option(n)) language = n->values->text;
      continue;
    }
    n->kind = pre_language_kind(language, file_kind(n->text));
    if (is_source_kind(n->kind) && pre_is_excluded(n->text)) {
      n->kind = ARG_OTHER;
      continue;
    }
    note_file_word(n->text);
  }
}

// --- the plan ---------------------------------------------------------------------------------

final_command *pre_plan_passthrough(arg_node *command_arg) {
  if (!command_arg) return nullptr;
  bool make = command_arg->next == nullptr;
  bool all_options = true;
  bool source = false;
  for (arg_node *n = command_arg->next; n; n = n->next) {
    bool option = pre_find_optchars(n->text[0]) != nullptr;
    if (option && pre_is_option(n->text, "OPT_NO_QUB")) {
      make = true;
      break;
    }
    if (!option) all_options = false;
  }
  if (all_options) make = true;
  if (!make) return nullptr;
  for (arg_node *n = command_arg->next; n; n = n->next)
    if (is_source_kind(n->kind)) source = true;
  const char *type = conf_get("TYPE");
  bool is_link = true;
  if (std::strcmp(type, "compiler") == 0)
    is_link = false;
  else if (std::strcmp(type, "compiler_linker") == 0)
    is_link = !(source || g_run.compile_only_arg);
  final_command *f = new_final(command_arg->text, is_link);
  for (arg_node *n = command_arg->next; n; n = n->next) pre_add_option(f->args, n);
  return f;
}

file_record *pre_make_file_record(arg_node *command_arg, arg_node *word, bool honour_out) {
  file_record *r = static_cast<file_record *>(pre_xmalloc(sizeof(file_record)));
  r->source = pre_xstrdup(word->text);
  r->object = nullptr;
  r->command = pre_xstrdup(command_arg->text);
  r->language = word->kind;
  r->preproc_flags = pre_list_new(pre_list_text_equal);
  r->compile_flags = pre_list_new(pre_list_text_equal);
  std::string link_out;  // the output that the object option names (the link's, when linking)
  for (arg_node *n = command_arg->next; n; n = n->next) {
    if (n->kind != ARG_OPTION) continue;
    if (pre_is_option(n->text, "OPT_COMPILE_ONLY")) continue;
    if (pre_is_option(n->text, "OPT_COMP_OUT")) {
      std::free(r->object);
      r->object = pre_xstrdup(n->values ? n->values->text : "");
      link_out = r->object;
      continue;
    }
    if (pre_is_option(n->text, "OPT_LINK_OUT") || pre_is_option(n->text, "OPT_NO_COMPILE")) continue;
    pre_add_option(r->compile_flags, n);
  }
  for (arg_node *n = command_arg->next; n; n = n->next) {
    if (n->kind != ARG_OPTION) continue;
    if (pre_is_option(n->text, "OPT_COMPILE_ONLY") || pre_is_option(n->text, "OPT_COMP_OUT") ||
        pre_is_option(n->text, "OPT_LINK_OUT") || pre_is_option(n->text, "OPT_NO_PREPROC"))
      continue;
    pre_add_option(r->preproc_flags, n);
  }
  // The object's name.
  const char *extension = conf_get("OBJECT_EXTENSION");
  char *source_base = pre_base_name(r->source);
  std::string default_object = source_base;
  if (*extension) default_object = default_object + "." + extension;
  std::free(source_base);
  if (r->object) {
    char *base = pre_base_name(r->object);
    bool directory = base[0] == '\0' || std::strcmp(base, "\"") == 0;
    std::free(base);
    if (directory) {
      std::string name = std::string(r->object) + default_object;
      std::free(r->object);
      r->object = pre_xstrdup(name.c_str());
    } else if (!(std::strcmp(conf_get("DIFF_COMP_AND_LINK_OPTS"), "ON") == 0 || honour_out)) {
      std::free(r->object);
      r->object = nullptr;
    }
  }
  if (!r->object && !honour_out) {
    // Compile and link: the compiler would leave no object behind, so the object is a
    // temporary file that the link reads.
    std::string tail = *extension ? std::string(".") + extension : std::string();
    char *suffix = pre_temp_suffix(r->source, tail.c_str());
    r->object = pre_temp_name(suffix, !g_run.keep_temp);
    std::free(suffix);
  }
  if (!r->object) r->object = pre_xstrdup(default_object.c_str());
  // The object option.
  std::string out_option;
  if (g_run.comp_out_arg) {
    out_option = g_run.comp_out_arg->text;
  } else {
    conf_each_value("OPT_COMP_OUT", [&](const char *v) {
      out_option = v;
      return true;
    });
  }
  if (!out_option.empty()) {
    if (pre_is_option(out_option.c_str(), "PARAMS_SEPARATE")) {
      add_text(r->compile_flags, out_option.c_str());
      add_text(r->compile_flags, r->object);
    } else {
      add_text(r->compile_flags, (out_option + r->object).c_str());
    }
  }
  // The compile-only option.
  if (g_run.compile_only_arg) {
    add_text(r->compile_flags, g_run.compile_only_arg->text);
  } else {
    const char *c = conf_get("OPT_COMPILE_ONLY");
    if (*c) add_text(r->compile_flags, c);
  }
  conf_each_value("OPT_ADD_COMPILE", [&](const char *v) { add_text(r->compile_flags, v); });
  conf_each_value("OPT_ADD_PREPROC", [&](const char *v) { add_text(r->preproc_flags, v); });
  // The language in which the compile step reads the instrumented text, last.
  const char *in_force = pre_language_before(command_arg, word);
  bool objcxx = in_force ? std::strcmp(in_force, "objective-c++") == 0
                         : pre_has_extension(r->source, "mm") || pre_has_extension(r->source, "M");
  if (const char *language = pre_compile_language(word->kind, objcxx)) {
    add_text(r->compile_flags, "-x");
    add_text(r->compile_flags, language);
  }
  if (honour_out)
    name_dependency_output(r, r->object, r->object);
  else if (!link_out.empty())
    name_dependency_output(r, link_out, link_out);
  else
    name_dependency_output(r, default_object, default_object);
  return r;
}

void pre_plan_command(pre_list *file_records, final_command **final, arg_node *command_arg) {
  *final = nullptr;
  if (!command_arg) return;
  std::size_t sources = 0, others = 0;
  for (arg_node *n = command_arg->next; n; n = n->next) {
    if (is_source_kind(n->kind)) sources++;
    if (n->kind == ARG_OTHER) others++;
    if (!g_run.two_comp && n->kind == ARG_OPTION && pre_is_option(n->text, "OPT_DO_2COMP"))
      g_run.two_comp = true;
  }
  const char *type = conf_get("TYPE");
  bool instrument = true, link = false, honour_out = true;
  if (std::strcmp(type, "compiler_linker") == 0 && !g_run.compile_only_arg) {
    link = true;
    honour_out = false;
  } else if (std::strcmp(type, "linker") == 0) {
    instrument = false;
    link = true;
    honour_out = false;
  }
  g_run.instrumenting = instrument && sources > 0;
  if (g_run.instrumenting) {
    for (arg_node *n = command_arg->next; n; n = n->next) {
      if (!is_source_kind(n->kind)) continue;
      file_record *r = pre_make_file_record(command_arg, n, honour_out);
      pre_list_add(file_records, r);
      n->kind = ARG_COMPILED;
      std::free(n->text);
      n->text = pre_xstrdup(r->object);
    }
  }
  if (!link && others == 0) return;
  final_command *f = new_final(command_arg->text, link);
  const char *language = nullptr;  // the value of the language option in force
  for (arg_node *n = command_arg->next; n; n = n->next) {
    if (pre_is_language_option(n)) language = std::strcmp(n->values->text, "none") ? n->values->text : nullptr;
    if (link) {
      if (n->kind == ARG_OPTION && pre_is_option(n->text, "OPT_NO_LINK")) {
        continue;
      }
      // A file that the link compiles itself (an excluded source, a header or assembler
      // source) keeps the language that the dropped option gave it.
      if (n->kind == ARG_OTHER && language && pre_is_option("-x", "OPT_NO_LINK")) {
        add_text(f->args, "-x");
        add_text(f->args, language);
        add_text(f->args, n->text);
        add_text(f->args, "-x");
        add_text(f->args, "none");
        continue;
      }
    } else if (n->kind != ARG_OPTION && n->kind != ARG_OTHER) {
      continue;
    }
    pre_add_option(f->args, n);
  }
  if (link) conf_each_value("LIBRARY", [&](const char *v) { add_text(f->args, v); });
  *final = f;
}
