// Throughput and peak memory of the per-file path with multicondition instrumentation.
// Usage: bench_multicondition [iterations] [mode] [preprocessed-file]
//   mode: f, d or m (default m).
// Without a file, two inputs are measured: the C++ standard headers preprocessed with
// g++ -std=c++17 -E, and a generated C file whose functions are dense with decisions
// of two to ten elementary conditions.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "preparse/keywords.h"
#include "preparse/token.h"

namespace {

long peak_rss_kib() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_maxrss;
}

// CPU time of this process: a measure that other load on the machine disturbs less.
double cpu_seconds() {
  timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

long current_rss_kib() {
  long pages = 0, resident = 0;
  std::FILE *f = std::fopen("/proc/self/statm", "r");
  if (f) {
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::string condition(std::mt19937 &rng, int n) {
  std::string s;
  int open = 0;
  for (int i = 0; i < n; i++) {
    if (i) s += rng() % 2 ? " && " : " || ";
    if (i + 1 < n && rng() % 3 == 0) {
      s += "(";
      open++;
    }
    if (rng() % 4 == 0) s += "!";
    s += "p[" + std::to_string(i) + "] > " + std::to_string(rng() % 7);
    if (open && rng() % 2) {
      s += ")";
      open--;
    }
  }
  while (open--) s += ")";
  return s;
}

// About `bytes` of C: functions with if, while and assignments over multiconditions.
void write_conditions_file(const std::string &path, std::size_t bytes) {
  std::mt19937 rng(7);
  std::FILE *f = std::fopen(path.c_str(), "w");
  std::size_t written = 0;
  for (int fn = 0; written < bytes; fn++) {
    std::string body = "int f" + std::to_string(fn) + "(const int *p, int n)\n{\n    int r = 0;\n";
    for (int k = 0; k < 6; k++) {
      int operands = 2 + static_cast<int>(rng() % 9);
      body += "    if (" + condition(rng, operands) + ")\n        r += " + std::to_string(k) + ";\n";
      body += "    r = " + condition(rng, 2 + static_cast<int>(rng() % 3)) + ";\n";
      body += "    while (n > 0 && (" + condition(rng, 2) + "))\n        n--;\n";
    }
    body += "    return r + n;\n}\n";
    std::fputs(body.c_str(), f);
    written += body.size();
  }
  std::fclose(f);
}

void measure(const std::string &input, std::uint32_t language, const char *source_name, int iterations,
             const std::string &dir) {
  struct stat st;
  if (stat(input.c_str(), &st) != 0) {
    std::fprintf(stderr, "cannot read %s\n", input.c_str());
    std::exit(1);
  }
  double mb = static_cast<double>(st.st_size) / 1e6;
  std::string out = dir + "/instrumented";
  long base_rss = current_rss_kib();
  long base_peak = peak_rss_kib();
  double best = 1e30, total = 0, first = 0, cpu_best = 1e30, cpu_total = 0;
  for (int i = 0; i < iterations; i++) {
    pre_set_language(language);
    auto t0 = std::chrono::steady_clock::now();
    double c0 = cpu_seconds();
    if (pre_instrument_preprocessed(input.c_str(), source_name, out.c_str()) != STATUS_OK) std::exit(1);
    double c = cpu_seconds() - c0;
    double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (i == 0) first = s;
    best = s < best ? s : best;
    total += s;
    cpu_best = c < cpu_best ? c : cpu_best;
    cpu_total += c;
  }
  long peak = peak_rss_kib();
  std::printf("input: %s, %.2f MB\n", input.c_str(), mb);
  std::printf("  iterations %d: best %.1f ms, mean %.1f ms\n", iterations, best * 1e3, total / iterations * 1e3);
  std::printf("  throughput: best %.1f MB/s, mean %.1f MB/s, first run %.1f MB/s\n", mb / best,
              mb * iterations / total, mb / first);
  std::printf("  throughput by the process's CPU time: best %.1f MB/s, mean %.1f MB/s\n", mb / cpu_best,
              mb * iterations / cpu_total);
  std::printf("  peak RSS %.1f MB (%.1f MB before this input, peak before %.1f MB); growth %.1fx the input\n",
              peak / 1024.0, base_rss / 1024.0, base_peak / 1024.0,
              (peak - base_rss) * 1024.0 / static_cast<double>(st.st_size));
}

}  // namespace

int main(int argc, char **argv) {
  int iterations = argc > 1 ? std::atoi(argv[1]) : 10;
  char mode = argc > 2 ? argv[2][0] : 'm';
  std::string dir = "/tmp/qub_bench_multi_" + std::to_string(getpid());
  mkdir(dir.c_str(), 0700);
  if (chdir(dir.c_str()) != 0) return 1;
  pre_run_state_reset();
  g_run.instrument_decision = mode != 'f';
  g_run.instrument_multicondition = mode == 'm';
  std::printf("mode -i %c\n", mode);
  if (argc > 3) {
    measure(argv[3], LANG_CXX, "input.cpp", iterations, dir);
  } else {
    std::string conditions = dir + "/conditions.i";
    write_conditions_file(conditions, 2000000);
    measure(conditions, LANG_C, "conditions.c", iterations, dir);
    std::string src = dir + "/headers.cpp";
    std::FILE *f = std::fopen(src.c_str(), "w");
    std::fputs("#include <iostream>\n#include <vector>\n#include <map>\n#include <regex>\n"
               "#include <functional>\n#include <memory>\n#include <algorithm>\n#include <thread>\n"
               "int main() { std::vector<int> v{3, 1, 2}; std::sort(v.begin(), v.end()); return v[0]; }\n",
               f);
    std::fclose(f);
    std::string headers = dir + "/headers.ii";
    std::string cmd = "g++ -std=c++17 -E '" + src + "' -o '" + headers + "'";
    if (std::system(cmd.c_str()) != 0) {
      std::fprintf(stderr, "cannot preprocess the input\n");
      return 1;
    }
    measure(headers, LANG_CXX, "headers.cpp", iterations, dir);
  }
  std::string rm = "rm -rf '" + dir + "'";
  return std::system(rm.c_str()) == 0 ? 0 : 1;
}
