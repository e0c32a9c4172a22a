// Time of one commit into symbol files of 10, 1,000 and 10,000 descriptions: a new
// description added at the end, an unchanged one in the middle, and a changed one in the
// middle that is rewritten in place with everything behind it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/base.h"
#include "driver/run_state.h"
#include "emit/writer.h"
#include "preparse/token.h"
#include "symbol/symbol.h"

namespace {

constexpr int FUNCTIONS = 6;  // per description: 6 functions of 5 records each, 32 lines in all
constexpr int REPEATS = 7;

std::string read_all(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void write_all(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

void describe(const std::string &source, int variant) {
  pre_reset_counters();
  pre_symbol_begin_file(source.c_str());
  for (int f = 0; f < FUNCTIONS; f++) {
    std::string name = "function_" + std::to_string(f);
    std::uint32_t line = static_cast<std::uint32_t>(10 * f + 1);
    pre_symbol_record(pre_next_function_counter(), 0, 0, line, 0, name.c_str());
    pre_symbol_record(0, 90, 0, 0, 0, "int argument, const char *text");
    pre_symbol_record(pre_next_decision_counter(), 20, 1, line + 2, 0, "argument > 0 && text != 0");
    pre_symbol_record(pre_next_jump_counter(), 13, 2, line + 3, 1, "argument * 2");
    pre_symbol_record(0, 2, 0, line + 5, 2 + static_cast<std::uint32_t>(variant), name.c_str());
  }
  pre_symbol_commit(source.c_str(), 10 * FUNCTIONS);
}

double milliseconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

struct figures {
  double best, median;
};

figures summarise(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return {times.front(), times[times.size() / 2]};
}

// A symbol file of n descriptions made of one real description under n names.
std::string make_symbol_file(const std::string &dir, int n) {
  std::free(g_run.symbol_file_name);
  g_run.symbol_file_name = pre_xstrdup((dir + "/seed").c_str());
  pre_symbol_reset();
  describe("seed.c", 0);
  std::string seed = read_all(dir + "/seed.sym");
  std::size_t body_start = seed.find("\n@seed.c\n") + 9;
  std::size_t body_end = seed.find("END OF SYMBOLFILE\n");
  std::string body = seed.substr(body_start, body_end - body_start);
  std::string text = seed.substr(0, body_start - 8);
  for (int i = 0; i < n; i++) text += "@src/module" + std::to_string(i) + ".c\n" + body;
  text += "END OF SYMBOLFILE\n";
  unlink((dir + "/seed.sym").c_str());
  return text;
}

}  // namespace

int main() {
  char pattern[] = "/tmp/qub_bench_symbol.XXXXXX";
  if (!mkdtemp(pattern)) {
    std::perror("mkdtemp");
    return 1;
  }
  std::string dir = pattern;
  setenv("TEMP", dir.c_str(), 1);
  unsetenv("QUB_LOCK_MAX_WAIT");
  std::strcpy(current_file_name, "bench.c");

  std::printf("One commit into a symbol file (system lock; best and median of %d runs, ms)\n", REPEATS);
  std::printf("%-13s %-10s %-22s %-22s %-22s\n", "descriptions", "file KiB", "add new (best/median)",
              "unchanged (best/med.)", "update middle (b/m)");
  for (int n : {10, 1000, 10000}) {
    std::string original = make_symbol_file(dir, n);
    std::string sym = dir + "/MON.sym";
    std::free(g_run.symbol_file_name);
    g_run.symbol_file_name = pre_xstrdup((dir + "/MON").c_str());
    pre_symbol_reset();
    std::string middle = "src/module" + std::to_string(n / 2) + ".c";
    std::vector<double> add, same, update;
    for (int r = 0; r < REPEATS; r++) {
      write_all(sym, original);
      auto start = std::chrono::steady_clock::now();
      describe("src/new_module.c", 0);
      add.push_back(milliseconds_since(start));

      write_all(sym, original);
      start = std::chrono::steady_clock::now();
      describe(middle, 0);
      same.push_back(milliseconds_since(start));

      write_all(sym, original);
      start = std::chrono::steady_clock::now();
      describe(middle, 1);
      update.push_back(milliseconds_since(start));
    }
    figures a = summarise(add), s = summarise(same), u = summarise(update);
    char cells[3][64];
    std::snprintf(cells[0], sizeof cells[0], "%.3f / %.3f", a.best, a.median);
    std::snprintf(cells[1], sizeof cells[1], "%.3f / %.3f", s.best, s.median);
    std::snprintf(cells[2], sizeof cells[2], "%.3f / %.3f", u.best, u.median);
    std::printf("%-13d %-10zu %-22s %-22s %-22s\n", n, original.size() / 1024, cells[0], cells[1], cells[2]);
    std::fflush(stdout);
  }
  pre_symbol_reset();
  std::string command = "rm -rf '" + dir + "'";
  return std::system(command.c_str()) == 0 ? 0 : 1;
}
