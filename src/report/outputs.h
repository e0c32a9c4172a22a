// The output formats. Each writes the whole report; none changes it.
#ifndef QUB_REPORT_OUTPUTS_H
#define QUB_REPORT_OUTPUTS_H

#include <string>
#include <vector>

#include "report.h"

struct output_context {
  std::string symbol_file;              // as named on the command line
  std::vector<std::string> data_files;  // as named on the command line
  std::string version;
  std::string base_directory;  // absolute; file names are shown relative to it
  long long time_stamp = 0;  // newest time stamp of the described sources (seconds)
};

// The text report: a summary table, then what each function did not cover.
std::string output_text(const report &r, const output_context &ctx);
// The summary table alone.
std::string output_text_summary(const report &r);

std::string output_json(const report &r, const output_context &ctx);
std::string output_lcov(const report &r, const output_context &ctx);
std::string output_cobertura(const report &r, const output_context &ctx);

// Writes the HTML site into directory (made if missing): index.html, a page per file
// and the style sheet. False with a message on failure.
bool output_html(const report &r, const output_context &ctx, const std::string &directory, std::string *message);

// Hits per source line of a file for the line-oriented formats: the line of each
// function start and item, with the largest count of one module there, summed over
// modules. Sorted by line.
struct output_line {
  std::uint32_t line = 0;
  std::uint64_t hits = 0;
  std::uint32_t outcomes = 0, covered = 0;  // decision outcomes at the line
};
std::vector<output_line> output_lines_of(const report &r, const report_file &f);

// The outcomes of an item that the decision measure counts, with the count of each:
// a decision's true and false, a constant decision's evaluation, a probe's reach.
std::vector<std::uint64_t> output_outcomes(const report_item &item);

#endif
