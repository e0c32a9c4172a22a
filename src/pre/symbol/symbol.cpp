// Placeholder: descriptions are dropped until the symbol file is written.
#include "symbol/symbol.h"

#include "driver/run_state.h"

void pre_symbol_prepare() {}
void pre_symbol_begin_file(const char *) {}
void pre_symbol_record(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                       const char *) {}
void pre_symbol_commit(const char *, std::uint32_t) {}
void pre_symbol_unlock() {}
long long pre_symbol_time_stamp() { return 0; }
unsigned long pre_symbol_fingerprint() { return 0; }
const char *pre_symbol_data_file_name() { return "MON.dat"; }
const char *pre_symbol_monitor_name() { return g_run.symbol_file_name ? g_run.symbol_file_name : "MON"; }
