// Placeholder option handling: -k and -v, then the command words.
#include "driver/options.h"

#include <cstdio>
#include <cstring>

#include "driver/run_state.h"

void pre_print_usage() { std::fputs("usage: qub [qub-options] comp/link-command comp/link-options-and-files\n", stdout); }

void pre_setup_arguments(int argc, char **argv) {
  arg_node **tail = &g_run.args;
  for (int i = 1; i < argc; i++) {
    arg_node *n = static_cast<arg_node *>(pre_xmalloc(sizeof(arg_node)));
    *n = arg_node{ARG_OTHER, pre_xstrdup(argv[i]), nullptr, false, nullptr};
    *tail = n;
    tail = &n->next;
  }
  g_run.current_arg = g_run.args;
  while (g_run.current_arg && g_run.current_arg->text[0] == '-') {
    if (std::strcmp(g_run.current_arg->text, "-k") == 0) g_run.keep_temp = true;
    if (std::strcmp(g_run.current_arg->text, "-v") == 0) g_run.verbose = true;
    g_run.current_arg = g_run.current_arg->next;
  }
  g_run.command_arg = g_run.current_arg;
}
