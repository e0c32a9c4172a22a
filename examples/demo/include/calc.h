/* calc.h: small arithmetic helpers of the demo project. */
#ifndef DEMO_CALC_H
#define DEMO_CALC_H

#ifdef __cplusplus
extern "C" {
#endif

/* Greatest common divisor; gcd(0, 0) is 0. */
unsigned calc_gcd(unsigned a, unsigned b);
/* 1 if n is a prime number, else 0. */
int calc_is_prime(unsigned n);
/* Clamps v into [lo, hi]. */
int calc_clamp(int v, int lo, int hi);
/* Kind of a year: 0 common, 1 leap. */
int calc_leap_year(int year);

#ifdef __cplusplus
}
#endif

#endif
