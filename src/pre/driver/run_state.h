// The process-wide record of what the options and the command analysis settled,
// and the records that describe the command's words and the plan made from them.
#ifndef QUB_DRIVER_RUN_STATE_H
#define QUB_DRIVER_RUN_STATE_H

#include <cstdint>

#include "base/base.h"

enum arg_kind : std::uint32_t {
  ARG_OPTION = 0,
  ARG_C = 1,
  ARG_CXX = 2,
  ARG_OBJC = 3,
  ARG_CSHARP = 4,
  ARG_JAVA = 5,
  ARG_COMPILED = 6,
  ARG_OTHER = 7,
};

struct arg_value {
  char *text;
  arg_value *next;
};

// One word of the command line or of an expanded option file.
struct arg_node {
  arg_kind kind;
  char *text;
  arg_value *values;
  bool value_attached;
  arg_node *next;
};

// One source to instrument.
struct file_record {
  char *source;
  char *object;
  char *command;
  std::uint32_t language;  // 1 C, 2 C++, 3 Objective-C, 4 C#, 5 Java
  pre_list *preproc_flags;  // texts, owned
  pre_list *compile_flags;  // texts, owned
};

// The command run after all files.
struct final_command {
  char *command;
  pre_list *args;  // texts, owned
  bool is_link;
};

struct run_state {
  bool keep_temp = false;
  bool verbose = false;
  bool show_settings = false;
  bool no_templates = false;
  bool two_comp = false;
  bool no_comp = false;
  bool no_warnings = false;
  bool dump_config = false;
  bool instrument_function = true;
  bool instrument_decision = true;
  bool instrument_multicondition = false;
  bool instrument_inclusive_timing = false;
  bool instrument_exclusive_timing = false;
  char *symbol_file_name = nullptr;       // "MON" unless -n or the command says otherwise
  char *conf_file_list = nullptr;         // ';'-joined -c files, or none
  pre_list *pending_overrides = nullptr;  // -C texts not yet applied
  char *opts_env = nullptr;               // "QUBOPTS=..." rebuilt from the options seen
  arg_node *args = nullptr;
  arg_node *current_arg = nullptr;
  arg_node *last_option_arg = nullptr;
  arg_node *command_arg = nullptr;
  char *user_command = nullptr;
  arg_node *compile_only_arg = nullptr;
  arg_node *comp_out_arg = nullptr;
  pre_list *file_records = nullptr;       // file_record*, in command order
  final_command *final = nullptr;
  bool instrumenting = false;
  file_record *current_record = nullptr;  // the record pre_process_file works on
};

extern run_state g_run;

// Puts the record back to its start values (tests use this between cases).
void pre_run_state_reset();

#endif
