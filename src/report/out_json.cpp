// The JSON report: everything the text and HTML reports show, for tools.
#include "format.h"
#include "outputs.h"

namespace {

struct json_writer {
  std::string out;

  void measures(const report_measures &m) {
    out += "{";
    for (int k = 0; k < MEASURE_COUNT; k++) {
      if (k) out += ",";
      out += "\"";
      out += report_measure_names[k];
      out += "\":{\"covered\":" + std::to_string(m.m[k].covered) + ",\"total\":" + std::to_string(m.m[k].total) +
             ",\"percent\":" + (m.m[k].total ? report_percent(m.m[k]) : std::string("null")) + "}";
    }
    if (m.timed) out += ",\"time\":" + std::to_string(m.time);
    out += "}";
  }

  void verdict(const report_multi &m, const report_condition &c, mcdc_rule rule) {
    const mcdc_verdict &v = c.verdict[rule];
    out += "{\"shown\":";
    out += v.shown ? "true" : "false";
    if (v.shown) out += ",\"pair\":[" + std::to_string(v.first) + "," + std::to_string(v.second) + "]";
    if (!v.shown && v.need_first >= 0) {
      out += ",\"needs\":[";
      bool first_ran = m.paths[static_cast<std::size_t>(v.need_first)].count > 0;
      if (!first_ran) out += std::to_string(v.need_first) + ",";
      out += std::to_string(v.need_second) + "]";
    }
    out += "}";
  }

  void item(const report &r, const report_item &it) {
    out += "{\"kind\":" + std::to_string(it.kind) + ",\"what\":" + format_json_string(report_kind_name(it.kind)) +
           ",\"line\":" + std::to_string(it.line) + ",\"text\":" + format_json_string(it.text);
    if (it.item_class == ITEM_DECISION || it.item_class == ITEM_MULTICONDITION)
      out += ",\"true\":" + std::to_string(it.true_count) + ",\"false\":" + std::to_string(it.false_count);
    else
      out += ",\"count\":" + std::to_string(it.count);
    if (it.item_class == ITEM_CONSTANT_DECISION) out += ",\"constant\":true";
    if (it.item_class == ITEM_MULTICONDITION) {
      const report_multi &m = r.multis[static_cast<std::size_t>(it.multi)];
      out += ",\"paths\":[";
      for (std::size_t p = 0; p < m.paths.size(); p++) {
        const report_path &path = m.paths[p];
        if (p) out += ",";
        out += "{\"path\":" + std::to_string(path.number) + ",\"outcome\":" + (path.outcome ? "true" : "false") +
               ",\"text\":" + format_json_string(path.text) + ",\"count\":" + std::to_string(path.count) + "}";
      }
      out += "],\"conditions\":[";
      for (std::size_t k = 0; k < m.conditions.size(); k++) {
        if (k) out += ",";
        out += "{\"text\":" + format_json_string(m.conditions[k].text) + ",\"mcdc\":";
        verdict(m, m.conditions[k], MCDC_UNIQUE_CAUSE);
        out += ",\"mcdc-masking\":";
        verdict(m, m.conditions[k], MCDC_MASKING);
        out += "}";
      }
      out += "]";
    }
    out += "}";
  }

  void items(const report &r, const std::vector<std::uint32_t> &list, bool outside_only) {
    out += "[";
    bool first = true;
    for (std::uint32_t i : list) {
      if (outside_only && r.items[i].function >= 0) continue;
      if (!first) out += ",";
      first = false;
      out += "\n      ";
      item(r, r.items[i]);
    }
    out += "]";
  }

  void strings(const std::vector<std::string> &list) {
    out += "[";
    for (std::size_t i = 0; i < list.size(); i++) {
      if (i) out += ",";
      out += format_json_string(list[i]);
    }
    out += "]";
  }
};

const char *state_name(report_module_state s) {
  switch (s) {
    case MODULE_MATCHED: return "matched";
    case MODULE_NOT_RUN: return "not run";
    case MODULE_MISMATCHED: return "mismatched";
  }
  return "";
}

}  // namespace

std::string output_json(const report &r, const output_context &ctx) {
  json_writer w;
  std::string &out = w.out;
  out += "{\"format\":\"qub-report 1\",\"version\":" + format_json_string(ctx.version) +
         ",\"symbol_file\":" + format_json_string(ctx.symbol_file) + ",\"data_files\":";
  w.strings(ctx.data_files);
  out += ",\"testcases\":";
  w.strings(r.testcases);
  out += ",\"time_unit\":" + format_json_string(r.time_unit) + ",\n\"total\":";
  w.measures(r.total);
  out += ",\n\"directories\":[";
  for (std::size_t d = 0; d < r.directories.size(); d++) {
    const report_directory &dir = r.directories[d];
    out += d ? ",\n  " : "\n  ";
    out += "{\"name\":" + format_json_string(dir.display) + ",\"summary\":";
    w.measures(dir.measures);
    out += ",\"files\":[";
    for (std::size_t k = 0; k < dir.files.size(); k++) {
      if (k) out += ",";
      out += format_json_string(r.files[dir.files[k]].display);
    }
    out += "]}";
  }
  out += "],\n\"files\":[";
  for (std::size_t fi = 0; fi < r.files.size(); fi++) {
    const report_file &f = r.files[fi];
    out += fi ? ",\n  " : "\n  ";
    out += "{\"name\":" + format_json_string(f.display) + ",\"path\":" + format_json_string(f.path) + ",\"summary\":";
    w.measures(f.measures);
    out += ",\"functions\":[";
    for (std::size_t k = 0; k < f.functions.size(); k++) {
      const report_function &fn = r.functions[f.functions[k]];
      out += k ? ",\n    " : "\n    ";
      out += "{\"name\":" + format_json_string(fn.name) + ",\"parameters\":" + format_json_string(fn.parameters) +
             ",\"line\":" + std::to_string(fn.line) + ",\"entered\":" + std::to_string(fn.entered);
      if (fn.timed) out += ",\"time\":" + std::to_string(fn.time);
      out += ",\"summary\":";
      w.measures(fn.measures);
      out += ",\"items\":";
      w.items(r, fn.items, false);
      out += "}";
    }
    out += "],\"items\":";
    w.items(r, f.items, true);
    out += "}";
  }
  out += "],\n\"modules\":[";
  for (std::size_t m = 0; m < r.modules.size(); m++) {
    if (m) out += ",";
    out += "\n  {\"source\":" + format_json_string(r.modules[m].source_id) +
           ",\"mode\":" + std::to_string(r.modules[m].mode_bits) + ",\"state\":\"" + state_name(r.modules[m].state) +
           "\"}";
  }
  out += "],\n\"warnings\":[";
  for (std::size_t i = 0; i < r.warnings.size(); i++) {
    if (i) out += ",";
    out += "\n  {\"number\":" + std::to_string(r.warnings[i].number) +
           ",\"text\":" + format_json_string(r.warnings[i].text) + "}";
  }
  out += "]}\n";
  return out;
}
