// Placeholder command handling: nothing is instrumented and no tool runs.
#include "command/command.h"

#include "base/base.h"

void pre_select_command_block(arg_node *) {}
void pre_expand_optfiles(arg_node *) {}
void pre_classify_args(arg_node *) {}
final_command *pre_plan_passthrough(arg_node *) { return nullptr; }
void pre_plan_command(pre_list *, final_command **, arg_node *) {}
char *pre_quote_if_needed(const char *word) { return pre_xstrdup(word); }
void pre_run_preproc(const char *, const char *, const char *, const char *, pre_list *) {}
void pre_run_compile(const char *, const char *, pre_list *) {}
void pre_run_final(const char *, pre_list *, bool) {}
void pre_run_hook(const char *, const char *, const char *, const char *) {}
void pre_run_before_all(const char *) {}
void pre_run_user_command() {}
