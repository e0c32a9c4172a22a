// Joining the symbol file with the counters: modules matched by identity, records turned
// into functions, items and multiconditions, and the measures added up.
#include "report.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <unordered_map>

const char *const report_measure_names[MEASURE_COUNT] = {"function", "decision", "multicondition", "mcdc",
                                                         "mcdc-masking"};
const char *const report_measure_titles[MEASURE_COUNT] = {"Functions", "Decisions", "Multicondition",
                                                          "MC/DC unique", "MC/DC masking"};

namespace {

constexpr std::uint32_t MODE_MULTICONDITION = 4;
constexpr std::uint32_t MODE_TIMING = 8 | 16;

// --- paths ---------------------------------------------------------------------------------

std::string normalize_path(const std::string &name, const std::string &base) {
  std::string full = (!name.empty() && name[0] == '/') || base.empty() ? name : base + "/" + name;
  std::vector<std::string> parts;
  std::size_t i = 0;
  while (i <= full.size()) {
    std::size_t end = full.find('/', i);
    if (end == std::string::npos) end = full.size();
    std::string part = full.substr(i, end - i);
    i = end + 1;
    if (part.empty() || part == ".") continue;
    if (part == ".." && !parts.empty() && parts.back() != "..") {
      parts.pop_back();
      continue;
    }
    parts.push_back(part);
  }
  std::string result = full.empty() || full[0] != '/' ? "" : "/";
  for (std::size_t k = 0; k < parts.size(); k++) {
    if (k) result += '/';
    result += parts[k];
  }
  return result.empty() ? "." : result;
}

std::string display_path(const std::string &path, const std::string &base) {
  if (!base.empty() && base != "/" && path.size() > base.size() && path.compare(0, base.size(), base) == 0 &&
      path[base.size()] == '/')
    return path.substr(base.size() + 1);
  return path;
}

std::string directory_of(const std::string &display) {
  std::size_t slash = display.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return display.substr(0, slash);
}

bool matches_any(const std::vector<std::string> &patterns, const std::string &path, const std::string &display) {
  for (const std::string &p : patterns)
    if (fnmatch(p.c_str(), path.c_str(), 0) == 0 || fnmatch(p.c_str(), display.c_str(), 0) == 0) return true;
  return false;
}

// --- building ------------------------------------------------------------------------------

struct pending_condition {
  std::vector<std::uint32_t> on_true, on_false;
};

struct builder {
  const symfile &sym;
  const report_options &options;
  report *out;
  std::string base;
  // symbol file name index -> report file index, -1 when filtered out
  std::vector<std::int64_t> file_map;
  std::unordered_map<std::string, std::uint32_t> file_by_path;
  std::uint32_t order = 0;

  builder(const symfile &s, const report_options &o, report *r) : sym(s), options(o), out(r) {}

  std::int64_t file_index(std::uint32_t name_index) {
    std::int64_t &slot = file_map[name_index];
    if (slot != -2) return slot;
    std::string path = normalize_path(sym.file_names[name_index], base);
    auto found = file_by_path.find(path);
    if (found != file_by_path.end()) return slot = found->second;
    std::string display = display_path(path, base);
    bool kept = (options.filters.empty() || matches_any(options.filters, path, display)) &&
                !matches_any(options.excludes, path, display);
    if (!kept) return slot = -1;
    report_file f;
    f.path = path;
    f.display = display;
    f.directory = directory_of(display);
    out->files.push_back(std::move(f));
    std::uint32_t index = static_cast<std::uint32_t>(out->files.size() - 1);
    file_by_path.emplace(path, index);
    return slot = index;
  }

  void warn(int number, const std::string &text) { out->warnings.push_back(report_message{number, text}); }

