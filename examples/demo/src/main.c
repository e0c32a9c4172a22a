/* main.c: the demo program prints a few facts about its arguments. */
#include <stdio.h>
#include <stdlib.h>

#include "calc.h"
#include "stats.h"

#ifndef DEMO_GREETING
#define DEMO_GREETING "demo"
#endif

int main(int argc, char **argv) {
  int values[64] = {0};
  int n = 0, i;
  struct stats s;
  for (i = 1; i < argc && n < 64; i++) values[n++] = atoi(argv[i]);
  printf("%s\n", DEMO_GREETING);
  if (!stats_compute(values, n, &s)) {
    printf("no values\n");
    return 0;
  }
  printf("count %d sum %ld min %d max %d mean %ld\n", s.count, s.sum, s.min, s.max, stats_mean(&s));
  for (i = 0; i < n; i++)
    printf("%d%s\n", values[i], calc_is_prime((unsigned)calc_clamp(values[i], 0, 1 << 30)) ? " prime" : "");
  return 0;
}
