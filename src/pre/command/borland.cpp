// The Borland link path: the command's comma-separated fields are scanned, not analysed,
// and the LIBRARY values are entered at the beginning of the library field.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base.h"
#include "command/command.h"
#include "driver/options.h"
#include "command/tempfile.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"

namespace {

// A new word behind `after`.
void insert_word_after(arg_node *after, const char *text) {
  arg_node *n = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
  *n = arg_node{ARG_OTHER, pre_xstrdup(text), nullptr, false, after->next};
  after->next = n;
}

bool line_is(const char *at, const char *line) {
  std::size_t n = std::strlen(line);
  return std::strncmp(at, line, n) == 0 && at[n] == '\n';
}

}  // namespace

char *pre_borland_rewrite_rsp(std::uint32_t *fields, const char *name) {
  char *text = pre_read_text_file(name);
  std::size_t length = std::strlen(text);
  std::size_t i = 0;
  bool reached = false;
  while (i < length) {
    bool line_start = i == 0 || text[i - 1] == '\n';
    if (line_start && (line_is(text + i, "/v+") || line_is(text + i, "/ye+"))) {
      ++*fields;
      i = static_cast<std::size_t>(std::strchr(text + i, '\n') - text) + 1;
    } else if (text[i] == '+' && text[i + 1] == '\n') {
      i += 2;
      continue;
    } else {
      if (text[i] == ',' || text[i] == '\n') ++*fields;
      i++;
    }
    if (*fields >= 3) {
      reached = true;
      break;
    }
  }
  if (!reached || i >= length) {
    std::free(text);
    return nullptr;
  }
  std::string rewritten(text, i);
  conf_each_value("LIBRARY", [&](const char *v) { rewritten = rewritten + v + " "; });
  rewritten += text + i;
  std::free(text);
  char *out = pre_temp_name(nullptr, !g_run.keep_temp);
  pre_write_file(out, rewritten.data(), rewritten.size());
  return out;
}

bool pre_borland_scan_arg(arg_node *word, std::uint32_t *fields) {
  for (std::size_t i = 0; word->text[i]; i++) {
    char c = word->text[i];
    if (c == ',') {
      ++*fields;
      if (*fields != 3) continue;
      if (word->text[i + 1]) {
        insert_word_after(word, word->text + i + 1);
        word->text[i + 1] = '\0';
      }
      conf_each_value("LIBRARY", [&](const char *v) { insert_word_after(word, v); });
      return true;
    }
    if (c == '@') {
      std::size_t end = i + 1;
      while (word->text[end] && word->text[end] != ',') end++;
      std::string name(word->text + i + 1, end - i - 1);
      char *rewritten = pre_borland_rewrite_rsp(fields, name.c_str());
      if (rewritten) {
        char *q = pre_quote_if_needed(rewritten);
        std::string text = std::string(word->text, i + 1) + q + (word->text + end);
        std::free(q);
        std::free(rewritten);
        std::free(word->text);
        word->text = pre_xstrdup(text.c_str());
        return true;
      }
      i = end - 1;
    }
  }
  return false;
}

void pre_plan_borland(arg_node *command_arg, final_command **final) {
  *final = nullptr;
  if (!command_arg) return;
  std::uint32_t fields = 0;
  for (arg_node *n = command_arg->next; n; n = n->next)
    if (pre_borland_scan_arg(n, &fields)) break;
  final_command *f = static_cast<final_command *>(pre_xmalloc(sizeof(final_command)));
  f->command = pre_xstrdup(command_arg->text);
  f->args = pre_list_new(pre_list_text_equal);
  f->is_link = true;
  for (arg_node *n = command_arg->next; n; n = n->next) pre_list_add(f->args, pre_xstrdup(n->text));
  *final = f;
}