  // The counters of a description: those of the same build, else none, with a warning.
  const counts_module *find_counts(const symfile_description &d,
                                   const std::unordered_map<std::string, std::vector<const counts_module *>> &by_id,
                                   report_module *module) {
    auto found = by_id.find(d.source_id);
    if (found == by_id.end()) {
      module->state = MODULE_NOT_RUN;
      return nullptr;
    }
    const counts_module *exact = nullptr, *same_fingerprint = nullptr, *other = nullptr;
    for (const counts_module *m : found->second) {
      if (m->fingerprint == d.fingerprint && m->time_stamp == d.time_stamp && !exact) exact = m;
      if (m->fingerprint == d.fingerprint && !same_fingerprint) same_fingerprint = m;
      if (m->fingerprint != d.fingerprint && !other) other = m;
    }
    if (exact) same_fingerprint = exact;
    char text[1200];
    const counts_module *m = same_fingerprint ? same_fingerprint : other;
    if (!same_fingerprint) {
      std::snprintf(text, sizeof text,
                    "%.900s: the data holds counts of another build (time stamp %lld, fingerprint %08llX) than "
                    "the symbol file describes (time stamp %lld, fingerprint %08X); its counts are left out",
                    d.source_id.c_str(), m->time_stamp, static_cast<unsigned long long>(m->fingerprint),
                    d.time_stamp, d.fingerprint);
      warn(112, text);
      module->state = MODULE_MISMATCHED;
      return nullptr;
    }
    if (m->f.size() != d.f_size || m->j.size() != d.j_size || m->tf_true.size() != d.tf_size ||
        m->tf_false.size() != d.tf_size || m->c.size() != d.c_size ||
        (m->time.size() != d.time_size && !m->time.empty())) {
      std::snprintf(text, sizeof text,
                    "%.900s: the counter arrays in the data do not have the sizes that the symbol file gives; "
                    "its counts are left out",
                    d.source_id.c_str());
      warn(113, text);
      module->state = MODULE_MISMATCHED;
      return nullptr;
    }
    if (m->time_stamp != d.time_stamp) {
      std::snprintf(text, sizeof text,
                    "%.900s: the data's time stamp %lld differs from the symbol file's %lld, the fingerprints "
                    "agree; its counts are used",
                    d.source_id.c_str(), m->time_stamp, d.time_stamp);
      warn(114, text);
    }
    if (other) {
      std::snprintf(text, sizeof text,
                    "%.900s: the data also holds counts of another build (time stamp %lld, fingerprint %08llX); "
                    "they are left out",
                    d.source_id.c_str(), other->time_stamp, static_cast<unsigned long long>(other->fingerprint));
      warn(117, text);
    }
    module->state = MODULE_MATCHED;
    return m;
  }

  static std::uint64_t at(const std::vector<std::uint64_t> *v, std::int64_t i) {
    return v && i >= 0 && static_cast<std::size_t>(i) < v->size() ? (*v)[static_cast<std::size_t>(i)] : 0;
  }

