// The qub-report command from arguments to exit status.
#include "run.h"

#include <fnmatch.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "data_in.h"
#include "format.h"
#include "options.h"
#include "outputs.h"
#include "report.h"
#include "symbol/symfile_read.h"

namespace {

const char *const VERSION = "9.1.4.1";

int error(int number, const std::string &text) {
  std::fprintf(stderr, "qub-report: error %d: %s\n", number, text.c_str());
  return 1;
}

void warning(int number, const std::string &text) {
  std::fprintf(stderr, "qub-report: warning %d: %s\n", number, text.c_str());
}

std::string absolute(const std::string &path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[4096];
  if (!::getcwd(cwd, sizeof cwd)) return path;
  return std::string(cwd) + "/" + path;
}

std::string directory_of(const std::string &path) {
  std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string default_data_file(const std::string &symbol_file) {
  const std::string ext = ".sym";
  if (symbol_file.size() > ext.size() && symbol_file.compare(symbol_file.size() - ext.size(), ext.size(), ext) == 0)
    return symbol_file.substr(0, symbol_file.size() - ext.size()) + ".dat";
  return symbol_file + ".dat";
}

int write_output(const std::string &path, const std::string &text) {
  if (path.empty() || path == "-") {
    if (!format_write(stdout, text) || std::fflush(stdout) != 0)
      return error(107, std::string("cannot write the standard output: ") + std::strerror(errno));
    return 0;
  }
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return error(107, "cannot create " + path + ": " + std::strerror(errno));
  bool ok = format_write(f, text);
  int saved = errno;
  if (std::fclose(f) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  if (!ok) return error(107, "cannot write " + path + ": " + std::strerror(saved));
  return 0;
}

bool any_testcase_matches(const counts_data &data, const std::string &pattern) {
  for (const counts_testcase &t : data.testcases)
    if (t.name == pattern || fnmatch(pattern.c_str(), t.name.c_str(), 0) == 0) return true;
  return false;
}

std::vector<std::string> reported_testcases(const counts_data &data, const std::vector<std::string> &patterns) {
  std::vector<std::string> names;
  for (const counts_testcase &t : data.testcases) {
    bool selected = patterns.empty();
    for (const std::string &p : patterns) selected = selected || t.name == p || fnmatch(p.c_str(), t.name.c_str(), 0) == 0;
    // The unnamed test case is listed only when it holds counts or was asked for.
    if (selected && (!t.name.empty() || !t.modules.empty() || !patterns.empty())) names.push_back(t.name);
  }
  return names;
}

}  // namespace

int report_run(const std::vector<std::string> &args) {
  report_command cmd;
  std::string message;
  if (!options_parse(args, &cmd, &message)) return error(101, message);
  if (cmd.help) {
    std::fputs(options_usage(), stdout);
    return 0;
  }
  if (cmd.version) {
    std::printf("qub-report %s\n", VERSION);
    return 0;
  }

  symfile sym;
  symfile_error sym_error;
  if (!symfile_read(cmd.symbol_file, &sym, &sym_error)) {
    if (sym_error.status == SYMFILE_CANNOT_OPEN)
      return error(102, "cannot read the symbol file " + cmd.symbol_file + ": " + sym_error.message);
    std::string where = sym_error.line ? ", line " + std::to_string(sym_error.line) : std::string();
    return error(103, "bad symbol file " + cmd.symbol_file + where + ": " + sym_error.message);
  }

  counts_data data;
  std::vector<std::string> data_files = cmd.data_files;
  if (!cmd.data_files_given) data_files.push_back(default_data_file(cmd.symbol_file));
  for (const std::string &path : data_files) {
    data_in_status status = data_in_read(path, &data, &message);
    if (status == DATA_IN_MISSING && !cmd.data_files_given) {
      warning(115, "no data file " + path + ": no instrumented program has written its counts yet; all counts are 0");
      continue;
    }
    if (status == DATA_IN_MISSING) return error(104, "cannot read the data file " + path + ": no such file");
    if (status != DATA_IN_OK) return error(105, "bad data file " + path + ": " + message);
  }

  if (cmd.list_testcases) {
    for (const counts_testcase &t : data.testcases)
      std::printf("%s\n", t.name.empty() ? "(unnamed)" : t.name.c_str());
    return 0;
  }
  for (const std::string &t : cmd.testcases)
    if (!any_testcase_matches(data, t)) return error(106, "no test case in the data files matches " + t);

  report_options options;
  options.base_directory =
      cmd.base_directory.empty() ? directory_of(absolute(cmd.symbol_file)) : absolute(cmd.base_directory);
  options.filters = cmd.filters;
  options.excludes = cmd.excludes;

  report r;
  report_build(sym, counts_select(data, cmd.testcases), options, &r);
  r.testcases = reported_testcases(data, cmd.testcases);
  r.time_unit = counts_time_unit(data);
  for (const report_message &w : r.warnings) warning(w.number, w.text);

  output_context ctx;
  ctx.symbol_file = cmd.symbol_file;
  ctx.data_files = data_files;
  ctx.version = VERSION;
  ctx.base_directory = options.base_directory;
  for (const symfile_description &d : sym.descriptions)
    if (d.time_stamp > ctx.time_stamp) ctx.time_stamp = d.time_stamp;

  int status = 0;
  switch (cmd.format) {
    case FORMAT_TEXT: {
      std::string text;
      if (cmd.per_testcase) {
        for (const counts_testcase &t : data.testcases) {
          if (t.name.empty() && t.modules.empty()) continue;
          report one;
          report_build(sym, counts_select(data, {t.name}), options, &one);
          one.time_unit = r.time_unit;
          text += "Test case " + (t.name.empty() ? std::string("(unnamed)") : t.name) + ":\n" +
                  output_text_summary(one) + "\n";
        }
        text += "All test cases:\n";
      }
      status = write_output(cmd.output, text + (cmd.summary_only ? output_text_summary(r) : output_text(r, ctx)));
      break;
    }
    case FORMAT_JSON: status = write_output(cmd.output, output_json(r, ctx)); break;
    case FORMAT_LCOV: status = write_output(cmd.output, output_lcov(r, ctx)); break;
    case FORMAT_COBERTURA: status = write_output(cmd.output, output_cobertura(r, ctx)); break;
    case FORMAT_HTML: {
      std::string directory = cmd.output.empty() ? "qub-html" : cmd.output;
      if (!output_html(r, ctx, directory, &message)) return error(107, message);
      std::printf("HTML report: %s/index.html\n", directory.c_str());
      break;
    }
  }
  if (status != 0) return status;

  int result = 0;
  for (const fail_bound &b : cmd.fail_under) {
    const report_measure &m = r.total.m[b.measure];
    if (!m.total) {
      warning(116, std::string("--fail-under ") + b.text + ": there is nothing to measure for " +
                       report_measure_names[b.measure]);
      continue;
    }
    if (static_cast<double>(m.covered) * 100.0 < b.percent * static_cast<double>(m.total)) {
      std::string bound = b.text.substr(b.text.find('=') + 1);
      if (!bound.empty() && bound.back() == '%') bound.pop_back();
      std::fprintf(stderr, "qub-report: %s coverage %s%% (%llu/%llu) is below %s%%\n", report_measure_names[b.measure],
                   report_percent(m).c_str(), static_cast<unsigned long long>(m.covered),
                   static_cast<unsigned long long>(m.total), bound.c_str());
      result = 2;
    }
  }
  return result;
}
