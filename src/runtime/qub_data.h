/* qub_data.h: the coverage data file, read, merged and written.
 *
 * One small C library (libqubdata.a, also part of libqub.a) that the coverage
 * runtime uses to merge its counters into the data file and that the report
 * reads the file with. The byte layout is described in docs/data-format.md;
 * this header is the only interface to it.
 *
 * A data file holds, for each instrumented module (one source file as the
 * instrumenting step identified it), the module's identity and its counters,
 * kept apart per test case. Counters are 64-bit, and every addition wraps
 * modulo 2^64.
 *
 * Counter arrays of one module in one test case (one "set"), in this order:
 *   f[f_size]      calls of each function (F number of the start probe)
 *   j[j_size]      passes through each jump-like probe (J number)
 *   tf[2*tf_size]  decisions: tf[2n] times decision n was true,
 *                  tf[2n+1] times it was false (TF number n)
 *   c[c_size]      evaluation paths of multiconditions (C number)
 *   time[time_size] time spent in each function (F number), inclusive or
 *                  exclusive as the module's mode says, in the unit of
 *                  `timer` (nanoseconds for the default clock)
 *
 * Thread safety: none of these functions share state; a qub_data_file may be
 * used by one thread at a time.
 *
 * Pointers to modules and sets stay valid until the next module or set is
 * added to the same file or module.
 */
#ifndef QUB_DATA_H
#define QUB_DATA_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Version of the layout written by this library. Files with a higher
 * version are refused as foreign (QUB_DATA_NEWER). */
#define QUB_DATA_VERSION 1

/* Mode bits of a module, as in the symbol file's description head. */
#define QUB_DATA_MODE_FUNCTION 1u
#define QUB_DATA_MODE_DECISION 2u
#define QUB_DATA_MODE_MULTICONDITION 4u
#define QUB_DATA_MODE_INCLUSIVE_TIMING 8u
#define QUB_DATA_MODE_EXCLUSIVE_TIMING 16u

/* Unit of a module's time array. */
#define QUB_DATA_TIMER_NANOSECONDS 0u /* the runtime's monotonic clock */
#define QUB_DATA_TIMER_USER 1u        /* ticks of the configured TIMER function */

typedef enum qub_data_status {
  QUB_DATA_OK = 0,
  QUB_DATA_NO_FILE,   /* the file does not exist (no run has written it yet) */
  QUB_DATA_IO,        /* a system call failed; errno tells why */
  QUB_DATA_FOREIGN,   /* not a data file at all (wrong magic) */
  QUB_DATA_NEWER,     /* a data file of a later, unknown version */
  QUB_DATA_DAMAGED,   /* truncated, inconsistent, or the checksum fails */
  QUB_DATA_NO_MEMORY,
  QUB_DATA_MISMATCH   /* qub_data_add_set: sizes differ from the module's */
} qub_data_status;

/* A short English text for a status, e.g. "checksum mismatch" details are in
 * qub_data_file.problem after a failed read. */
const char *qub_data_status_text(qub_data_status status);

/* One test case. Index 0 always exists and has the empty name: counts made
 * before any test case was named. */
typedef struct qub_data_testcase {
  char *name;    /* zero-terminated, may be empty */
  uint64_t runs; /* number of runs (process merges) that added to it */
} qub_data_testcase;

/* The counters of one module in one test case. */
typedef struct qub_data_set {
  uint32_t testcase; /* index into qub_data_file.testcases */
  uint64_t *f;       /* f_size counters */
  uint64_t *j;       /* j_size counters */
  uint64_t *tf;      /* 2 * tf_size counters: true, false, true, false, ... */
  uint64_t *c;       /* c_size counters */
  uint64_t *time;    /* time_size values */
} qub_data_set;

