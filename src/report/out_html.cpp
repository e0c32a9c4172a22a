// The HTML report: a static site that opens from the file system. index.html holds the
// summary with a bar per file; each file has a page with its source lines marked by
// what ran, and the decisions, paths and conditions listed at their lines. Where the
// source cannot be read the page lists the records alone.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "format.h"
#include "outputs.h"

namespace {

const char *const STYLE_SHEET = R"(body { font-family: sans-serif; margin: 1.5em; color: #222; }
h1 { font-size: 1.4em; }
h2 { font-size: 1.15em; margin-top: 1.5em; }
p.meta { color: #555; }
table.summary { border-collapse: collapse; }
table.summary th, table.summary td { padding: 0.2em 0.6em; border-bottom: 1px solid #ddd; text-align: right; }
table.summary th:first-child, table.summary td:first-child { text-align: left; }
tr.dir td:first-child { font-weight: bold; }
tr.file td:first-child { padding-left: 1.5em; }
tr.total td { font-weight: bold; border-top: 2px solid #888; }
.bar { display: inline-block; width: 5em; height: 0.7em; background: #e57373; margin-right: 0.4em; vertical-align: middle; }
.bar .fill { height: 100%; background: #66bb6a; }
.bar.none { background: #ddd; }
table.source { border-collapse: collapse; font-family: monospace; font-size: 0.9em; width: 100%; }
table.source td { padding: 0 0.5em; vertical-align: top; }
table.source td.num { text-align: right; color: #888; user-select: none; width: 4em; }
table.source td.code { white-space: pre; }
tr.covered td.code { background: #e8f5e9; }
tr.partial td.code { background: #fff8e1; }
tr.missed td.code { background: #ffebee; }
tr.covered td.num { border-left: 4px solid #66bb6a; }
tr.partial td.num { border-left: 4px solid #ffb300; }
tr.missed td.num { border-left: 4px solid #e53935; }
tr.notes td { font-family: sans-serif; font-size: 0.85em; padding-bottom: 0.4em; }
ul.items { margin: 0.2em 0; padding-left: 1.2em; }
li.covered { color: #2e7d32; }
li.missed, li.partial { color: #c62828; }
span.gap { color: #c62828; }
table.paths { border-collapse: collapse; margin: 0.2em 0; }
table.paths td, table.paths th { padding: 0 0.5em; border-bottom: 1px solid #eee; text-align: left; }
)";

bool write_file(const std::string &path, const std::string &text, std::string *message) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) {
    *message = "cannot create " + path + ": " + std::strerror(errno);
    return false;
  }
  bool ok = format_write(f, text);
  int saved = errno;
  if (std::fclose(f) != 0) ok = false;
  if (!ok) *message = "cannot write " + path + ": " + std::strerror(saved ? saved : errno);
  return ok;
}

bool make_directory(const std::string &path, std::string *message) {
  std::string partial;
  std::size_t i = 0;
  while (i <= path.size()) {
    std::size_t end = path.find('/', i);
    if (end == std::string::npos) end = path.size();
    partial = path.substr(0, end);
    i = end + 1;
    if (partial.empty()) continue;
    if (::mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST) {
      *message = "cannot create directory " + partial + ": " + std::strerror(errno);
      return false;
    }
  }
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    *message = "cannot create directory " + path + ": not a directory";
    return false;
  }
  return true;
}

std::string page_name(const report &r, std::uint32_t index) {
  const std::string &display = r.files[index].display;
  std::size_t slash = display.rfind('/');
  std::string base = slash == std::string::npos ? display : display.substr(slash + 1);
  std::string safe;
  for (char c : base) safe += (isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_') ? c : '_';
  char prefix[24];
  std::snprintf(prefix, sizeof prefix, "f%05u-", index);
  return prefix + safe + ".html";
}

std::string page_head(const std::string &title) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + format_xml_escape(title) +
         "</title>\n<link rel=\"stylesheet\" href=\"qub-report.css\">\n</head>\n<body>\n";
}

std::string bar_cell(const report_measure &m) {
  if (!m.total) return "<td><span class=\"bar none\"></span>-</td>";
  return "<td><span class=\"bar\"><span class=\"fill\" style=\"display:block;width:" + report_percent(m) +
         "%\"></span></span>" + format_cell(m) + "</td>";
}

std::string summary_head(const std::vector<int> &measures, bool timed, const std::string &unit, const char *first) {
  std::string out = "<table class=\"summary\">\n<thead><tr><th>" + std::string(first) + "</th>";
  for (int k : measures) out += "<th>" + std::string(report_measure_titles[k]) + "</th>";
  if (timed) out += "<th>Time (" + format_xml_escape(unit) + ")</th>";
  return out + "</tr></thead>\n<tbody>\n";
}

std::string summary_row(const char *cls, const std::string &name_html, const report_measures &m,
                        const std::vector<int> &measures, bool timed) {
  std::string out = "<tr class=\"" + std::string(cls) + "\"><td>" + name_html + "</td>";
  for (int k : measures) out += bar_cell(m.m[k]);
  if (timed) out += "<td>" + (m.timed ? std::to_string(m.time) : std::string("-")) + "</td>";
  return out + "</tr>\n";
}

std::string meta(const report &r, const output_context &ctx) {
  std::string out = "<p class=\"meta\">Symbol file " + format_xml_escape(ctx.symbol_file);
  if (!ctx.data_files.empty()) {
    out += "; data";
    for (const std::string &d : ctx.data_files) out += " " + format_xml_escape(d);
  }
  if (!r.testcases.empty()) {
    out += "; test cases";
    for (const std::string &t : r.testcases) out += " " + format_xml_escape(t.empty() ? "(unnamed)" : t);
  }
  return out + "</p>\n";
}

// The class of a line or an item: covered, partial (some outcomes) or missed (none).
const char *status_from(const report_item &item, const std::vector<std::string> &gaps) {
  if (gaps.empty()) return "covered";
  return item.count > 0 ? "partial" : "missed";
}

const char *status_of(const report &r, const report_item &item) { return status_from(item, format_item_gaps(r, item)); }

std::string item_html(const report &r, const report_item &item) {
  std::vector<std::string> gaps = format_item_gaps(r, item);
  std::string out = "<li class=\"" + std::string(status_from(item, gaps)) + "\"><code>" +
                    format_xml_escape(format_item_title(item)) + "</code>";
  switch (item.item_class) {
    case ITEM_DECISION:
    case ITEM_MULTICONDITION:
      out += ": true " + std::to_string(item.true_count) + ", false " + std::to_string(item.false_count);
      break;
    case ITEM_CONSTANT_DECISION:
      out += ": evaluated " + std::to_string(item.count) + " (constant)";
      break;
    case ITEM_PROBE:
    case ITEM_COUNT_PRAGMA:
      out += ": " + std::to_string(item.count);
      break;
  }
  if (item.item_class != ITEM_MULTICONDITION && !gaps.empty())
    out += " <span class=\"gap\">(" + format_xml_escape(gaps[0]) + ")</span>";
  if (item.item_class == ITEM_MULTICONDITION) {
    const report_multi &m = r.multis[static_cast<std::size_t>(item.multi)];
    out += "\n<table class=\"paths\"><tr><th>Path</th><th>Evaluation</th><th>Outcome</th><th>Count</th></tr>\n";
    for (const report_path &p : m.paths)
      out += std::string("<tr class=\"") + (p.count ? "covered" : "missed") + "\"><td>" + std::to_string(p.number) +
             "</td><td><code>" + format_xml_escape(p.text) + "</code></td><td>" + (p.outcome ? "true" : "false") +
             "</td><td>" + std::to_string(p.count) + "</td></tr>\n";
    out += "</table>\n<table class=\"paths\"><tr><th>Condition</th><th>MC/DC unique-cause</th><th>MC/DC masking</th></tr>\n";
    for (const report_condition &c : m.conditions) {
      out += "<tr><td><code>" + format_xml_escape(c.text) + "</code></td>";
      for (int rule = 0; rule < 2; rule++) {
        const mcdc_verdict &v = c.verdict[rule];
        if (v.shown) {
          out += "<td class=\"covered\">shown by " +
                 format_xml_escape(format_condition_pair(m, c, static_cast<mcdc_rule>(rule))) + "</td>";
        } else {
          std::string gap = format_condition_gap(m, c, static_cast<mcdc_rule>(rule));
          std::size_t colon = gap.find("): ");
          out += "<td class=\"missed\"><span class=\"gap\">not shown: " +
                 format_xml_escape(colon == std::string::npos ? gap : gap.substr(colon + 3)) + "</span></td>";
        }
      }
      out += "</tr>\n";
    }
    out += "</table>\n";
  }
  return out + "</li>\n";
}

bool read_source(const std::string &path, std::vector<std::string> *lines) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines->push_back(line);
  }
  return true;
}

std::string file_page(const report &r, const output_context &ctx, std::uint32_t index, const std::vector<int> &measures) {
  const report_file &f = r.files[index];
  std::string out = page_head(f.display + " - coverage");
  out += "<p><a href=\"index.html\">Coverage report</a></p>\n<h1>" + format_xml_escape(f.display) + "</h1>\n";
  out += meta(r, ctx);
  out += summary_head(measures, r.total.timed, r.time_unit, "Function");
  for (std::uint32_t fi : f.functions) {
    const report_function &fn = r.functions[fi];
    std::string name = "<a href=\"#L" + std::to_string(fn.line) + "\">" + format_xml_escape(fn.name) + "</a>";
    out += summary_row("file", name, fn.measures, measures, r.total.timed);
  }
  out += summary_row("total", "File", f.measures, measures, r.total.timed);
  out += "</tbody>\n</table>\n";

  // What stands at each line: function starts and items.
  std::map<std::uint32_t, std::vector<std::uint32_t>> functions_at, items_at;
  for (std::uint32_t fi : f.functions) functions_at[r.functions[fi].line].push_back(fi);
  for (std::uint32_t i : f.items) items_at[r.items[i].line].push_back(i);
  auto line_class = [&](std::uint32_t line) -> std::string {
    bool any = false, all = true, some = false;
    auto fns = functions_at.find(line);
    if (fns != functions_at.end())
      for (std::uint32_t fi : fns->second) {
        any = true;
        bool entered = r.functions[fi].entered > 0;
        all = all && entered;
        some = some || entered;
      }
    auto its = items_at.find(line);
    if (its != items_at.end())
      for (std::uint32_t i : its->second) {
        if (r.items[i].item_class == ITEM_COUNT_PRAGMA) continue;
        any = true;
        const char *s = status_of(r, r.items[i]);
        all = all && s[0] == 'c';
        some = some || s[0] != 'm';
      }
    if (!any) return "";
    return all ? "covered" : some ? "partial" : "missed";
  };
  auto notes = [&](std::uint32_t line) {
    std::string list;
    auto fns = functions_at.find(line);
    if (fns != functions_at.end())
      for (std::uint32_t fi : fns->second) {
        const report_function &fn = r.functions[fi];
        list += std::string("<li class=\"") + (fn.entered ? "covered" : "missed") + "\">function <code>" +
                format_xml_escape(fn.name) + "</code>: entered " + std::to_string(fn.entered);
        if (fn.timed) list += ", time " + std::to_string(fn.time) + " " + format_xml_escape(r.time_unit);
        list += "</li>\n";
      }
    auto its = items_at.find(line);
    if (its != items_at.end())
      for (std::uint32_t i : its->second) list += item_html(r, r.items[i]);
    return list;
  };

  std::vector<std::string> source;
  bool have_source = read_source(f.path, &source);
  std::uint32_t last_line = 0;
  if (!functions_at.empty()) last_line = std::max(last_line, functions_at.rbegin()->first);
  if (!items_at.empty()) last_line = std::max(last_line, items_at.rbegin()->first);
  if (have_source && source.size() < last_line) have_source = false;  // not the file that was built
  out += "<h2>Source</h2>\n";
  if (!have_source)
    out += "<p class=\"meta\">The source " + format_xml_escape(f.path) +
           " cannot be read here; the lines that hold probes are listed.</p>\n";
  out += "<table class=\"source\">\n";
  auto row = [&](std::uint32_t line, const std::string &code) {
    std::string cls = line_class(line);
    out += "<tr id=\"L" + std::to_string(line) + "\"" + (cls.empty() ? std::string() : " class=\"" + cls + "\"") +
           "><td class=\"num\">" + std::to_string(line) + "</td><td class=\"code\">" + format_xml_escape(code) +
           "</td></tr>\n";
    std::string list = notes(line);
    if (!list.empty()) out += "<tr class=\"notes\"><td></td><td><ul class=\"items\">\n" + list + "</ul></td></tr>\n";
  };
  if (have_source) {
    for (std::size_t k = 0; k < source.size(); k++) row(static_cast<std::uint32_t>(k + 1), source[k]);
  } else {
    std::map<std::uint32_t, bool> lines;
    for (auto &e : functions_at) lines[e.first] = true;
    for (auto &e : items_at) lines[e.first] = true;
    for (auto &e : lines) row(e.first, "");
  }
  out += "</table>\n</body>\n</html>\n";
  return out;
}

}  // namespace

bool output_html(const report &r, const output_context &ctx, const std::string &directory, std::string *message) {
  if (!make_directory(directory, message)) return false;
  if (!write_file(directory + "/qub-report.css", STYLE_SHEET, message)) return false;
  std::vector<int> measures = format_present_measures(r);
  std::string index = page_head("Coverage report");
  index += "<h1>Coverage report</h1>\n" + meta(r, ctx);
  index += summary_head(measures, r.total.timed, r.time_unit, "Directory / file");
  for (const report_directory &d : r.directories) {
    index += summary_row("dir", format_xml_escape(d.display + "/"), d.measures, measures, r.total.timed);
    for (std::uint32_t fi : d.files) {
      std::string link = "<a href=\"" + page_name(r, fi) + "\">" + format_xml_escape(r.files[fi].display) + "</a>";
      index += summary_row("file", link, r.files[fi].measures, measures, r.total.timed);
    }
  }
  index += summary_row("total", "Total", r.total, measures, r.total.timed);
  index += "</tbody>\n</table>\n";
  if (!r.warnings.empty()) {
    index += "<h2>Warnings</h2>\n<ul>\n";
    for (const report_message &w : r.warnings)
      index += "<li>" + std::to_string(w.number) + ": " + format_xml_escape(w.text) + "</li>\n";
    index += "</ul>\n";
  }
  index += "</body>\n</html>\n";
  if (!write_file(directory + "/index.html", index, message)) return false;
  for (std::uint32_t i = 0; i < r.files.size(); i++)
    if (!write_file(directory + "/" + page_name(r, i), file_page(r, ctx, i, measures), message)) return false;
  return true;
}
