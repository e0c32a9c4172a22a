// main and its phases, the file loop and the per-file pipeline.
#include "driver/pipeline.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/base.h"
#include "base/version.h"
#include "command/command.h"
#include "command/language.h"
#include "command/signals.h"
#include "command/tempfile.h"
#include "config/config.h"
#include "driver/options.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "platform/platform.h"
#include "prepath/prepath.h"
#include "preerror/preerror.h"
#include "preparse/analyse.h"
#include "preparse/keywords.h"
#include "preparse/token.h"
#include "symbol/names.h"
#include "symbol/symbol.h"

namespace {

void out_of_memory() { pre_fatal(STATUS_OUT_OF_MEMORY); }

const char *RULE = "*****************************************************************************\n";
const char *EMPTY_BOX = "*                                                                           *\n";

void free_args() {
  pre_free_arg_chain(g_run.args);
  g_run.args = g_run.current_arg = g_run.last_option_arg = g_run.command_arg = nullptr;
  g_run.compile_only_arg = g_run.comp_out_arg = nullptr;
}

}  // namespace

void pre_print_banner() {
  char line[256];
  std::fputs(RULE, stderr);
  std::snprintf(line, sizeof line, "*           QUB++, Test Coverage Analyzer for C/C++, Version %-14s *\n",
                PRE_VERSION_TEXT);
  std::fputs(line, stderr);
  std::fputs(EMPTY_BOX, stderr);
  std::fputs("*                             THE PREPROCESSOR                              *\n", stderr);
  std::fputs(EMPTY_BOX, stderr);
  std::fputs("*    Source-instrumenting coverage for C and C++ builds.                    *\n", stderr);
  std::fputs("*    Function, decision and multicondition coverage, and timing.            *\n", stderr);
  std::fputs(RULE, stderr);
  std::fputs("\n", stderr);
}

int pre_main(int argc, char **argv) {
  pre_install_failure_handler();
  pre_install_stop_handlers();
  std::set_new_handler(out_of_memory);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  pre_run_state_reset();
  pre_path_cache_create();
  pre_setup_arguments(argc, argv);
  if (g_run.show_settings) pre_print_banner();
  pre_load_configuration(g_run.conf_file_list, g_run.show_settings);
  pre_analyse_command();
  pre_process_all();
  pre_path_cache_destroy();
  return 0;
}

void pre_analyse_command() {
  arg_node *command = g_run.current_arg;
  g_run.command_arg = command;
  if (g_run.dump_config) pre_dump_config_first(command);
  if (!command && g_run.show_settings) std::exit(0);
  if (command) {
    char *joined = nullptr;
    for (arg_node *n = command; n; n = n->next) {
      char *q = pre_quote_if_needed(n->text);
      if (joined) pre_str_append(&joined, " ");
      pre_str_append(&joined, q);
      std::free(q);
    }
    g_run.user_command = joined;
  }
  g_run.file_records = pre_list_new(nullptr);
  g_run.final = nullptr;
  if (!command) {
    pre_set_message_args("compiler command is missing", "");
    pre_fatal(STATUS_BAD_COMMAND_LINE);
  }
  pre_select_command_block(command);
  conf_apply_pending_overrides();
  conf_validate();
  conf_each_value("RUN_BEFORE_ALL", [](const char *v) { pre_run_before_all(v); });
  if (g_run.dump_config) pre_dump_config_second();
  if (std::strcmp(conf_get("TYPE"), "borland_linker") == 0) {
    pre_plan_borland(command, &g_run.final);
    free_args();
    return;
  }
  pre_expand_optfiles(command);
  pre_classify_args(command);
  final_command *pass = pre_plan_passthrough(command);
  if (pass) {
    g_run.final = pass;
  } else {
    pre_plan_command(g_run.file_records, &g_run.final, command);
    if (g_run.two_comp && g_run.instrumenting) pre_run_user_command();
  }
  free_args();
}

void pre_process_all() {
  if (g_run.instrumenting) pre_symbol_prepare();
  for (void *r = pre_list_first(g_run.file_records); r; r = pre_list_next(g_run.file_records)) {
    g_run.current_record = static_cast<file_record *>(r);
    pre_name_clear();
    pre_process_file();
  }
  g_run.current_record = nullptr;
  if (g_run.final) pre_run_final(g_run.final->command, g_run.final->args, g_run.final->is_link);
}

void pre_process_file() {
  file_record *rec = g_run.current_record;
  char *pre_tail = pre_temp_suffix(rec->source, ".i");
  char *instr_tail = pre_instrumented_tail(rec);
  char *preprocessed = pre_temp_name(pre_tail, !g_run.keep_temp);
  char *instrumented = pre_temp_private_name(instr_tail + 1, !g_run.keep_temp);
  std::free(pre_tail);
  std::free(instr_tail);
  if (g_run.verbose) std::fprintf(stderr, "qub: processing file %s\n", rec->source);
  char *source_id = pre_source_id(rec->source);
  pre_set_language(rec->language);
  const char *param = rec->language == LANG_C ? "PREPROC_C" : "PREPROC_CXX";
  const char *templ = conf_get(param);
  pre_status status = STATUS_OK;
  if (!*templ) {
    pre_set_message_args(param, "");
    status = STATUS_MISSING_DEFINITION;
  } else {
    pre_run_preproc(rec->source, preprocessed, rec->command, templ, rec->preproc_flags);
    conf_each_value("RUN_AFTER_CPP",
                    [&](const char *v) { pre_run_hook(v, rec->command, rec->source, preprocessed); });
    pre_symbol_begin_file(source_id);
    pre_begin_instrumented_file(instrumented);
    status = pre_analyse_file(preprocessed, rec->source);
    if (status == STATUS_OK) {
      pre_symbol_commit(source_id, line_number - 1);
      pre_finish_instrumented_file(source_id);
    }
  }
  std::free(source_id);
  if (status != STATUS_OK) pre_fatal(status);
  conf_each_value("RUN_AFTER_INSTR",
                  [&](const char *v) { pre_run_hook(v, rec->command, rec->source, instrumented); });
  if (!g_run.no_comp) {
    pre_run_compile(instrumented, rec->command, rec->compile_flags);
    conf_each_value("RUN_AFTER_COMP",
                    [&](const char *v) { pre_run_hook(v, rec->command, rec->source, instrumented); });
  }
  std::free(preprocessed);
  std::free(instrumented);
}

pre_status pre_instrument_preprocessed(const char *preprocessed_path, const char *source_name,
                                       const char *output_path) {
  g_writer.source_name = source_name;
  pre_symbol_begin_file(source_name);
  pre_begin_instrumented_file(output_path);
  pre_status status = pre_analyse_file(preprocessed_path, source_name);
  if (status == STATUS_OK) {
    pre_symbol_commit(source_name, line_number - 1);
    pre_finish_instrumented_file(source_name);
  }
  return status;
}
