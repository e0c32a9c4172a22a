// Merging counters of several runs: test cases by name, modules by identity.
#include "counts.h"

#include <fnmatch.h>

#include <unordered_map>

namespace {

bool add_array(std::vector<std::uint64_t> *into, const std::vector<std::uint64_t> &from) {
  if (into->size() != from.size()) return false;
  for (std::size_t i = 0; i < from.size(); i++) {
    std::uint64_t sum = (*into)[i] + from[i];
    (*into)[i] = sum < from[i] ? UINT64_MAX : sum;  // saturate rather than wrap
  }
  return true;
}

std::string module_key(const counts_module &m) {
  return m.source_id + '\n' + std::to_string(m.time_stamp) + '\n' + std::to_string(m.fingerprint);
}

bool same_sizes(const counts_module &a, const counts_module &b) {
  return a.f.size() == b.f.size() && a.j.size() == b.j.size() && a.tf_true.size() == b.tf_true.size() &&
         a.tf_false.size() == b.tf_false.size() && a.c.size() == b.c.size() && a.time.size() == b.time.size();
}

bool name_selected(const std::string &name, const std::vector<std::string> &patterns) {
  if (patterns.empty()) return true;
  for (const std::string &p : patterns)
    if (p == name || fnmatch(p.c_str(), name.c_str(), 0) == 0) return true;
  return false;
}

}  // namespace

std::string counts_time_unit(const counts_data &data) {
  if (data.time_in_ticks) return data.time_in_ns ? "ns or ticks" : "ticks";
  return "ns";
}

bool counts_same_module(const counts_module &a, const counts_module &b) {
  return a.source_id == b.source_id && a.time_stamp == b.time_stamp && a.fingerprint == b.fingerprint;
}

bool counts_add(counts_module *into, const counts_module &from) {
  if (!same_sizes(*into, from)) return false;
  add_array(&into->f, from.f);
  add_array(&into->j, from.j);
  add_array(&into->tf_true, from.tf_true);
  add_array(&into->tf_false, from.tf_false);
  add_array(&into->c, from.c);
  add_array(&into->time, from.time);
  return true;
}

bool counts_merge(counts_data *into, const counts_data &from, std::string *message) {
  into->time_in_ns = into->time_in_ns || from.time_in_ns;
  into->time_in_ticks = into->time_in_ticks || from.time_in_ticks;
  for (const counts_testcase &t : from.testcases) {
    counts_testcase *target = nullptr;
    for (counts_testcase &mine : into->testcases)
      if (mine.name == t.name) target = &mine;
    if (!target) {
      into->testcases.push_back(counts_testcase{t.name, {}});
      target = &into->testcases.back();
    }
    std::unordered_map<std::string, std::size_t> index;
    for (std::size_t i = 0; i < target->modules.size(); i++) index.emplace(module_key(target->modules[i]), i);
    for (const counts_module &m : t.modules) {
      auto found = index.find(module_key(m));
      if (found == index.end()) {
        index.emplace(module_key(m), target->modules.size());
        target->modules.push_back(m);
      } else if (!counts_add(&target->modules[found->second], m)) {
        *message = "module " + m.source_id + " has counter arrays of different sizes under the same time stamp "
                   "and fingerprint";
        return false;
      }
    }
  }
  return true;
}

std::vector<counts_module> counts_select(const counts_data &data, const std::vector<std::string> &names) {
  std::vector<counts_module> result;
  std::unordered_map<std::string, std::size_t> index;
  for (const counts_testcase &t : data.testcases) {
    if (!name_selected(t.name, names)) continue;
    for (const counts_module &m : t.modules) {
      auto found = index.find(module_key(m));
      if (found == index.end()) {
        index.emplace(module_key(m), result.size());
        result.push_back(m);
      } else {
        counts_add(&result[found->second], m);  // sizes agree: counts_merge checked them
      }
    }
  }
  return result;
}

std::vector<std::string> counts_testcase_names(const counts_data &data) {
  std::vector<std::string> names;
  for (const counts_testcase &t : data.testcases) names.push_back(t.name);
  return names;
}
