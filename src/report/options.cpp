// Parsing the command line: short and long options, "--opt=value" or "--opt value".
#include "options.h"

#include <cstdlib>
#include <cstring>

#include "report.h"

namespace {

struct option_spec {
  const char *long_name;
  char short_name;
  bool takes_value;
};

const option_spec OPTIONS[] = {
    {"symbol-file", 's', true}, {"data-file", 'd', true}, {"format", 'f', true},   {"output", 'o', true},
    {"fail-under", 0, true},    {"testcase", 't', true},  {"filter", 0, true},     {"exclude", 0, true},
    {"base", 0, true},          {"per-testcase", 0, false}, {"list-testcases", 0, false}, {"summary", 0, false},
    {"help", 'h', false},       {"version", 'V', false},
};

bool parse_bound(const std::string &value, fail_bound *bound, std::string *message) {
  std::size_t eq = value.find('=');
  if (eq == std::string::npos) {
    *message = "--fail-under needs MEASURE=PERCENT, not \"" + value + "\"";
    return false;
  }
  std::string name = value.substr(0, eq), number = value.substr(eq + 1);
  bound->measure = -1;
  for (int k = 0; k < MEASURE_COUNT; k++)
    if (name == report_measure_names[k]) bound->measure = k;
  if (bound->measure < 0) {
    *message = "--fail-under: unknown measure \"" + name +
               "\" (function, decision, multicondition, mcdc or mcdc-masking)";
    return false;
  }
  if (!number.empty() && number.back() == '%') number.pop_back();
  char *end = nullptr;
  double percent = number.empty() ? -1 : std::strtod(number.c_str(), &end);
  if (number.empty() || *end != '\0' || !(percent >= 0 && percent <= 100)) {
    *message = "--fail-under: \"" + value.substr(eq + 1) + "\" is not a percentage from 0 to 100";
    return false;
  }
  bound->percent = percent;
  bound->text = value;
  return true;
}

bool apply(const option_spec &spec, const std::string &value, report_command *c, std::string *message) {
  std::string name = spec.long_name;
  if (name == "symbol-file") {
    c->symbol_file = value;
  } else if (name == "data-file") {
    c->data_files.push_back(value);
    c->data_files_given = true;
  } else if (name == "format") {
    static const char *const names[] = {"text", "html", "json", "lcov", "cobertura"};
    for (int k = 0; k < 5; k++)
      if (value == names[k]) {
        c->format = static_cast<report_format>(k);
        return true;
      }
    *message = "--format: unknown format \"" + value + "\" (text, html, json, lcov or cobertura)";
    return false;
  } else if (name == "output") {
    c->output = value;
  } else if (name == "fail-under") {
    fail_bound bound;
    if (!parse_bound(value, &bound, message)) return false;
    c->fail_under.push_back(bound);
  } else if (name == "testcase") {
    c->testcases.push_back(value);
  } else if (name == "filter") {
    c->filters.push_back(value);
  } else if (name == "exclude") {
    c->excludes.push_back(value);
  } else if (name == "base") {
    c->base_directory = value;
  } else if (name == "per-testcase") {
    c->per_testcase = true;
  } else if (name == "summary") {
    c->summary_only = true;
  } else if (name == "list-testcases") {
    c->list_testcases = true;
  } else if (name == "help") {
    c->help = true;
  } else if (name == "version") {
    c->version = true;
  }
  return true;
}

}  // namespace

bool options_parse(const std::vector<std::string> &args, report_command *command, std::string *message) {
  bool options_done = false;
  for (std::size_t i = 0; i < args.size(); i++) {
    const std::string &arg = args[i];
    if (options_done || arg.size() < 2 || arg[0] != '-') {
      command->data_files.push_back(arg);
      command->data_files_given = true;
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    const option_spec *spec = nullptr;
    std::string value;
    bool has_value = false;
    if (arg[1] == '-') {
      std::string name = arg.substr(2);
      std::size_t eq = name.find('=');
      if (eq != std::string::npos) {
        value = name.substr(eq + 1);
        name = name.substr(0, eq);
        has_value = true;
      }
      for (const option_spec &o : OPTIONS)
        if (name == o.long_name) spec = &o;
    } else {
      for (const option_spec &o : OPTIONS)
        if (o.short_name && arg[1] == o.short_name) spec = &o;
      if (spec && arg.size() > 2) {
        if (!spec->takes_value) spec = nullptr;
        else {
          value = arg.substr(2);
          has_value = true;
        }
      }
    }
    if (!spec) {
      *message = "unknown option " + arg + " (see qub-report --help)";
      return false;
    }
    if (spec->takes_value && !has_value) {
      if (i + 1 >= args.size()) {
        *message = "option " + arg + " needs a value";
        return false;
      }
      value = args[++i];
    } else if (!spec->takes_value && has_value) {
      *message = "option --" + std::string(spec->long_name) + " takes no value";
      return false;
    }
    if (!apply(*spec, value, command, message)) return false;
  }
  return true;
}

const char *options_usage() {
  return "Usage: qub-report [options] [DATA-FILE ...]\n"
         "Reports the coverage that instrumented programs counted, from the symbol file\n"
         "that qub wrote and the data files that the programs wrote.\n"
         "\n"
         "  -s, --symbol-file FILE   symbol file (default MON.sym)\n"
         "  -d, --data-file FILE     data file; give several to merge them (default: the\n"
         "                           symbol file's name with .dat, MON.dat)\n"
         "  -f, --format FORMAT      text (default), html, json, lcov or cobertura\n"
         "  -o, --output PATH        output file (default: standard output); for html a\n"
         "                           directory (default qub-html)\n"
         "      --fail-under MEASURE=PERCENT\n"
         "                           exit with status 2 when the total of MEASURE is below\n"
         "                           PERCENT; MEASURE is function, decision, multicondition,\n"
         "                           mcdc (unique-cause) or mcdc-masking; may be repeated\n"
         "  -t, --testcase NAME      report only this test case (wildcards * and ?); may be\n"
         "                           repeated; the default sums all test cases\n"
         "      --per-testcase       text: a summary for each test case, then the sum\n"
         "      --summary            text: the summary table alone\n"
         "      --list-testcases     list the test cases of the data files and exit\n"
         "      --filter PATTERN     report only source files matching PATTERN (wildcards);\n"
         "                           may be repeated\n"
         "      --exclude PATTERN    leave out source files matching PATTERN; may be repeated\n"
         "      --base DIR           relative source names are taken from DIR and names\n"
         "                           are shown relative to it (default: the symbol file's\n"
         "                           directory)\n"
         "  -h, --help               this text\n"
         "  -V, --version            the version\n"
         "\n"
         "Exit status: 0 done; 1 bad input or a failed write; 2 a --fail-under bound was\n"
         "not reached.\n";
}
