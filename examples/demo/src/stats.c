/* stats.c: statistics over integer arrays. */
#include "stats.h"

int stats_compute(const int *values, int n, struct stats *s) {
  int i;
  s->sum = 0;
  s->count = n;
  s->min = s->max = 0;
  if (n <= 0) return 0;
  s->min = s->max = values[0];
  for (i = 0; i < n; i++) {
    s->sum += values[i];
    if (values[i] < s->min) s->min = values[i];
    if (values[i] > s->max) s->max = values[i];
  }
  return 1;
}

long stats_mean(const struct stats *s) {
  switch (s->count) {
    case 0:
      return 0;
    default:
      return s->sum / s->count;
  }
}
