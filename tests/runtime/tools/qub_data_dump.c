/* qub_data_dump: prints a coverage data file as text, one line per array.
 * Usage: qub_data_dump FILE. Exit status 0, or 1 if the file cannot be read. */
#include <inttypes.h>
#include <stdio.h>

#include "qub_data.h"

static void array(const char *name, const uint64_t *a, uint64_t n) {
  uint64_t i;
  printf("  %s", name);
  for (i = 0; i < n; i++) printf(" %" PRIu64, a[i]);
  printf("\n");
}

int main(int argc, char **argv) {
  qub_data_file f;
  qub_data_status status;
  uint32_t i, k;
  if (argc != 2) {
    fprintf(stderr, "usage: qub_data_dump FILE\n");
    return 2;
  }
  status = qub_data_read(argv[1], &f);
  if (status != QUB_DATA_OK) {
    fprintf(stderr, "qub_data_dump: %s: %s%s%s\n", argv[1], qub_data_status_text(status),
            f.problem ? ": " : "", f.problem ? f.problem : "");
    qub_data_free(&f);
    return 1;
  }
  printf("version %u runs %" PRIu64 "\n", f.version, f.runs);
  for (i = 0; i < f.testcase_count; i++)
    printf("testcase %u \"%s\" runs %" PRIu64 "\n", i, f.testcases[i].name, f.testcases[i].runs);
  for (i = 0; i < f.module_count; i++) {
    const qub_data_module *m = &f.modules[i];
    printf("module \"%s\" ts %" PRId64 " fp %#" PRIx64 " mode %u timer %u sizes %u %u %u %u %u\n",
           m->source_id, m->time_stamp, m->fingerprint, m->mode, m->timer, m->f_size, m->j_size,
           m->tf_size, m->c_size, m->time_size);
    for (k = 0; k < m->set_count; k++) {
      const qub_data_set *s = &m->sets[k];
      printf(" set %u \"%s\"\n", s->testcase, f.testcases[s->testcase].name);
      array("f", s->f, m->f_size);
      array("j", s->j, m->j_size);
      array("tf", s->tf, 2 * (uint64_t)m->tf_size);
      array("c", s->c, m->c_size);
      array("time", s->time, m->time_size);
    }
  }
  qub_data_free(&f);
  return 0;
}
