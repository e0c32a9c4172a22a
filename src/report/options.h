// The command line of qub-report.
#ifndef QUB_REPORT_OPTIONS_H
#define QUB_REPORT_OPTIONS_H

#include <string>
#include <vector>

enum report_format { FORMAT_TEXT, FORMAT_HTML, FORMAT_JSON, FORMAT_LCOV, FORMAT_COBERTURA };

struct fail_bound {
  int measure = 0;       // report_measure_id
  double percent = 0.0;  // 0 to 100
  std::string text;      // as given
};

struct report_command {
  std::string symbol_file = "MON.sym";
  std::vector<std::string> data_files;  // none given: MON.dat beside the symbol file
  bool data_files_given = false;
  report_format format = FORMAT_TEXT;
  std::string output;  // empty: standard output (text formats) or qub-html (HTML)
  std::vector<fail_bound> fail_under;
  std::vector<std::string> testcases;
  bool per_testcase = false;
  bool summary_only = false;
  bool list_testcases = false;
  std::vector<std::string> filters;
  std::vector<std::string> excludes;
  std::string base_directory;  // empty: the symbol file's directory
  bool help = false;
  bool version = false;
};

// Parses the arguments behind the program name. False with a message on a bad one.
bool options_parse(const std::vector<std::string> &args, report_command *command, std::string *message);

// The text of --help.
const char *options_usage();

#endif
