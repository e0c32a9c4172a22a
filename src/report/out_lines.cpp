// Line hits and decision outcomes for the line-oriented formats (lcov, Cobertura, HTML).
#include <algorithm>
#include <map>

#include "outputs.h"

std::vector<std::uint64_t> output_outcomes(const report_item &item) {
  switch (item.item_class) {
    case ITEM_DECISION: return {item.true_count, item.false_count};
    case ITEM_CONSTANT_DECISION: return {item.count};
    case ITEM_PROBE: return {item.count};
    case ITEM_COUNT_PRAGMA: return {};
    case ITEM_MULTICONDITION:
      if (item.kind == 85) return {};
      return {item.true_count, item.false_count};
  }
  return {};
}

std::vector<output_line> output_lines_of(const report &r, const report_file &f) {
  // Per line and module the largest count: the line ran at least that often in that
  // module; a line of a header that several modules hold adds their counts.
  std::map<std::uint32_t, std::map<std::uint32_t, std::uint64_t>> hits;
  std::map<std::uint32_t, output_line> lines;
  auto note = [&](std::uint32_t line, std::uint32_t module, std::uint64_t count) {
    std::uint64_t &h = hits[line][module];
    h = std::max(h, count);
    lines[line].line = line;
  };
  for (std::uint32_t fi : f.functions) {
    const report_function &fn = r.functions[fi];
    note(fn.line, fn.module, fn.entered);
  }
  for (std::uint32_t i : f.items) {
    const report_item &item = r.items[i];
    note(item.line, item.module, item.count);
    output_line &l = lines[item.line];
    for (std::uint64_t c : output_outcomes(item)) {
      l.outcomes++;
      l.covered += c > 0 ? 1 : 0;
    }
  }
  std::vector<output_line> result;
  result.reserve(lines.size());
  for (auto &entry : lines) {
    output_line l = entry.second;
    for (auto &m : hits[entry.first]) {
      std::uint64_t sum = l.hits + m.second;
      l.hits = sum < l.hits ? UINT64_MAX : sum;
    }
    result.push_back(l);
  }
  return result;
}
