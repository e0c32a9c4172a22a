// The settings log of -dump-config: what this run was told, in two sections.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

#include "base/base.h"
#include "command/command.h"
#include "driver/options.h"
#include "config/config.h"
#include "driver/run_state.h"
#include "preerror/preerror.h"

namespace {

bool is_multi(const char *name) {
  for (std::size_t i = 0; i < conf_param_count(); i++)
    if (std::strcmp(conf_param_name(i), name) == 0) return conf_param_is_multi(i);
  return false;
}

void list_if_readable(const std::string &path) {
  std::FILE *f = std::fopen(path.c_str(), "r");
  if (!f) return;
  std::fclose(f);
  pre_log_text("- ");
  pre_log_line(path.c_str());
}

void open_log() {
  if (!pre_log_open("qub")) {
    pre_set_message_args(pre_log_name(), "");
    pre_fatal(STATUS_OPEN_FAILED);
  }
}

}  // namespace

void pre_dump_parameter(const char *name, bool multi) {
  pre_log_text("- ");
  pre_log_text(name);
  pre_log_text("=");
  conf_iter it = nullptr;
  const char *v = conf_first(name, &it);
  if (v) {
    pre_log_text(v);
    if (multi)
      for (v = conf_next(&it); v; v = conf_next(&it)) {
        pre_log_text(",");
        pre_log_text(v);
      }
  }
  pre_log_newline();
}

void pre_dump_config_first(arg_node *command_arg) {
  open_log();
  pre_log_line("Morvaine QUB++ (preprocessor) log of instrumentation settings");
  pre_log_line("-------------------------------------------------------------");
  pre_log_newline();
  pre_log_text("Date: ");
  pre_log_text(pre_log_date());
  pre_log_newline();
  char cwd[4096];
  pre_log_text("Current directory: ");
  pre_log_text(getcwd(cwd, sizeof cwd) ? cwd : "");
  pre_log_newline();
  pre_log_newline();
  pre_log_line("Used default configuration files:");
  if (const char *home = std::getenv("QUBHOME")) list_if_readable(std::string(home) + "/qub.ini");
  if (const char *init = std::getenv("QUBINIT")) {
    std::string list = init;
    std::size_t start = 0;
    for (;;) {
      std::size_t end = list.find(';', start);
      list_if_readable(list.substr(start, end == std::string::npos ? std::string::npos : end - start));
      if (end == std::string::npos) break;
      start = end + 1;
    }
  }
  list_if_readable("./qub.ini");
  pre_log_newline();
  pre_log_line("Global configuration parameters:");
  for (const char *name : {"TIMER", "TICK", "EXECUTION_COST_TYPE", "WARNING_LEVEL"})
    pre_dump_parameter(name, is_multi(name));
  pre_log_newline();
  pre_log_text("Used qub options: ");
  const char *opts = std::getenv("QUBOPTS");
  pre_log_text(opts ? opts : "");
  pre_log_newline();
  pre_log_newline();
  if (command_arg) {
    pre_log_text("Used command: ");
    for (arg_node *n = command_arg; n; n = n->next) {
      pre_log_text(n->text);
      pre_log_text(" ");
    }
    pre_log_newline();
    pre_log_newline();
  } else {
    pre_log_line("Used command : N.A.");
    pre_log_newline();
    pre_log_line("End of -dump-config log.");
    pre_log_close();
  }
}

void pre_dump_config_second() {
  if (!pre_log_is_open()) return;
  pre_log_line("Command specific configuration settings:");
  bool in_range = false;
  for (std::size_t i = 0; i < conf_param_count(); i++) {
    const char *name = conf_param_name(i);
    if (std::strcmp(name, "COMMAND") == 0) in_range = true;
    if (in_range) pre_dump_parameter(name, conf_param_is_multi(i));
    if (std::strcmp(name, "MAX_CMDLINE_LENGTH") == 0) break;
  }
  pre_log_newline();
  pre_log_line("End of -dump-config log.");
  pre_log_close();
}
