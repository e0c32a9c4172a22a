// A strict reader of a whole symbol file for the tests: every line in its form, every
// fingerprint fitting its records, each source once, the end mark and nothing behind it.
#ifndef QUB_TESTS_SYMBOL_FILE_CHECK_H
#define QUB_TESTS_SYMBOL_FILE_CHECK_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "symbol/symbol.h"

namespace symtest {

struct stored_description {
  unsigned mode = 0, revision = 0;
  long long stamp = 0;
  std::uint32_t fingerprint = 0;
  std::vector<std::string> records;  // the record lines and the counts line
  std::string text;                  // the description as stored, from "@" to the counts line
};

struct symbol_file_view {
  bool ok = false;
  std::string why;  // what is wrong, when not ok
  std::map<std::string, stored_description> sources;
};

// A description of one function under the given name, as the writer stores it.
inline std::string one_function_description(const std::string &name) {
  std::string covered = "3 0 1 0 0 0 f%1,1,0,0,0,0";
  char fingerprint[16];
  std::snprintf(fingerprint, sizeof fingerprint, "%08X",
                pre_symbol_cksum(reinterpret_cast<const unsigned char *>(covered.data()), covered.size()));
  return "@" + name + "\n3 1700000000 " + fingerprint + " 0 0\n0 1 0 0 0 f\n%1,1,0,0,0,0\n";
}

// A symbol file of n such descriptions, of file0.c, file1.c, ...
inline std::string symbol_file_of(int n) {
  std::string text = "QUB++ sym 9\nMon Jan  1 00:00:00 2024\n";
  for (int i = 0; i < n; i++) text += one_function_description("file" + std::to_string(i) + ".c");
  return text + "END OF SYMBOLFILE\n";
}

inline symbol_file_view check_symbol_file(const std::string &text) {
  symbol_file_view view;
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      view.why = "last line without a line feed";
      return view;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  if (lines.size() < 3 || lines[0] != "QUB++ sym 9" || lines[1].size() != 24) {
    view.why = "bad first lines";
    return view;
  }
  std::size_t i = 2;
  while (i < lines.size() && lines[i] != "END OF SYMBOLFILE") {
    const std::string &name_line = lines[i];
    if (name_line.empty() || name_line[0] != '@' || i + 1 >= lines.size()) {
      view.why = "line " + std::to_string(i + 1) + " is no name line: " + name_line;
      return view;
    }
    std::string name = name_line.substr(1);
    if (view.sources.count(name)) {
      view.why = name + " twice";
      return view;
    }
    stored_description d;
    unsigned word = 1, extra = 0;
    if (std::sscanf(lines[i + 1].c_str(), "%u %lld %08X %u %u %u", &d.mode, &d.stamp, &d.fingerprint, &d.revision,
                    &word, &extra) != 5 ||
        word != 0) {
      view.why = "bad head of " + name + ": " + lines[i + 1];
      return view;
    }
    d.text = name_line + "\n" + lines[i + 1] + "\n";
    std::string covered = lines[i + 1].substr(0, 2);
    std::size_t k = i + 2;
    for (; k < lines.size() && !lines[k].empty() && lines[k][0] >= '0' && lines[k][0] <= '9'; k++) {
      d.records.push_back(lines[k]);
      covered += lines[k];
      d.text += lines[k] + "\n";
    }
    if (k >= lines.size() || lines[k].empty() || lines[k][0] != '%') {
      view.why = "no counts line in " + name;
      return view;
    }
    d.records.push_back(lines[k]);
    covered += lines[k];
    d.text += lines[k] + "\n";
    if (pre_symbol_cksum(reinterpret_cast<const unsigned char *>(covered.data()), covered.size()) != d.fingerprint) {
      view.why = "fingerprint of " + name + " does not fit its records";
      return view;
    }
    view.sources[name] = d;
    i = k + 1;
  }
  if (i + 1 != lines.size()) {
    view.why = i < lines.size() ? "lines behind the end mark" : "no end mark";
    return view;
  }
  view.ok = true;
  return view;
}

}  // namespace symtest

#endif
