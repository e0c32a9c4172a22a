// The report benchmark's helper.
//   report_bench generate DIR FILES FUNCTIONS  writes DIR/MON.sym and DIR/MON.dat: FILES
//       source files in directories of 100, each with FUNCTIONS functions of 33 records
//       (decisions, returns, a switch, a multicondition of three conditions)
//   report_bench measure COMMAND ARGS...        runs the command and prints its wall time
//       and processor time in seconds and its peak resident memory in MiB (on stderr)
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qub_data.h"

namespace {

// One function's records; %F, %J, %T, %C stand for the first F, J, TF and C numbers.
struct record {
  int kind, line_offset, counter_array;  // array: 0 none, 1 F, 2 J, 3 TF, 4 C base, 5 C base + n
  int counter_offset;
  const char *text;
};

const record FUNCTION[] = {
    {0, 0, 1, 0, "function_%d"},
    {90, -1, 0, 0, "int a , int b , int c"},
    {20, 2, 3, 0, "a > limit"},
    {13, 3, 2, 0, "a"},
    {3, 3, 0, 0, ""},
    {20, 4, 3, 1, "b < 0"},
    {13, 5, 2, 1, "- b"},
    {3, 5, 0, 0, ""},
    {42, 6, 0, 0, "c"},
    {14, 7, 2, 2, "0"},
    {14, 8, 2, 3, "1"},
    {14, 9, 2, 4, "2"},
    {16, 10, 2, 5, ""},
    {3, 10, 0, 0, ""},
    {78, -1, 4, 0, "2,4"},
    {79, -1, 4, 0, "0,1,3"},
    {70, 11, 0, 0, "( a || b ) && c"},
    {75, 11, 5, 4, "(T || _) && T"},
    {75, 11, 5, 2, "(F || T) && T"},
    {76, 11, 5, 3, "(T || _) && F"},
    {76, 11, 5, 1, "(F || T) && F"},
    {76, 11, 5, 0, "(F || F) && _"},
    {80, -1, 4, 0, "3,4"},
    {81, -1, 4, 0, "0,1,2"},
    {77, 11, 0, 0, "a"},
    {80, -1, 4, 0, "1,2"},
    {81, -1, 4, 0, "0"},
    {77, 11, 0, 0, "b"},
    {80, -1, 4, 0, "2,4"},
    {81, -1, 4, 0, "1,3"},
    {77, 11, 0, 0, "c"},
    {13, 12, 2, 6, "0"},
    {2, 13, 0, 0, "function_%d"},
};
constexpr int RECORDS = sizeof FUNCTION / sizeof FUNCTION[0];
constexpr int J_PER_FUNCTION = 7, TF_PER_FUNCTION = 2, C_PER_FUNCTION = 5, LINES_PER_FUNCTION = 15;

int generate(const std::string &dir, int files, int functions) {
  std::string sym_path = dir + "/MON.sym";
  std::FILE *sym = std::fopen(sym_path.c_str(), "w");
  if (!sym) {
    std::perror(sym_path.c_str());
    return 1;
  }
  qub_data_file data;
  std::memset(&data, 0, sizeof data);
  qub_data_init(&data);
  std::fprintf(sym, "QUB++ sym 9\nTue Nov 14 22:13:20 2023\n");
  long long records = 0;
  for (int file = 0; file < files; file++) {
    char source[256];
    std::snprintf(source, sizeof source, "%s/src/dir%03d/file%05d.c", dir.c_str(), file / 100, file);
    std::fprintf(sym, "@%s\n7 1700000000 %08X 0 0\n", source, static_cast<unsigned>(file));
    for (int fn = 0; fn < functions; fn++) {
      int line0 = 1 + fn * LINES_PER_FUNCTION;
      for (const record &r : FUNCTION) {
        int counter = 0;
        switch (r.counter_array) {
          case 1: counter = fn; break;
          case 2: counter = fn * J_PER_FUNCTION + r.counter_offset; break;
          case 3: counter = fn * TF_PER_FUNCTION + r.counter_offset; break;
          case 4: counter = fn * C_PER_FUNCTION; break;
          case 5: counter = fn * C_PER_FUNCTION + r.counter_offset; break;
        }
        char text[128];
        std::snprintf(text, sizeof text, r.text, fn);
        int line = r.line_offset < 0 ? 0 : line0 + r.line_offset;
        if (*text)
          std::fprintf(sym, "%d %d 0 %d 1 %s\n", r.kind, line, counter, text);
        else
          std::fprintf(sym, "%d %d 0 %d 1\n", r.kind, line, counter);
        records++;
      }
    }
    int f = functions, j = functions * J_PER_FUNCTION, tf = functions * TF_PER_FUNCTION, c = functions * C_PER_FUNCTION;
    std::fprintf(sym, "%%%d,%d,%d,%d,%d,0\n", functions * LINES_PER_FUNCTION, f, j, tf, c);
    // Counts: every third file never ran; the others ran some of their probes.
    if (file % 3 == 0) continue;
    qub_data_module *m = qub_data_module_for(&data, source, 1700000000, static_cast<unsigned>(file), 7, 0,
                                             static_cast<std::uint32_t>(f), static_cast<std::uint32_t>(j),
                                             static_cast<std::uint32_t>(tf), static_cast<std::uint32_t>(c), 0);
    qub_data_set *set = qub_data_set_for(m, 0);
    for (int i = 0; i < f; i++) set->f[i] = static_cast<std::uint64_t>((file + i) % 4);
    for (int i = 0; i < j; i++) set->j[i] = static_cast<std::uint64_t>((file * 7 + i) % 3);
    for (int i = 0; i < 2 * tf; i++) set->tf[i] = static_cast<std::uint64_t>((file + i) % 5);
    for (int i = 0; i < c; i++) set->c[i] = static_cast<std::uint64_t>((file + i * 3) % 4);
  }
  std::fprintf(sym, "END OF SYMBOLFILE\n");
  if (std::fclose(sym) != 0) {
    std::perror(sym_path.c_str());
    return 1;
  }
  qub_data_status status = qub_data_write((dir + "/MON.dat").c_str(), &data);
  qub_data_free(&data);
  if (status != QUB_DATA_OK) {
    std::fprintf(stderr, "report_bench: cannot write %s/MON.dat: %s\n", dir.c_str(), qub_data_status_text(status));
    return 1;
  }
  std::printf("%d files, %lld records\n", files, records);
  return 0;
}

int measure(char **argv) {
  auto start = std::chrono::steady_clock::now();
  pid_t pid = fork();
  if (pid == 0) {
    execvp(argv[0], argv);
    std::perror(argv[0]);
    _exit(127);
  }
  int status = 0;
  struct rusage usage;
  if (wait4(pid, &status, 0, &usage) < 0) return 1;
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  std::fprintf(stderr, "%.2f s wall, %.2f s cpu, %.0f MiB peak\n", seconds, cpu,
               static_cast<double>(usage.ru_maxrss) / 1024.0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc >= 5 && std::strcmp(argv[1], "generate") == 0) return generate(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
  if (argc >= 3 && std::strcmp(argv[1], "measure") == 0) return measure(argv + 2);
  std::fprintf(stderr, "usage: report_bench generate DIR FILES FUNCTIONS | report_bench measure COMMAND ARGS...\n");
  return 2;
}
