// Helpers shared by the test files: files, commands, token dumps.
#ifndef QUB_TESTS_TEST_UTIL_H
#define QUB_TESTS_TEST_UTIL_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "base/base.h"

namespace qubtest {

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

// A fresh directory under the test temporary directory.
inline std::string make_temp_dir(const std::string &name) {
  std::string dir = testing::TempDir() + "qubtest_" + name + "_" + std::to_string(::getpid());
  std::string cmd = "rm -rf '" + dir + "' && mkdir -p '" + dir + "'";
  if (std::system(cmd.c_str()) != 0) return "";
  return dir;
}

// A regular expression that matches exactly the given text (for death tests).
inline std::string exactly(const std::string &text) {
  std::string r = "^";
  for (char c : text) {
    if (std::strchr("\\^$.|?*+()[]{}", c)) r += '\\';
    r += c;
  }
  return r + "$";
}

// A fresh directory made current for one test, and the way back to where it started.
struct scratch_dir {
  std::string path;
  std::string previous;
  // False when the directory cannot be made or entered.
  bool enter(const std::string &name) {
    char cwd[4096];
    if (!::getcwd(cwd, sizeof cwd)) return false;
    previous = cwd;
    path = make_temp_dir(name);
    return !path.empty() && ::chdir(path.c_str()) == 0;
  }
  // Goes back; false when the old directory cannot be entered again.
  bool leave() { return previous.empty() || ::chdir(previous.c_str()) == 0; }
};

// The items of a list of texts, in order.
inline std::vector<std::string> texts_of(const pre_list *list) {
  std::vector<std::string> out;
  if (list)
    for (const pre_list_node *n = list->head; n; n = n->next) out.push_back(static_cast<const char *>(n->item));
  return out;
}

struct command_result {
  int status;
  std::string output;  // stdout and stderr together
};

inline command_result run_command(const std::string &cmd) {
  command_result r{-1, ""};
  std::FILE *p = ::popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.output.append(buf, n);
  int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
  return r;
}

inline bool have_tool(const std::string &tool) {
  return run_command("command -v " + tool).status == 0;
}

// The token stream of a file as clang's lexer sees it: one "kind 'text'" per token,
// locations and spacing flags left out.
inline std::vector<std::string> clang_tokens(const std::string &path, const std::string &lang_flags) {
  command_result r = run_command("clang " + lang_flags + " -w -fsyntax-only -Xclang -dump-tokens '" + path + "'");
  std::vector<std::string> tokens;
  std::istringstream in(r.output);
  std::string line, pending;
  while (std::getline(in, line)) {
    pending += line;
    std::size_t loc = pending.find("\tLoc=<");
    if (loc == std::string::npos) {  // a token whose text holds a line feed
      pending += '\n';
      continue;
    }
    std::string tok = pending.substr(0, loc);
    std::size_t tab = tok.find('\t');
    if (tab != std::string::npos) tok = tok.substr(0, tab);
    tokens.push_back(tok);
    pending.clear();
  }
  return tokens;
}

}  // namespace qubtest

#endif
