// The report in memory: the records of the symbol file joined with the counters, as
// functions, items and multiconditions, with measures per function, file, directory
// and in total. Every output format is written from this.
#ifndef QUB_REPORT_REPORT_H
#define QUB_REPORT_REPORT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "counts.h"
#include "mcdc.h"
#include "symbol/symfile_read.h"

enum report_measure_id {
  MEASURE_FUNCTION = 0,
  MEASURE_DECISION,
  MEASURE_MULTICONDITION,
  MEASURE_MCDC_UNIQUE,
  MEASURE_MCDC_MASKING,
  MEASURE_COUNT
};

// Names used on the command line and in the JSON output.
extern const char *const report_measure_names[MEASURE_COUNT];
// Headings used in the text and HTML output.
extern const char *const report_measure_titles[MEASURE_COUNT];

struct report_measure {
  std::uint64_t covered = 0;
  std::uint64_t total = 0;
};

struct report_measures {
  report_measure m[MEASURE_COUNT];
  std::uint64_t time = 0;  // total time of the functions, where timing was on
  bool timed = false;
};

void report_add(report_measures *into, const report_measures &from);
// Percentage with one decimal as text ("75.0"), "-" when the total is 0; never rounds
// up to 100.0 unless all is covered.
std::string report_percent(const report_measure &m);
double report_ratio(const report_measure &m);

// What an item is, by the array its record counts in.
enum report_item_class {
  ITEM_DECISION,           // a decision with two outcomes (TF)
  ITEM_CONSTANT_DECISION,  // a decision with a constant condition: one outcome, evaluated
  ITEM_PROBE,              // a jump-like probe: reached or not (J)
  ITEM_COUNT_PRAGMA,       // a count pragma: a count, no coverage item
  ITEM_MULTICONDITION,     // a decision or expression of several conditions (C)
};

struct report_item {
  std::uint32_t kind = 0;  // record kind
  report_item_class item_class = ITEM_PROBE;
  std::uint32_t file = 0;
  std::uint32_t line = 0;
  std::string_view text;
  std::int32_t function = -1;  // index in report::functions, -1 outside functions
  std::uint32_t module = 0;    // index in report::modules
  std::int32_t multi = -1;     // ITEM_MULTICONDITION: index in report::multis
  std::uint64_t count = 0;     // probes: times reached; decisions: times evaluated
  std::uint64_t true_count = 0, false_count = 0;
  std::uint32_t order = 0;  // position among the records, for a stable source order
};

struct report_path {
  std::uint32_t number = 0;
  bool outcome = false;
  std::string_view text;
  std::uint64_t count = 0;
};

struct report_condition {
  std::string_view text;
  mcdc_verdict verdict[2];  // by mcdc_rule
};

struct report_multi {
  std::uint32_t item = 0;
  std::uint32_t base = 0;
  bool in_mcdc = true;     // has conditions to show
  bool shape_known = false;
  std::vector<report_path> paths;  // by path number
  std::vector<report_condition> conditions;
};

struct report_function {
  std::string_view name;
  std::string_view parameters;
  std::uint32_t file = 0;
  std::uint32_t line = 0;
  std::uint32_t module = 0;
  std::uint64_t entered = 0;
  std::uint64_t time = 0;
  bool timed = false;
  std::vector<std::uint32_t> items;  // in source order
  report_measures measures;
};

struct report_file {
  std::string path;     // absolute
  std::string display;  // as shown: relative to the base directory where possible
  std::string directory;  // display form of its directory ("." for the base)
  std::vector<std::uint32_t> functions;  // in source order
  std::vector<std::uint32_t> items;      // in source order, also those outside functions
  report_measures measures;
};

struct report_directory {
  std::string display;
  std::vector<std::uint32_t> files;
  report_measures measures;
};

// One module of the symbol file and what became of its counters.
enum report_module_state {
  MODULE_MATCHED,      // counters found and used
  MODULE_NOT_RUN,      // no counters: it never ran (counted as 0)
  MODULE_MISMATCHED,   // counters of another build only: left out, counted as 0
};

struct report_module {
  std::string source_id;
  report_module_state state = MODULE_NOT_RUN;
  std::uint32_t mode_bits = 0;
};

struct report_message {
  int number = 0;
  std::string text;
};

struct report {
  std::vector<report_file> files;          // sorted by display name
  std::vector<report_directory> directories;  // sorted by display name
  std::vector<report_function> functions;
  std::vector<report_item> items;
  std::vector<report_multi> multis;
  std::vector<report_module> modules;
  report_measures total;
  std::vector<std::string> testcases;  // those reported
  std::string time_unit;
  std::vector<report_message> warnings;
};

struct report_options {
  std::string base_directory;  // relative names are taken from here; shown relative to it
  std::vector<std::string> filters;   // files to keep (wildcards); all when empty
  std::vector<std::string> excludes;  // files to leave out
};

// Joins the symbol file with the counters of the selected modules. The report keeps
// views into sym: it must outlive the report.
void report_build(const symfile &sym, const std::vector<counts_module> &counts, const report_options &options,
                  report *out);

// Adds what an item contributes to each measure, under the mode bits of its module.
void report_item_measures(const report &r, const report_item &item, std::uint32_t mode_bits, report_measures *into);

// A short name of what a record kind stands for ("if", "case", "return", ...).
std::string report_kind_name(std::uint32_t kind);

#endif
