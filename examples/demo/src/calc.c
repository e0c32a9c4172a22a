/* calc.c: small arithmetic helpers. */
#include "calc.h"

unsigned calc_gcd(unsigned a, unsigned b) {
  while (b != 0) {
    unsigned t = a % b;
    a = b;
    b = t;
  }
  return a;
}

int calc_is_prime(unsigned n) {
  unsigned d;
  if (n < 2) return 0;
  for (d = 2; d * d <= n; d++)
    if (n % d == 0) return 0;
  return 1;
}

int calc_clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

int calc_leap_year(int year) {
  if ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0) return 1;
  return 0;
}
