// Escaping and the phrases for gaps, shared by the output formats.
#include "format.h"

#include <cstring>

std::string format_utf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    std::size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
    bool valid = length > 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; k++)
      valid = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    if (valid && length > 1) {
      // No overlong forms, surrogates or values beyond U+10FFFF.
      unsigned char d = static_cast<unsigned char>(text[i + 1]);
      if (length == 2) valid = c >= 0xC2;
      if (length == 3) valid = !(c == 0xE0 && d < 0xA0) && !(c == 0xED && d >= 0xA0);
      if (length == 4) valid = c <= 0xF4 && !(c == 0xF0 && d < 0x90) && !(c == 0xF4 && d >= 0x90);
    }
    if (!valid) {
      out += "\xEF\xBF\xBD";
      i++;
      continue;
    }
    out.append(text.substr(i, length));
    i += length;
  }
  return out;
}

std::string format_json_string(std::string_view text) {
  std::string valid = format_utf8(text);
  std::string out = "\"";
  for (char ch : valid) {
    unsigned char c = static_cast<unsigned char>(ch);
    switch (ch) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20 || c == 0x7F) {
          char esc[8];
          std::snprintf(esc, sizeof esc, "\\u%04x", c);
          out += esc;
        } else {
          out += ch;
        }
    }
  }
  out += '"';
  return out;
}

std::string format_xml_escape(std::string_view text) {
  std::string valid = format_utf8(text);
  std::string out;
  out.reserve(valid.size());
  for (char ch : valid) {
    unsigned char c = static_cast<unsigned char>(ch);
    switch (ch) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default:
        // Control characters have no place in XML 1.0; tabs stay.
        if ((c < 0x20 && ch != '\t') || c == 0x7F)
          out += "\xEF\xBF\xBD";
        else
          out += ch;
    }
  }
  return out;
}

namespace {

std::string path_words(const report_multi &m, int path) {
  if (path < 0 || static_cast<std::size_t>(path) >= m.paths.size()) return "?";
  const report_path &p = m.paths[static_cast<std::size_t>(path)];
  return std::to_string(path) + " (" + std::string(p.text) + ")";
}

}  // namespace

std::string format_condition_pair(const report_multi &m, const report_condition &c, mcdc_rule rule) {
  const mcdc_verdict &v = c.verdict[rule];
  if (!v.shown) return "";
  return "paths " + path_words(m, v.first) + " and " + path_words(m, v.second);
}

std::string format_condition_gap(const report_multi &m, const report_condition &c, mcdc_rule rule) {
  const mcdc_verdict &v = c.verdict[rule];
  if (v.shown) return "";
  std::string rule_name = rule == MCDC_UNIQUE_CAUSE ? "unique-cause" : "masking";
  std::string head = "condition " + std::string(c.text) + " not shown (" + rule_name + "): ";
  if (v.need_first < 0) return head + "no pair of paths can show it";
  const report_path &first = m.paths[static_cast<std::size_t>(v.need_first)];
  if (first.count > 0) return head + "needs path " + path_words(m, v.need_second) + " beside path " +
                             path_words(m, v.need_first) + ", which ran";
  return head + "needs paths " + path_words(m, v.need_first) + " and " + path_words(m, v.need_second);
}

std::vector<std::string> format_item_gaps(const report &r, const report_item &item) {
  std::vector<std::string> gaps;
  switch (item.item_class) {
    case ITEM_DECISION:
    case ITEM_MULTICONDITION:
      if (item.item_class == ITEM_MULTICONDITION && item.kind == 85) {
        // An expression outside a decision: its paths and conditions below tell it all.
      } else if (item.count == 0) {
        gaps.push_back("never evaluated");
      } else if (item.true_count == 0) {
        gaps.push_back("true never taken");
      } else if (item.false_count == 0) {
        gaps.push_back("false never taken");
      }
      break;
    case ITEM_CONSTANT_DECISION:
      if (item.count == 0) gaps.push_back("never evaluated");
      break;
    case ITEM_PROBE:
      if (item.count == 0) gaps.push_back("never reached");
      break;
    case ITEM_COUNT_PRAGMA:
      break;
  }
  if (item.item_class == ITEM_MULTICONDITION) {
    const report_multi &m = r.multis[static_cast<std::size_t>(item.multi)];
    for (const report_path &p : m.paths)
      if (p.count == 0)
        gaps.push_back("path " + path_words(m, static_cast<int>(p.number)) + " never taken");
    for (const report_condition &c : m.conditions) {
      std::string unique = format_condition_gap(m, c, MCDC_UNIQUE_CAUSE);
      std::string masking = format_condition_gap(m, c, MCDC_MASKING);
      const mcdc_verdict &u = c.verdict[MCDC_UNIQUE_CAUSE], &k = c.verdict[MCDC_MASKING];
      if (!unique.empty() && !masking.empty() && u.need_first == k.need_first && u.need_second == k.need_second) {
        // The same gap under both rules: said once.
        std::size_t at = unique.find("(unique-cause)");
        gaps.push_back(unique.replace(at, 14, "(unique-cause, masking)"));
        continue;
      }
      if (!unique.empty()) gaps.push_back(unique);
      if (!masking.empty()) gaps.push_back(masking);
    }
  }
  return gaps;
}

std::string format_item_title(const report_item &item) {
  std::string name = report_kind_name(item.kind);
  std::string text(item.text);
  switch (item.kind) {
    case 20: case 21: case 22: case 23: case 24:
    case 30: case 31: case 32: case 33: case 34:
    case 70: case 71: case 72: case 73: case 74:
    case 100: case 101: case 102: case 103: case 104:
      return name + " (" + text + ")";
    case 25: case 35:
      return "?: with condition " + text;
    case 1: case 5: case 16:
      return name;
    default:
      return text.empty() ? name : name + " " + text;
  }
}

std::string format_cell(const report_measure &m) {
  if (!m.total) return "-";
  return std::to_string(m.covered) + "/" + std::to_string(m.total) + " " + report_percent(m) + "%";
}

std::vector<int> format_present_measures(const report &r) {
  bool decision = false, multi = false;
  for (const report_module &m : r.modules) {
    decision = decision || (m.mode_bits & 2) != 0;
    multi = multi || (m.mode_bits & 4) != 0;
  }
  std::vector<int> present = {MEASURE_FUNCTION};
  if (decision) present.push_back(MEASURE_DECISION);
  if (multi) {
    present.push_back(MEASURE_MULTICONDITION);
    present.push_back(MEASURE_MCDC_UNIQUE);
    present.push_back(MEASURE_MCDC_MASKING);
  }
  return present;
}

bool format_write(std::FILE *f, std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), f) == text.size();
}
