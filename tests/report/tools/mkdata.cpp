// Writes a data file from a text description, through the runtime's data file library,
// so that report tests can give counts without running instrumented programs.
//   qub_report_mkdata [-D DIR] OUT.dat < description
// Description lines ("@DIR@" in a source id becomes DIR):
//   testcase [NAME]                       the test case of the sets that follow
//   module SOURCE_ID TS FP MODE F J TF C TIME [TIMER]
//                                         a set of this module (FP in hexadecimal)
//   f|j|tf|c|time N N ...                 counters of the set (tf: true, false pairs)
// Empty lines and lines starting with # are skipped.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "qub_data.h"

namespace {

int fail(const std::string &text) {
  std::fprintf(stderr, "qub_report_mkdata: %s\n", text.c_str());
  return 1;
}

std::string replace_dir(std::string text, const std::string &dir) {
  for (std::size_t at = text.find("@DIR@"); at != std::string::npos; at = text.find("@DIR@", at + dir.size()))
    text.replace(at, 5, dir);
  return text;
}

}  // namespace

int main(int argc, char **argv) {
  std::string dir, out;
  for (int i = 1; i < argc; i++) {
    if (std::strcmp(argv[i], "-D") == 0 && i + 1 < argc)
      dir = argv[++i];
    else
      out = argv[i];
  }
  if (out.empty()) return fail("usage: qub_report_mkdata [-D DIR] OUT.dat < description");
  qub_data_file file;
  std::memset(&file, 0, sizeof file);
  if (qub_data_init(&file) != QUB_DATA_OK) return fail("out of memory");
  std::uint32_t testcase = 0;
  qub_data_module *module = nullptr;
  qub_data_set *set = nullptr;
  std::string line;
  int line_no = 0;
  while (std::getline(std::cin, line)) {
    line_no++;
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word[0] == '#') continue;
    if (word == "testcase") {
      std::string name;
      std::getline(words >> std::ws, name);
      int32_t index = qub_data_testcase_index(&file, name.c_str());
      if (index < 0) return fail("out of memory");
      testcase = static_cast<std::uint32_t>(index);
    } else if (word == "module") {
      std::string id, fp;
      long long ts;
      unsigned mode, f, j, tf, c, time, timer = 0;
      if (!(words >> id >> ts >> fp >> mode >> f >> j >> tf >> c >> time))
        return fail("line " + std::to_string(line_no) + ": module needs 10 fields");
      words >> timer;
      id = replace_dir(id, dir);
      module = qub_data_module_for(&file, id.c_str(), ts, std::strtoull(fp.c_str(), nullptr, 16), mode, timer, f, j,
                                   tf, c, time);
      if (!module) return fail("out of memory");
      set = qub_data_set_for(module, testcase);
      if (!set) return fail("out of memory");
    } else {
      if (!set) return fail("line " + std::to_string(line_no) + ": counters before any module");
      std::vector<std::uint64_t> values;
      unsigned long long v;
      while (words >> v) values.push_back(v);
      std::uint64_t *target = nullptr;
      std::size_t size = 0;
      if (word == "f") target = set->f, size = module->f_size;
      else if (word == "j") target = set->j, size = module->j_size;
      else if (word == "tf") target = set->tf, size = 2u * module->tf_size;
      else if (word == "c") target = set->c, size = module->c_size;
      else if (word == "time") target = set->time, size = module->time_size;
      else return fail("line " + std::to_string(line_no) + ": unknown word " + word);
      if (values.size() != size)
        return fail("line " + std::to_string(line_no) + ": " + word + " needs " + std::to_string(size) + " values");
      for (std::size_t i = 0; i < size; i++) target[i] += values[i];
    }
  }
  qub_data_status status = qub_data_write(out.c_str(), &file);
  qub_data_free(&file);
  if (status != QUB_DATA_OK) return fail(out + ": " + qub_data_status_text(status));
  return 0;
}
