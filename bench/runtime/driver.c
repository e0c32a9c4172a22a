/* Drives the probe benchmark: calls f or g N times and prints the time per
 * call in nanoseconds. Compiled without instrumentation.
 *   driver f|g N */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

void f(unsigned x);
void g(unsigned x);

static double seconds(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

int main(int argc, char **argv) {
  unsigned long n, i;
  double start;
  if (argc != 3) return 2;
  n = strtoul(argv[2], NULL, 10);
  start = seconds();
  if (argv[1][0] == 'g')
    for (i = 0; i < n; i++) g((unsigned)i);
  else
    for (i = 0; i < n; i++) f((unsigned)i);
  printf("%.3f\n", (seconds() - start) * 1e9 / (double)n);
  return 0;
}
