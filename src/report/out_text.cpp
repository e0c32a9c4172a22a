// The text report: a summary per directory, file and in total, then per function the
// items not covered, with line and text, in source order.
#include <algorithm>

#include "format.h"
#include "outputs.h"

namespace {

constexpr std::size_t CELL_WIDTH = 20;

std::string pad_left(const std::string &s, std::size_t width) {
  return s.size() >= width ? s : std::string(width - s.size(), ' ') + s;
}

std::string pad_right(const std::string &s, std::size_t width) {
  return s.size() >= width ? s : s + std::string(width - s.size(), ' ');
}

struct table {
  std::vector<int> measures;
  bool timed = false;
  std::size_t name_width = 0;

  std::string row(const std::string &name, const report_measures &m) const {
    std::string line = pad_right(name, name_width);
    for (int k : measures) line += pad_left(format_cell(m.m[k]), CELL_WIDTH);
    if (timed) line += pad_left(m.timed ? std::to_string(m.time) : "-", CELL_WIDTH);
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line + "\n";
  }
};

table make_table(const report &r) {
  table t;
  t.measures = format_present_measures(r);
  t.timed = r.total.timed;
  t.name_width = 16;
  for (const report_file &f : r.files) t.name_width = std::max(t.name_width, f.display.size() + 4);
  for (const report_directory &d : r.directories) t.name_width = std::max(t.name_width, d.display.size() + 3);
  t.name_width = std::min<std::size_t>(t.name_width, 60);
  return t;
}

std::string one_line(std::string_view text) {
  std::string s = format_utf8(text);
  for (char &c : s)
    if (c == '\t' || c == '\r') c = ' ';
  return s;
}

}  // namespace

std::string output_text_summary(const report &r) {
  table t = make_table(r);
  std::string out = pad_right("Directory / file", t.name_width);
  for (int k : t.measures) out += pad_left(report_measure_titles[k], CELL_WIDTH);
  if (t.timed) out += pad_left("Time (" + r.time_unit + ")", CELL_WIDTH);
  out += "\n";
  for (const report_directory &d : r.directories) {
    out += t.row(d.display + "/", d.measures);
    for (std::uint32_t fi : d.files) out += t.row("  " + r.files[fi].display, r.files[fi].measures);
  }
  out += t.row("Total", r.total);
  return out;
}

std::string output_text(const report &r, const output_context &ctx) {
  std::string out = "Coverage report of " + ctx.symbol_file;
  if (!ctx.data_files.empty()) {
    out += " with";
    for (const std::string &d : ctx.data_files) out += " " + d;
  }
  out += "\n";
  if (!r.testcases.empty()) {
    out += "Test cases:";
    for (const std::string &t : r.testcases) out += " " + (t.empty() ? std::string("(unnamed)") : t);
    out += "\n";
  }
  out += "\n" + output_text_summary(r);

  std::string details;
  for (const report_file &f : r.files) {
    std::string file_part;
    auto add_items = [&](const std::vector<std::uint32_t> &items, std::string *into) {
      for (std::uint32_t i : items) {
        const report_item &item = r.items[i];
        for (const std::string &gap : format_item_gaps(r, item)) {
          *into += "    line " + std::to_string(item.line) + ": " + one_line(format_item_title(item)) + ": " +
                   one_line(gap) + "\n";
        }
      }
    };
    for (std::uint32_t fi : f.functions) {
      const report_function &fn = r.functions[fi];
      std::string head = "  " + one_line(fn.name) + " (line " + std::to_string(fn.line) + ")";
      if (fn.entered == 0) {
        file_part += head + ": never entered\n";
        continue;
      }
      std::string items;
      add_items(fn.items, &items);
      if (!items.empty()) file_part += head + ":\n" + items;
    }
    std::vector<std::uint32_t> outside;
    for (std::uint32_t i : f.items)
      if (r.items[i].function < 0) outside.push_back(i);
    if (!outside.empty()) {
      std::string items;
      add_items(outside, &items);
      if (!items.empty()) file_part += "  (outside functions):\n" + items;
    }
    if (!file_part.empty()) details += f.display + "\n" + file_part;
  }
  if (!details.empty()) out += "\nNot covered:\n" + details;
  return out;
}