  void add_description(std::uint32_t module_index, const symfile_description &d, const counts_module *c) {
    std::vector<std::uint32_t> numbers;
    std::int32_t function = -1;
    // Multiconditions of this description by their C base, and the path lists and
    // conditions met before their records are complete.
    std::map<std::uint32_t, std::uint32_t> multi_by_base;
    std::map<std::uint32_t, std::vector<std::uint32_t>> true_lists, false_lists;
    std::map<std::uint32_t, std::vector<pending_condition>> conditions;
    std::map<std::uint32_t, pending_condition> open_condition;
    std::vector<std::uint32_t> new_multis;
    for (const symfile_record &r : d.records) {
      order++;
      std::int64_t file = file_index(r.file);
      std::string_view text = symfile_text(d, r);
      std::uint32_t kind = r.kind;
      if (kind == 0) {
        function = -1;
        if (file < 0) continue;
        report_function f;
        f.name = text;
        f.file = static_cast<std::uint32_t>(file);
        f.line = r.line;
        f.module = module_index;
        f.entered = at(c ? &c->f : nullptr, r.counter);
        if (d.mode_bits & MODE_TIMING) {
          f.timed = true;
          f.time = at(c ? &c->time : nullptr, r.counter);
        }
        out->functions.push_back(f);
        function = static_cast<std::int32_t>(out->functions.size() - 1);
        out->files[static_cast<std::size_t>(file)].functions.push_back(static_cast<std::uint32_t>(function));
        continue;
      }
      if (kind == 90) {
        if (function >= 0) out->functions[static_cast<std::size_t>(function)].parameters = text;
        continue;
      }
      std::uint32_t counter = static_cast<std::uint32_t>(r.counter);
      if (kind == 78 || kind == 79) {
        symfile_index_list(text, &numbers);
        (kind == 78 ? true_lists : false_lists)[counter] = numbers;
        continue;
      }
      if (kind == 80 || kind == 81) {
        symfile_index_list(text, &numbers);
        (kind == 80 ? open_condition[counter].on_true : open_condition[counter].on_false) = numbers;
        continue;
      }
      if (kind == 75 || kind == 76) {
        // Paths follow the record of their multicondition: the newest one whose range holds it.
        auto it = multi_by_base.upper_bound(counter);
        if (it == multi_by_base.begin()) continue;
        --it;
        report_multi &m = out->multis[it->second];
        std::uint32_t p = counter - it->first;
        if (p < m.paths.size()) m.paths[p].text = text;
        continue;
      }
      if (kind == 77) {
        // The condition's lists came just before it, under the base of its multicondition.
        for (auto &open : open_condition) {
          auto found = multi_by_base.find(open.first);
          if (found == multi_by_base.end()) continue;
          report_condition cond;
          cond.text = text;
          out->multis[found->second].conditions.push_back(cond);
          conditions[open.first].push_back(open.second);
        }
        open_condition.clear();
        continue;
      }
      bool is_multi = (kind >= 70 && kind <= 74) || kind == 85;
      symfile_array array = symfile_array_of(kind);
      if (!is_multi && array != SYMFILE_J && array != SYMFILE_TF) continue;
      if (file < 0) continue;
      report_item item;
      item.kind = kind;
      item.file = static_cast<std::uint32_t>(file);
      item.line = r.line;
      item.text = text;
      item.function = function;
      item.module = module_index;
      item.order = order;
      if (is_multi) {
        item.item_class = ITEM_MULTICONDITION;
        // Its C base is that of the path lists just written.
        std::uint32_t base_c = 0;
        bool found = false;
        for (auto &t : true_lists)
          if (!multi_by_base.count(t.first)) {
            base_c = t.first;
            found = true;
          }
        if (!found) continue;
        report_multi m;
        m.base = base_c;
        std::size_t path_count = true_lists[base_c].size() + false_lists[base_c].size();
        m.paths.resize(path_count);
        for (std::size_t p = 0; p < path_count; p++) {
          m.paths[p].number = static_cast<std::uint32_t>(p);
          m.paths[p].count = at(c ? &c->c : nullptr, static_cast<std::int64_t>(base_c) + static_cast<std::int64_t>(p));
        }
        for (std::uint32_t p : true_lists[base_c])
          if (p < path_count) m.paths[p].outcome = true;
        for (const report_path &p : m.paths) (p.outcome ? item.true_count : item.false_count) += p.count;
        item.count = item.true_count + item.false_count;
        m.item = static_cast<std::uint32_t>(out->items.size());
        out->multis.push_back(std::move(m));
        item.multi = static_cast<std::int32_t>(out->multis.size() - 1);
        multi_by_base[base_c] = static_cast<std::uint32_t>(item.multi);
        new_multis.push_back(static_cast<std::uint32_t>(item.multi));
      } else if (array == SYMFILE_TF) {
        item.item_class = kind >= 30 ? ITEM_CONSTANT_DECISION : ITEM_DECISION;
        item.true_count = at(c ? &c->tf_true : nullptr, r.counter);
        item.false_count = at(c ? &c->tf_false : nullptr, r.counter);
        item.count = item.true_count + item.false_count;
      } else {
        item.item_class = kind == 55 ? ITEM_COUNT_PRAGMA : ITEM_PROBE;
        item.count = at(c ? &c->j : nullptr, r.counter);
      }
      std::uint32_t index = static_cast<std::uint32_t>(out->items.size());
      out->items.push_back(item);
      out->files[item.file].items.push_back(index);
      if (function >= 0) out->functions[static_cast<std::size_t>(function)].items.push_back(index);
    }
    // Conditions' values per path, then the verdicts.
    for (std::uint32_t mi : new_multis) {
      report_multi &m = out->multis[mi];
      std::vector<pending_condition> &conds = conditions[m.base];
      if (conds.size() != m.conditions.size()) conds.resize(m.conditions.size());
      std::vector<mcdc_path> paths(m.paths.size());
      for (std::size_t p = 0; p < m.paths.size(); p++) {
        paths[p].values.assign(conds.size(), '_');
        paths[p].outcome = m.paths[p].outcome;
        paths[p].ran = m.paths[p].count > 0;
      }
      for (std::size_t k = 0; k < conds.size(); k++) {
        for (std::uint32_t p : conds[k].on_true)
          if (p < paths.size()) paths[p].values[k] = 'T';
        for (std::uint32_t p : conds[k].on_false)
          if (p < paths.size()) paths[p].values[k] = 'F';
      }
      m.in_mcdc = !m.conditions.empty();
      mcdc_tree tree;
      m.shape_known = !m.paths.empty() &&
                      mcdc_parse_shape(m.paths[0].text, static_cast<int>(m.conditions.size()), &tree);
      for (int rule = 0; rule < 2; rule++) {
        std::vector<mcdc_verdict> v = mcdc_evaluate(paths, static_cast<int>(m.conditions.size()),
                                                    m.shape_known ? &tree : nullptr, static_cast<mcdc_rule>(rule));
        for (std::size_t k = 0; k < v.size(); k++) m.conditions[k].verdict[rule] = v[k];
      }
    }
  }

