// Throughput and peak memory of the scanner and writer on preprocessed C++ text.
// Usage: bench_scanner [iterations] [preprocessed-file]
// Without a file, the C++ standard headers are preprocessed with g++ -std=c++17 -E.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/pipeline.h"
#include "driver/run_state.h"
#include "preparse/token.h"

static long peak_rss_kib() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_maxrss;
}

static long current_rss_kib() {
  long pages = 0, resident = 0;
  std::FILE *f = std::fopen("/proc/self/statm", "r");
  if (f) {
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

int main(int argc, char **argv) {
  int iterations = argc > 1 ? std::atoi(argv[1]) : 10;
  std::string dir = "/tmp/qub_bench_" + std::to_string(getpid());
  mkdir(dir.c_str(), 0700);
  std::string input;
  if (argc > 2) {
    input = argv[2];
  } else {
    std::string src = dir + "/headers.cpp";
    std::FILE *f = std::fopen(src.c_str(), "w");
    std::fputs("#include <iostream>\n#include <vector>\n#include <map>\n#include <regex>\n"
               "#include <functional>\n#include <memory>\n#include <algorithm>\n#include <thread>\n"
               "int main() { std::vector<int> v{3, 1, 2}; std::sort(v.begin(), v.end()); return v[0]; }\n",
               f);
    std::fclose(f);
    input = dir + "/headers.ii";
    std::string cmd = "g++ -std=c++17 -E '" + src + "' -o '" + input + "'";
    if (std::system(cmd.c_str()) != 0) {
      std::fprintf(stderr, "cannot preprocess the input\n");
      return 1;
    }
  }
  struct stat st;
  if (stat(input.c_str(), &st) != 0) {
    std::fprintf(stderr, "cannot read %s\n", input.c_str());
    return 1;
  }
  double mb = static_cast<double>(st.st_size) / 1e6;
  std::string out = dir + "/instrumented.cpp";
  pre_run_state_reset();
  source_language = LANG_CXX;

  long base_rss = current_rss_kib();
  double best = 1e30, total = 0, first = 0;
  for (int i = 0; i < iterations; i++) {
    auto t0 = std::chrono::steady_clock::now();
    if (pre_instrument_preprocessed(input.c_str(), "headers.cpp", out.c_str()) != STATUS_OK) return 1;
    double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (i == 0) first = s;
    best = s < best ? s : best;
    total += s;
  }
  long peak = peak_rss_kib();
  std::printf("input: %s, %.2f MB of preprocessed text\n", input.c_str(), mb);
  std::printf("iterations: %d, best %.1f ms, mean %.1f ms\n", iterations, best * 1e3, total / iterations * 1e3);
  std::printf("throughput: best %.1f MB/s, mean %.1f MB/s, first run (cold pages) %.1f MB/s\n", mb / best,
              mb * iterations / total, mb / first);
  std::printf("peak RSS: %.1f MB (%.1f MB before the first run); growth %.1fx the input size\n",
              peak / 1024.0, base_rss / 1024.0, (peak - base_rss) * 1024.0 / static_cast<double>(st.st_size));
  std::string cleanup = "rm -rf '" + dir + "'";
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
