// An lcov tracefile: functions, the outcomes of the decision measure as branches, and
// the lines that hold probes.
#include <map>

#include "format.h"
#include "outputs.h"

namespace {

// lcov keys function data by name: a name met again at another line gets the line added.
std::string function_key(std::map<std::string, std::uint32_t> *seen, const std::string &name, std::uint32_t line) {
  auto found = seen->find(name);
  if (found == seen->end()) {
    seen->emplace(name, line);
    return name;
  }
  if (found->second == line) return name;
  return name + "@" + std::to_string(line);
}

std::string one_line(std::string_view text) {
  std::string s = format_utf8(text);
  for (char &c : s)
    if (c == '\n' || c == '\r') c = ' ';
  return s.empty() ? "(unnamed)" : s;
}

}  // namespace

std::string output_lcov(const report &r, const output_context &) {
  std::string out;
  std::string test_name;
  if (r.testcases.size() == 1) {
    for (char c : r.testcases[0]) test_name += (isalnum(static_cast<unsigned char>(c)) || c == '_') ? c : '_';
  }
  for (const report_file &f : r.files) {
    out += "TN:" + test_name + "\n";
    out += "SF:" + one_line(f.path) + "\n";
    std::map<std::string, std::uint32_t> seen;
    std::map<std::string, std::uint64_t> entered;
    std::vector<std::string> order;
    for (std::uint32_t fi : f.functions) {
      const report_function &fn = r.functions[fi];
      std::string key = function_key(&seen, one_line(fn.name), fn.line);
      auto found = entered.find(key);
      if (found == entered.end()) {
        entered.emplace(key, fn.entered);
        order.push_back(key);
        out += "FN:" + std::to_string(fn.line) + "," + key + "\n";
      } else {
        found->second += fn.entered;
      }
    }
    std::size_t hit = 0;
    for (const std::string &key : order) {
      out += "FNDA:" + std::to_string(entered[key]) + "," + key + "\n";
      hit += entered[key] > 0 ? 1 : 0;
    }
    out += "FNF:" + std::to_string(order.size()) + "\nFNH:" + std::to_string(hit) + "\n";

    std::size_t branches = 0, branches_hit = 0;
    std::map<std::uint32_t, std::uint32_t> blocks_at_line;
    for (std::uint32_t i : f.items) {
      const report_item &item = r.items[i];
      std::vector<std::uint64_t> outcomes = output_outcomes(item);
      if (outcomes.empty()) continue;
      std::uint32_t block = blocks_at_line[item.line]++;
      bool evaluated = item.count > 0 || item.item_class == ITEM_PROBE;
      for (std::size_t k = 0; k < outcomes.size(); k++) {
        out += "BRDA:" + std::to_string(item.line) + "," + std::to_string(block) + "," + std::to_string(k) + "," +
               (evaluated ? std::to_string(outcomes[k]) : std::string("-")) + "\n";
        branches++;
        branches_hit += outcomes[k] > 0 ? 1 : 0;
      }
    }
    out += "BRF:" + std::to_string(branches) + "\nBRH:" + std::to_string(branches_hit) + "\n";

    std::size_t lines_hit = 0;
    std::vector<output_line> lines = output_lines_of(r, f);
    for (const output_line &l : lines) {
      out += "DA:" + std::to_string(l.line) + "," + std::to_string(l.hits) + "\n";
      lines_hit += l.hits > 0 ? 1 : 0;
    }
    out += "LF:" + std::to_string(lines.size()) + "\nLH:" + std::to_string(lines_hit) + "\nend_of_record\n";
  }
  return out;
}
