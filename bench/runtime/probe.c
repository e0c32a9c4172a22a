/* The functions of the probe benchmark, as written by a user. */
volatile unsigned sink;
void f(unsigned x);
void g(unsigned x);
void f(unsigned x) { sink = x * 3u + 1u; }
void g(unsigned x) {
  unsigned r = x >> 1;
  if (x & 1u) r = x + 7u;
  sink = r;
}
