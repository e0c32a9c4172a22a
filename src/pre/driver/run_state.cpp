#include "driver/run_state.h"

run_state g_run;

void pre_run_state_reset() {
  g_run = run_state();
  g_run.symbol_file_name = pre_xstrdup("MON");
  g_run.opts_env = pre_xstrdup("QUBOPTS=");
}
