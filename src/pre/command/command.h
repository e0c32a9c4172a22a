// Command analysis and running tools.
#ifndef QUB_COMMAND_COMMAND_H
#define QUB_COMMAND_COMMAND_H

#include "driver/run_state.h"

// --- command analysis ------------------------------------------------------------
void pre_select_command_block(arg_node *command_arg);
void pre_expand_optfiles(arg_node *command_arg);
void pre_classify_args(arg_node *command_arg);
final_command *pre_plan_passthrough(arg_node *command_arg);
void pre_plan_command(pre_list *file_records, final_command **final, arg_node *command_arg);

// --- running tools ----------------------------------------------------------------
// Quotes a word for the command interpreter when it needs it; returns a new text.
char *pre_quote_if_needed(const char *word);
void pre_run_preproc(const char *source, const char *result, const char *command,
                     const char *templ, pre_list *flags);
void pre_run_compile(const char *file, const char *command, pre_list *flags);
void pre_run_final(const char *command, pre_list *args, bool is_link);
void pre_run_hook(const char *hook, const char *command, const char *source, const char *result);
void pre_run_before_all(const char *hook);
void pre_run_user_command();

#endif
