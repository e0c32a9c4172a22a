/* Time to merge counts into a large coverage data file.
 *   bench_runtime_merge [MODULES] [REPETITIONS]
 * Makes a data file of MODULES modules (20 functions, 60 jumps, 40
 * decisions, 30 paths each) in a scratch directory and times, best of
 * REPETITIONS:
 *   read      qub_data_read of the whole file
 *   write     qub_data_write of the whole file
 *   merge 1   a process with one registered module writes (qub_write): lock,
 *             read, add, write the new file, flush it to disk, rename
 *   merge all a process with all MODULES modules registered writes */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "qub.h"
#include "qub_data.h"

enum { F = 20, J = 60, TF = 40, C = 30 };

static char scratch[] = "/tmp/qub_merge_bench.XXXXXX";

static void remove_scratch(void) {
  char command[100];
  snprintf(command, sizeof command, "rm -rf '%s'", scratch);
  if (system(command) != 0) fprintf(stderr, "cannot remove %s\n", scratch);
}

static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static char *name_of(int i) {
  char *name = malloc(64);
  snprintf(name, 64, "/project/src/dir%03d/file%05d.c", i % 100, i);
  return name;
}

static struct qub_module *make_module(int i) {
  struct qub_module *m = calloc(1, sizeof *m);
  m->abi = QUB_ABI;
  m->mode = 7;
  m->source_id = name_of(i);
  m->base_name = "file.c";
  m->timer = "(void *) 0";
  m->time_stamp = 1763900000 + i;
  m->fingerprint = (qub_u64)i * 2654435761u;
  m->sizes[0] = F;
  m->sizes[1] = J;
  m->sizes[2] = TF;
  m->sizes[3] = C;
  m->counters = calloc(F + 1 + J + 1 + 2 * TF + 1 + C + 1, sizeof(qub_u64));
  m->time = calloc(1, sizeof(qub_u64));
  return m;
}

int main(int argc, char **argv) {
  int modules = argc > 1 ? atoi(argv[1]) : 10000;
  int reps = argc > 2 ? atoi(argv[2]) : 5;
  char *dir = scratch;
  char path[256];
  qub_data_file file;
  struct qub_module **registered;
  double best[4] = {1e9, 1e9, 1e9, 1e9};
  int i, r, k;
  long size;
  FILE *in;
  if (!mkdtemp(dir)) return 1;
  atexit(remove_scratch);
  snprintf(path, sizeof path, "%s/MON.dat", dir);
  qub_data_init(&file);
  for (i = 0; i < modules; i++) {
    char *name = name_of(i);
    qub_data_module *m = qub_data_module_for(&file, name, 1763900000 + i,
                                             (uint64_t)i * 2654435761u, 7, 0, F, J, TF, C, 0);
    qub_data_set *s = qub_data_set_for(m, 0);
    for (k = 0; k < F + J + 2 * TF + C; k++) s->f[k] = (uint64_t)(i + k);
    free(name);
  }
  file.runs = 1;
  qub_data_write(path, &file);
  qub_data_free(&file);
  in = fopen(path, "rb");
  fseek(in, 0, SEEK_END);
  size = ftell(in);
  fclose(in);

  for (r = 0; r < reps; r++) {
    double t = now();
    qub_data_read(path, &file);
    t = now() - t;
    if (t < best[0]) best[0] = t;
    t = now();
    qub_data_write(path, &file);
    t = now() - t;
    if (t < best[1]) best[1] = t;
    qub_data_free(&file);
  }
  registered = calloc((size_t)modules, sizeof *registered);
  for (i = 0; i < modules; i++) registered[i] = make_module(i);
  qub_register(registered[modules / 2], registered[modules / 2]->source_id, path);
  for (r = 0; r < reps; r++) {
    double t;
    registered[modules / 2]->counters[3] = 5;
    t = now();
    qub_write();
    t = now() - t;
    if (t < best[2]) best[2] = t;
  }
  for (i = 0; i < modules; i++)
    if (i != modules / 2) qub_register(registered[i], registered[i]->source_id, path);
  for (r = 0; r < reps; r++) {
    double t;
    for (i = 0; i < modules; i++) registered[i]->counters[1] = 1;
    t = now();
    qub_write();
    t = now() - t;
    if (t < best[3]) best[3] = t;
  }
  printf("modules %d, counters per module %d, file %.1f MB\n", modules, F + J + 2 * TF + C,
         (double)size / 1e6);
  printf("%-10s %10s\n", "step", "best_ms");
  printf("%-10s %10.1f\n", "read", best[0] * 1e3);
  printf("%-10s %10.1f\n", "write", best[1] * 1e3);
  printf("%-10s %10.1f\n", "merge 1", best[2] * 1e3);
  printf("%-10s %10.1f\n", "merge all", best[3] * 1e3);
  /* The modules stay registered; the exit handler writes them once more,
   * then the scratch directory goes (handlers run in reverse order). */
  return 0;
}