/* One module: its identity and its sets. */
typedef struct qub_data_module {
  char *source_id;      /* as in the symbol file's "@" line */
  int64_t time_stamp;   /* QUB_TS of the instrumented text */
  uint64_t fingerprint; /* QUB_FP of the instrumented text */
  uint32_t mode;        /* QUB_DATA_MODE_... bits */
  uint32_t timer;       /* QUB_DATA_TIMER_... */
  uint32_t f_size, j_size, tf_size, c_size, time_size;
  uint32_t set_count;
  qub_data_set *sets; /* at most one per test case, in no particular order */
} qub_data_module;

/* A whole data file in memory. Zero-initialise before first use, or use
 * qub_data_init. */
typedef struct qub_data_file {
  uint32_t version; /* version of the file read; QUB_DATA_VERSION when new */
  uint64_t runs;    /* number of merges that wrote the file */
  uint32_t testcase_count;
  qub_data_testcase *testcases;
  uint32_t module_count;
  qub_data_module *modules;
  /* After a failed read: what was wrong, e.g. "checksum mismatch". */
  const char *problem;
  /* Private: index of modules by source id and allocation sizes. */
  void *index_;
  uint32_t testcase_capacity_, module_capacity_;
} qub_data_file;

/* An empty file: no modules, the one test case "". */
qub_data_status qub_data_init(qub_data_file *file);

/* Frees everything the file holds; the struct is zeroed. */
void qub_data_free(qub_data_file *file);

/* Reads a data file. On QUB_DATA_OK `file` holds its content (free it with
 * qub_data_free); on any other status `file` is left empty but valid (as by
 * qub_data_init) and `file->problem` may tell more. A file of size 0 reads as
 * an empty data file. */
qub_data_status qub_data_read(const char *path, qub_data_file *file);

/* The same from bytes in memory. */
qub_data_status qub_data_parse(const void *bytes, size_t size, qub_data_file *file);

/* Serialises the file into a new heap buffer (free with free()). */
qub_data_status qub_data_serialize(const qub_data_file *file, unsigned char **bytes,
                                   size_t *size);

/* Writes the file to `path` (truncating it). No locking, no atomic replace:
 * the runtime does those around it. */
qub_data_status qub_data_write(const char *path, const qub_data_file *file);

/* The module with this source id, or NULL. */
qub_data_module *qub_data_find(const qub_data_file *file, const char *source_id);

/* The index of the test case with this name, added if it is new; -1 when out
 * of memory. */
int32_t qub_data_testcase_index(qub_data_file *file, const char *name);

/* The module with this identity, ready to receive sets:
 * - not in the file: added, with no sets;
 * - in the file with the same time stamp, fingerprint and sizes: returned;
 * - in the file with another time stamp, fingerprint or any other size: its
 *   sets are dropped and it takes the new identity (the source was
 *   instrumented anew, old counts no longer mean anything).
 * NULL when out of memory. */
qub_data_module *qub_data_module_for(qub_data_file *file, const char *source_id,
                                     int64_t time_stamp, uint64_t fingerprint,
                                     uint32_t mode, uint32_t timer, uint32_t f_size,
                                     uint32_t j_size, uint32_t tf_size, uint32_t c_size,
                                     uint32_t time_size);

/* The set of `module` for test case `testcase`, added with zero counters if
 * missing. NULL when out of memory. */
qub_data_set *qub_data_set_for(qub_data_module *module, uint32_t testcase);

/* Adds counters to the set (each array as laid out above; any of them may be
 * NULL when its size is 0). */
void qub_data_add_counts(const qub_data_module *module, qub_data_set *set,
                         const uint64_t *f, const uint64_t *j, const uint64_t *tf,
                         const uint64_t *c, const uint64_t *time);

/* Merges everything of `from` into `into`: test cases by name, modules by
 * source id as qub_data_module_for does, counters added. `runs` add up. */
qub_data_status qub_data_merge(qub_data_file *into, const qub_data_file *from);

/* CRC-32 (IEEE 802.3, reflected, as zlib) of a byte range, continuing from
 * `crc` (0 to start). */
uint32_t qub_data_crc32(uint32_t crc, const void *bytes, size_t size);

#ifdef __cplusplus
}
#endif

#endif