  void run(const std::vector<counts_module> &counts) {
    base = options.base_directory.empty() ? std::string() : normalize_path(options.base_directory, "");
    file_map.assign(sym.file_names.size(), -2);
    std::unordered_map<std::string, std::vector<const counts_module *>> by_id;
    for (const counts_module &m : counts) by_id[m.source_id].push_back(&m);
    std::unordered_map<std::string, bool> described;
    for (std::size_t i = 0; i < sym.descriptions.size(); i++) {
      const symfile_description &d = sym.descriptions[i];
      described[d.source_id] = true;
      report_module module;
      module.source_id = d.source_id;
      module.mode_bits = d.mode_bits;
      const counts_module *c = find_counts(d, by_id, &module);
      out->modules.push_back(module);
      add_description(static_cast<std::uint32_t>(i), d, c);
    }
    for (const counts_module &m : counts)
      if (!described.count(m.source_id)) {
        char text[1100];
        std::snprintf(text, sizeof text, "%.900s: the data holds counts of a source that the symbol file does not describe",
                      m.source_id.c_str());
        warn(111, text);
        described[m.source_id] = true;
      }
    finish();
  }

  void finish() {
    // Source order within files and functions; files and directories by name.
    auto by_line = [this](std::uint32_t a, std::uint32_t b) {
      const report_item &x = out->items[a], &y = out->items[b];
      return x.line != y.line ? x.line < y.line : x.order < y.order;
    };
    for (report_file &f : out->files) {
      std::stable_sort(f.items.begin(), f.items.end(), by_line);
      std::stable_sort(f.functions.begin(), f.functions.end(), [this](std::uint32_t a, std::uint32_t b) {
        return out->functions[a].line < out->functions[b].line;
      });
    }
    for (report_function &fn : out->functions) std::stable_sort(fn.items.begin(), fn.items.end(), by_line);

    // Measures: a function counts with its items; a file with its functions and the items
    // that stand in it.
    for (report_function &fn : out->functions) {
      std::uint32_t mode = out->modules[fn.module].mode_bits;
      fn.measures.m[MEASURE_FUNCTION].total = 1;
      fn.measures.m[MEASURE_FUNCTION].covered = fn.entered > 0 ? 1 : 0;
      fn.measures.timed = fn.timed;
      fn.measures.time = fn.time;
      for (std::uint32_t i : fn.items) report_item_measures(*out, out->items[i], mode, &fn.measures);
    }
    for (report_file &f : out->files) {
      for (std::uint32_t fi : f.functions) {
        const report_function &fn = out->functions[fi];
        f.measures.m[MEASURE_FUNCTION].total++;
        f.measures.m[MEASURE_FUNCTION].covered += fn.entered > 0 ? 1 : 0;
        if (fn.timed) {
          f.measures.timed = true;
          f.measures.time += fn.time;
        }
      }
      for (std::uint32_t i : f.items) {
        const report_item &item = out->items[i];
        report_item_measures(*out, item, out->modules[item.module].mode_bits, &f.measures);
      }
    }
    // Files by display name, keeping every index that points at them right.
    std::vector<std::uint32_t> sorted(out->files.size());
    for (std::uint32_t i = 0; i < sorted.size(); i++) sorted[i] = i;
    std::sort(sorted.begin(), sorted.end(),
              [this](std::uint32_t a, std::uint32_t b) { return out->files[a].display < out->files[b].display; });
    std::vector<std::uint32_t> new_index(sorted.size());
    for (std::uint32_t i = 0; i < sorted.size(); i++) new_index[sorted[i]] = i;
    std::vector<report_file> files(sorted.size());
    for (std::uint32_t i = 0; i < sorted.size(); i++) files[i] = std::move(out->files[sorted[i]]);
    out->files = std::move(files);
    for (report_function &fn : out->functions) fn.file = new_index[fn.file];
    for (report_item &item : out->items) item.file = new_index[item.file];

    std::map<std::string, std::uint32_t> dirs;
    for (const report_file &f : out->files) dirs.emplace(f.directory, 0);
    for (auto &d : dirs) {
      d.second = static_cast<std::uint32_t>(out->directories.size());
      report_directory dir;
      dir.display = d.first;
      out->directories.push_back(dir);
    }
    for (std::uint32_t i = 0; i < out->files.size(); i++) {
      report_directory &dir = out->directories[dirs[out->files[i].directory]];
      dir.files.push_back(i);
      report_add(&dir.measures, out->files[i].measures);
      report_add(&out->total, out->files[i].measures);
    }
  }
};

}  // namespace

