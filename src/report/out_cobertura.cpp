// Cobertura XML: a package per directory, a class per file, a method per function,
// line hits and branch rates from the decision outcomes.
#include <algorithm>

#include "format.h"
#include "outputs.h"

namespace {

struct rates {
  std::uint64_t lines = 0, lines_hit = 0, branches = 0, branches_hit = 0;
  void add(const rates &o) {
    lines += o.lines;
    lines_hit += o.lines_hit;
    branches += o.branches;
    branches_hit += o.branches_hit;
  }
};

std::string rate(std::uint64_t part, std::uint64_t whole) {
  if (!whole) return "1";
  char text[32];
  std::snprintf(text, sizeof text, "%.4f", static_cast<double>(part) / static_cast<double>(whole));
  std::string s = text;
  while (s.back() == '0') s.pop_back();
  if (s.back() == '.') s.pop_back();
  return s;
}

std::string line_element(const output_line &l, const char *indent) {
  std::string out = std::string(indent) + "<line number=\"" + std::to_string(l.line) + "\" hits=\"" +
                    std::to_string(l.hits) + "\"";
  if (l.outcomes) {
    out += " branch=\"true\" condition-coverage=\"" + std::to_string(l.covered * 100 / l.outcomes) + "% (" +
           std::to_string(l.covered) + "/" + std::to_string(l.outcomes) + ")\"";
  } else {
    out += " branch=\"false\"";
  }
  return out + "/>\n";
}

rates rates_of(const std::vector<output_line> &lines) {
  rates r;
  for (const output_line &l : lines) {
    r.lines++;
    r.lines_hit += l.hits > 0 ? 1 : 0;
    r.branches += l.outcomes;
    r.branches_hit += l.covered;
  }
  return r;
}

std::string base_name(const std::string &display) {
  std::size_t slash = display.rfind('/');
  return slash == std::string::npos ? display : display.substr(slash + 1);
}

}  // namespace

std::string output_cobertura(const report &r, const output_context &ctx) {
  std::string packages;
  rates total;
  for (const report_directory &dir : r.directories) {
    rates package;
    std::string classes;
    for (std::uint32_t fi : dir.files) {
      const report_file &f = r.files[fi];
      std::vector<output_line> lines = output_lines_of(r, f);
      rates file_rates = rates_of(lines);
      package.add(file_rates);
      std::string methods;
      for (std::uint32_t fni : f.functions) {
        const report_function &fn = r.functions[fni];
        // A method's lines: those of its start and its items in this file.
        std::vector<std::uint32_t> mine = {fn.line};
        for (std::uint32_t i : fn.items)
          if (r.items[i].file == fn.file) mine.push_back(r.items[i].line);
        std::sort(mine.begin(), mine.end());
        std::vector<output_line> own;
        for (const output_line &l : lines)
          if (std::binary_search(mine.begin(), mine.end(), l.line)) own.push_back(l);
        rates m = rates_of(own);
        methods += "            <method name=\"" + format_xml_escape(fn.name) + "\" signature=\"(" +
                   format_xml_escape(fn.parameters) + ")\" line-rate=\"" + rate(m.lines_hit, m.lines) +
                   "\" branch-rate=\"" + rate(m.branches_hit, m.branches) + "\" complexity=\"0\">\n"
                   "              <lines>\n";
        for (const output_line &l : own) methods += line_element(l, "                ");
        methods += "              </lines>\n            </method>\n";
      }
      classes += "        <class name=\"" + format_xml_escape(base_name(f.display)) + "\" filename=\"" +
                 format_xml_escape(f.display) + "\" line-rate=\"" + rate(file_rates.lines_hit, file_rates.lines) +
                 "\" branch-rate=\"" + rate(file_rates.branches_hit, file_rates.branches) +
                 "\" complexity=\"0\">\n          <methods>\n" + methods + "          </methods>\n          <lines>\n";
      for (const output_line &l : lines) classes += line_element(l, "            ");
      classes += "          </lines>\n        </class>\n";
    }
    total.add(package);
    packages += "    <package name=\"" + format_xml_escape(dir.display) + "\" line-rate=\"" +
                rate(package.lines_hit, package.lines) + "\" branch-rate=\"" +
                rate(package.branches_hit, package.branches) + "\" complexity=\"0\">\n      <classes>\n" + classes +
                "      </classes>\n    </package>\n";
  }
  std::string out = "<?xml version=\"1.0\" ?>\n"
                    "<!DOCTYPE coverage SYSTEM \"http://cobertura.sourceforge.net/xml/coverage-04.dtd\">\n";
  out += "<coverage line-rate=\"" + rate(total.lines_hit, total.lines) + "\" branch-rate=\"" +
         rate(total.branches_hit, total.branches) + "\" lines-covered=\"" + std::to_string(total.lines_hit) +
         "\" lines-valid=\"" + std::to_string(total.lines) + "\" branches-covered=\"" +
         std::to_string(total.branches_hit) + "\" branches-valid=\"" + std::to_string(total.branches) +
         "\" complexity=\"0\" version=\"" + format_xml_escape(ctx.version) + "\" timestamp=\"" +
         std::to_string(ctx.time_stamp * 1000) + "\">\n";
  out += "  <sources>\n    <source>" + format_xml_escape(ctx.base_directory) +
         "</source>\n  </sources>\n  <packages>\n" + packages + "  </packages>\n</coverage>\n";
  return out;
}
