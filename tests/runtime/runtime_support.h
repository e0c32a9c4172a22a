// Helpers of the runtime tests: scratch directories, compiling the
// hand-written instrumented samples against the built qub.h and libqub.a,
// running programs, and reading what they counted.
#ifndef QUB_TESTS_RUNTIME_SUPPORT_H
#define QUB_TESTS_RUNTIME_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qub_data.h"

namespace qubrt {

inline std::string binary_dir() { return QUB_BINARY_DIR; }
inline std::string sample(const std::string &name) {
  return std::string(QUB_SAMPLE_DIR) + "/" + name;
}
inline std::string include_dir() { return binary_dir() + "/include"; }
inline std::string library() { return binary_dir() + "/lib/libqub.a"; }

// Runs a shell command; its output (stdout and stderr) goes to *output.
// Returns the exit status, or 128 + the signal.
inline int run(const std::string &command, std::string *output = nullptr) {
  std::string full = "(" + command + ") 2>&1";
  FILE *p = popen(full.c_str(), "r");
  if (!p) return -1;
  std::string text;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) text.append(buffer, n);
  int status = pclose(p);
  if (output) *output = text;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

inline std::string quote(const std::string &word) {
  std::string q = "'";
  for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// A fresh directory for one test, removed when the test passes.
struct scratch {
  std::string path;
  explicit scratch(const std::string &name) {
    path = testing::TempDir() + "qubrt_" + name + "_" + std::to_string(getpid());
    run("rm -rf " + quote(path) + " && mkdir -p " + quote(path));
  }
  ~scratch() {
    if (!testing::Test::HasFailure()) run("rm -rf " + quote(path));
  }
  std::string operator/(const std::string &name) const { return path + "/" + name; }
};

// Warning options that any instrumented file must pass with no diagnostic.
inline std::string strict_flags(const std::string &compiler, bool cxx) {
  std::string f =
      " -Wall -Wextra -Wpedantic -pedantic-errors -Werror -Wconversion -Wsign-conversion"
      " -Wundef -Wshadow -Wimplicit-fallthrough -Wredundant-decls -Wcast-qual -Wswitch-enum"
      " -Wswitch-default -Wcast-align -Wwrite-strings";
  bool clang = compiler.find("clang") != std::string::npos;
  if (cxx)
    f += " -Wold-style-cast -Wzero-as-null-pointer-constant -Wmissing-declarations";
  else
    f += " -Wc++-compat -Wmissing-prototypes -Wstrict-prototypes -Wold-style-definition"
         " -Wnested-externs -Wdeclaration-after-statement";
  if (clang)
    f += " -Wunreachable-code -Wunused-macros -Wmissing-variable-declarations -Wshadow-all"
         " -Wcomma -Wextra-semi-stmt";
  else
    f += cxx ? " -Wuseless-cast -Wlogical-op" : " -Wjump-misses-init -Wlogical-op";
  return f;
}

// How a compile is done: `preprocessed` compiles the text as gcc does for
// qub (directives and macros only, no predefined macros).
struct build {
  std::string compiler = "gcc";
  std::string std_ = "c99";
  bool cxx = false;
  bool preprocessed = false;
  std::string extra;  // further options, before the sources
  std::string libs;   // behind the sources

  // Compiles and links `sources` (instrumented samples) into `out`; returns
  // the diagnostics, empty when the compile was silent and succeeded.
  std::string compile(const std::vector<std::string> &sources, const std::string &out) const {
    // `extra` comes first, so that an include directory in it is searched first.
    std::string cmd = compiler + " -x " + (cxx ? "c++" : "c") + " -std=" + std_ + " " + extra +
                      " -I" + quote(include_dir()) + strict_flags(compiler, cxx);
    if (preprocessed) cmd += " -fpreprocessed -fdirectives-only -Wno-unused-macros";
    int n = 0;
    for (const std::string &s : sources) {
      if (!preprocessed) {
        cmd += " " + quote(s);
        continue;
      }
      // As qub hands it over: the frame as written, the source's own text
      // preprocessed (system headers expanded, the probes left as they are).
      std::string text = out + "." + std::to_string(n++) + (cxx ? ".ii" : ".i");
      std::string pre = "sed '/^#line 1 /,$d' " + quote(s) + " > " + quote(text) +
                        " && sed -n '/^#line 1 /,$p' " + quote(s) + " | " + compiler + " -E -x " +
                        (cxx ? "c++" : "c") + " -std=" + std_ + " " + extra + " - >> " +
                        quote(text);
      std::string output;
      if (run(pre, &output) != 0) return pre + "\n" + output;
      cmd += " " + quote(text);
    }
    cmd += " -x none " + libs + " " + quote(library()) + " -o " + quote(out);
    std::string diagnostics;
    int status = run(cmd, &diagnostics);
    if (status != 0 && diagnostics.empty()) diagnostics = "exit status " + std::to_string(status);
    if (!diagnostics.empty()) diagnostics = cmd + "\n" + diagnostics;
    return diagnostics;
  }
};

// A data file read into memory.
struct counts {
  qub_data_file f;
  qub_data_status status;
  explicit counts(const std::string &path) { status = qub_data_read(path.c_str(), &f); }
  ~counts() { qub_data_free(&f); }
  counts(const counts &) = delete;
  counts &operator=(const counts &) = delete;

  // The set of module `source_id` in test case `testcase`, or null.
  const qub_data_set *set(const std::string &source_id, const std::string &testcase = "") const {
    qub_data_module *m = qub_data_find(&f, source_id.c_str());
    if (!m) return nullptr;
    for (uint32_t i = 0; i < m->set_count; i++)
      if (testcase == f.testcases[m->sets[i].testcase].name) return &m->sets[i];
    return nullptr;
  }
  const qub_data_module *module(const std::string &source_id) const {
    return qub_data_find(&f, source_id.c_str());
  }
  uint64_t runs(const std::string &testcase = "") const {
    for (uint32_t i = 0; i < f.testcase_count; i++)
      if (testcase == f.testcases[i].name) return f.testcases[i].runs;
    return 0;
  }
};

inline std::vector<uint64_t> vec(const uint64_t *a, uint64_t n) {
  return std::vector<uint64_t>(a, a + n);
}

}  // namespace qubrt

#endif