void report_add(report_measures *into, const report_measures &from) {
  for (int i = 0; i < MEASURE_COUNT; i++) {
    into->m[i].covered += from.m[i].covered;
    into->m[i].total += from.m[i].total;
  }
  if (from.timed) {
    into->timed = true;
    into->time += from.time;
  }
}

double report_ratio(const report_measure &m) {
  return m.total ? static_cast<double>(m.covered) / static_cast<double>(m.total) : 0.0;
}

std::string report_percent(const report_measure &m) {
  if (!m.total) return "-";
  // Tenths, rounded to the nearest, but never up to 100.0 nor down to 0.0 unless exact.
  unsigned long long tenths = (m.covered * 2000ull / m.total + 1) / 2;
  if (tenths == 1000 && m.covered < m.total) tenths = 999;
  if (tenths == 0 && m.covered > 0) tenths = 1;
  char text[32];
  std::snprintf(text, sizeof text, "%llu.%llu", tenths / 10, tenths % 10);
  return text;
}

void report_item_measures(const report &r, const report_item &item, std::uint32_t mode, report_measures *into) {
  bool multi_mode = (mode & MODE_MULTICONDITION) != 0;
  report_measure *m = into->m;
  switch (item.item_class) {
    case ITEM_DECISION: {
      std::uint64_t covered = (item.true_count > 0 ? 1 : 0) + (item.false_count > 0 ? 1 : 0);
      m[MEASURE_DECISION].total += 2;
      m[MEASURE_DECISION].covered += covered;
      if (multi_mode) {
        m[MEASURE_MULTICONDITION].total += 2;
        m[MEASURE_MULTICONDITION].covered += covered;
        for (int k = MEASURE_MCDC_UNIQUE; k <= MEASURE_MCDC_MASKING; k++) {
          m[k].total += 1;
          m[k].covered += covered == 2 ? 1 : 0;
        }
      }
      break;
    }
    case ITEM_CONSTANT_DECISION:
      m[MEASURE_DECISION].total += 1;
      m[MEASURE_DECISION].covered += item.count > 0 ? 1 : 0;
      if (multi_mode) {
        m[MEASURE_MULTICONDITION].total += 1;
        m[MEASURE_MULTICONDITION].covered += item.count > 0 ? 1 : 0;
      }
      break;
    case ITEM_PROBE:
      m[MEASURE_DECISION].total += 1;
      m[MEASURE_DECISION].covered += item.count > 0 ? 1 : 0;
      break;
    case ITEM_COUNT_PRAGMA:
      break;
    case ITEM_MULTICONDITION: {
      if (item.kind != 85) {
        m[MEASURE_DECISION].total += 2;
        m[MEASURE_DECISION].covered += (item.true_count > 0 ? 1 : 0) + (item.false_count > 0 ? 1 : 0);
      }
      const report_multi &multi = r.multis[static_cast<std::size_t>(item.multi)];
      for (const report_path &p : multi.paths) {
        m[MEASURE_MULTICONDITION].total += 1;
        m[MEASURE_MULTICONDITION].covered += p.count > 0 ? 1 : 0;
      }
      for (const report_condition &c : multi.conditions) {
        m[MEASURE_MCDC_UNIQUE].total += 1;
        m[MEASURE_MCDC_UNIQUE].covered += c.verdict[MCDC_UNIQUE_CAUSE].shown ? 1 : 0;
        m[MEASURE_MCDC_MASKING].total += 1;
        m[MEASURE_MCDC_MASKING].covered += c.verdict[MCDC_MASKING].shown ? 1 : 0;
      }
      break;
    }
  }
}

std::string report_kind_name(std::uint32_t kind) {
  switch (kind) {
    case 1: return "end of function";
    case 4: return "lambda";
    case 5: return "end of lambda";
    case 10: return "goto";
    case 11: return "continue";
    case 12: return "break";
    case 13: return "return";
    case 14: return "case";
    case 15: return "default";
    case 16: return "switch without default";
    case 20: case 30: case 70: return "if";
    case 21: case 31: case 71: return "else if";
    case 22: case 32: case 72: case 100: return "while";
    case 23: case 33: case 73: case 101: return "for";
    case 24: case 34: case 74: return "do-while";
    case 25: case 35: return "?:";
    case 55: return "count";
    case 60: return "try";
    case 61: return "__try";
    case 62: return "throw";
    case 63: return "catch";
    case 64: return "__except";
    case 65: return "__finally";
    case 66: return "__leave";
    case 85: return "expression";
    case 102: return "range for";
    case 103: return "for each";
    case 104: return "foreach";
    default: return "kind " + std::to_string(kind);
  }
}

void report_build(const symfile &sym, const std::vector<counts_module> &counts, const report_options &options,
                  report *out) {
  *out = report();
  builder b(sym, options, out);
  b.run(counts);
}
