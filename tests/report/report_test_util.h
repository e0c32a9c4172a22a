// Helpers of the report tests: scratch directories, files, running the command.
#ifndef QUB_TESTS_REPORT_TEST_UTIL_H
#define QUB_TESTS_REPORT_TEST_UTIL_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace rtest {

inline std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

inline void write_file(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

inline std::string replace_all(std::string text, const std::string &from, const std::string &to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

inline std::string binary_dir() {
  const char *dir = std::getenv("QUB_BINARY_DIR");
  return dir ? dir : QUB_BINARY_DIR;
}

inline std::string source_dir() { return QUB_REPORT_TEST_DIR; }

inline std::string quote(const std::string &word) { return "'" + replace_all(word, "'", "'\\''") + "'"; }

// A fresh scratch directory for one test.
inline std::string scratch(const std::string &name) {
  std::string dir = testing::TempDir() + "qubreport_" + name + "_" + std::to_string(::getpid());
  if (std::system(("rm -rf " + quote(dir) + " && mkdir -p " + quote(dir)).c_str()) != 0) return "";
  return dir;
}

struct result {
  int status = -1;
  std::string out, err;
};

// Runs a shell command line in dir, collecting its output and exit status.
inline result run_in(const std::string &dir, const std::string &command) {
  result r;
  std::string out = dir + "/.out", err = dir + "/.err";
  int raw = std::system(("cd " + quote(dir) + " && " + command + " >" + quote(out) + " 2>" + quote(err)).c_str());
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = read_file(out);
  r.err = read_file(err);
  std::remove(out.c_str());
  std::remove(err.c_str());
  return r;
}

inline std::string report_command() { return quote(binary_dir() + "/bin/qub-report"); }

// The golden demo in dir: sources, MON.sym with its paths, and the data files of its
// two test cases, small.dat and mixed.dat.
inline bool make_demo(const std::string &dir) {
  std::string golden = source_dir() + "/golden/demo";
  if (std::system(("cp -r " + quote(golden + "/src") + " " + quote(golden + "/include") + " " + quote(dir)).c_str()) != 0)
    return false;
  write_file(dir + "/MON.sym", replace_all(read_file(golden + "/MON.sym.in"), "@DIR@", dir));
  std::string mkdata = quote(binary_dir() + "/tests/qub_report_mkdata");
  for (const char *name : {"small", "mixed"})
    if (std::system((mkdata + " -D " + quote(dir) + " " + quote(dir + "/" + name + ".dat") + " < " +
                     quote(golden + "/" + name + ".spec"))
                        .c_str()) != 0)
      return false;
  return true;
}

}  // namespace rtest

#endif
