// Command analysis and running tools: the words of a compile or link command become a
// plan of file records and a final command, and every child process is started here.
#ifndef QUB_COMMAND_COMMAND_H
#define QUB_COMMAND_COMMAND_H

#include <cstdint>
#include <string>

#include "driver/run_state.h"

// --- command analysis ------------------------------------------------------------
// Makes the block of the command word current, or ends the run with status 13.
void pre_select_command_block(arg_node *command_arg);
// Replaces the compiler's option-file words (OPTFILE) by the words of those files.
void pre_expand_optfiles(arg_node *command_arg);
// Sets kind, values and value_attached of every word behind the command; sets
// compile_only_arg and comp_out_arg; may rewrite symbol_file_name.
void pre_classify_args(arg_node *command_arg);
// A final command that runs the command unchanged, or none.
final_command *pre_plan_passthrough(arg_node *command_arg);
// One file record per source to instrument and at most one final command.
void pre_plan_command(pre_list *file_records, final_command **final, arg_node *command_arg);
// The file record of one source word.
file_record *pre_make_file_record(arg_node *command_arg, arg_node *word, bool honour_out);

// The first value of OPTCHARS that holds the character, or none.
const char *pre_find_optchars(char c);
// True if the word equals a value of the parameter, the first characters being
// interchangeable within the word's option group.
bool pre_is_option(const char *word, const char *parameter);
// Adds an option word with its values to a list of texts.
void pre_add_option(pre_list *list, const arg_node *arg);
// Tries one value of PARAMS, PARAMS_SEPARATE, PARAMS_OPTIONAL or PARAMS_LIST on the
// word; on a match sets its values (taking following words out of the chain).
bool pre_match_param_option(arg_node *arg, const char *group, const char *value,
                            const char *parameter);

// Frees a word chain with its values.
void pre_free_arg_chain(arg_node *chain);
void pre_free_file_record(file_record *record);
void pre_free_final_command(final_command *final);

// --- running tools ----------------------------------------------------------------
// Words of the chain carry the escape of their double quotes that the option loop
// adds (each quote gets a backslash, the backslashes in front of it doubled), as a
// program's command-line parser expects it. This undoes it: an odd run of 2n+1
// backslashes in front of a quote becomes n backslashes; all else stays.
std::string pre_unescape_quotes(const char *word);
// The word, unescaped, in the form that reaches a program unchanged through the
// command interpreter (single quotes where needed); a new text.
char *pre_quote_if_needed(const char *word);
// The word, unescaped, in the form of a GNU response file (backslash escapes, quotes
// group); a new text.
char *pre_quote_for_rsp(const char *word);
// The chain's form of a word as a program received it: each double quote gets a
// backslash, the backslashes directly in front of it doubled. A new text.
char *pre_escape_quotes(const char *word);
// Splits the text of a GNU response file into words: white space separates, single
// and double quotes group, a backslash takes the next character as it is (also inside
// quotes). Each word is added to `words` as a new text.
void pre_split_gnu_words(const char *text, pre_list *words);
// Reads a whole file as it stands; false when it cannot be read.
bool pre_read_whole_file(const char *path, std::string *content);
// All items through pre_quote_if_needed, joined by one blank; a new text.
char *pre_join_flags(pre_list *list);
// Splits a command text into words by POSIX shell quoting, with no expansion.
// Returns false for an unclosed quote.
bool pre_split_shell_words(const char *text, pre_list *words);
// Starts a command and waits for it; true on success. On failure the message
// arguments hold ": 0x<code>" and "", or ": " and the system's error text.
bool pre_run_command(const char *text, bool force_shell);

void pre_run_preproc(const char *source, const char *result, const char *command,
                     const char *templ, pre_list *flags);
void pre_run_compile(const char *file, const char *command, pre_list *flags);
void pre_run_final(const char *command, pre_list *args, bool is_link);
void pre_run_hook(const char *hook, const char *command, const char *source, const char *result);
void pre_run_before_all(const char *hook);
void pre_after_before_all(const char *ret_name);
void pre_run_user_command();

// The command line of the compile step, with a response file when it is too long;
// a new text. The same for the final command (file none).
char *pre_compose_command(const char *command, pre_list *flags, const char *file);

// The Borland link path: all words to the final command, LIBRARY in the library field.
void pre_plan_borland(arg_node *command_arg, final_command **final);
bool pre_borland_scan_arg(arg_node *word, std::uint32_t *fields);
char *pre_borland_rewrite_rsp(std::uint32_t *fields, const char *name);

// Limits read from MAX_CMDLINE_LENGTH at first use; tests reset them.
std::uint64_t pre_direct_start_limit();
std::uint64_t pre_response_limit();
void pre_reset_command_limits();

// --- settings log --------------------------------------------------------------------
// The first section: default files, global parameters, options, the command.
void pre_dump_config_first(arg_node *command_arg);
// The second section: every command-specific parameter; closes the log.
void pre_dump_config_second();
// One parameter line: "- NAME=v1,v2".
void pre_dump_parameter(const char *name, bool multi);

#endif
