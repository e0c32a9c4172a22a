/* stats.h: statistics over integer arrays. */
#ifndef DEMO_STATS_H
#define DEMO_STATS_H

#ifdef __cplusplus
extern "C" {
#endif

struct stats {
  long sum;
  int min;
  int max;
  int count;
};

/* Fills s from the n values; returns 0 for an empty array, else 1. */
int stats_compute(const int *values, int n, struct stats *s);
/* The mean rounded towards zero; 0 for no values. */
long stats_mean(const struct stats *s);

#ifdef __cplusplus
}
#endif

#endif
