/* qub_data.c: the coverage data file in memory and on disk. */
#include "qub_data.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define MAGIC "QUB++DAT"
#define TRAILER "END\n"
#define HEADER_SIZE 40u
#define TRAILER_SIZE 8u

typedef struct module_index {
  uint32_t capacity; /* power of two */
  uint32_t used;
  uint32_t *slots; /* module index + 1, 0 for empty */
} module_index;

const char *qub_data_status_text(qub_data_status status) {
  switch (status) {
  case QUB_DATA_OK: return "no error";
  case QUB_DATA_NO_FILE: return "no such file";
  case QUB_DATA_IO: return "input/output error";
  case QUB_DATA_FOREIGN: return "not a coverage data file";
  case QUB_DATA_NEWER: return "data file of a later version";
  case QUB_DATA_DAMAGED: return "damaged data file";
  case QUB_DATA_NO_MEMORY: return "out of memory";
  case QUB_DATA_MISMATCH: return "counter sizes do not match";
  }
  return "unknown status";
}

/* ---- CRC-32 ------------------------------------------------------------- */

static uint32_t crc_table[8][256];
static int crc_ready;

static void crc_init(void) {
  uint32_t i, k, c;
  for (i = 0; i < 256; i++) {
    c = i;
    for (k = 0; k < 8; k++) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    crc_table[0][i] = c;
  }
  for (i = 0; i < 256; i++) {
    c = crc_table[0][i];
    for (k = 1; k < 8; k++) {
      c = crc_table[0][c & 0xFF] ^ (c >> 8);
      crc_table[k][i] = c;
    }
  }
  __atomic_store_n(&crc_ready, 1, __ATOMIC_RELEASE);
}

uint32_t qub_data_crc32(uint32_t crc, const void *bytes, size_t size) {
  const unsigned char *p = (const unsigned char *)bytes;
  uint32_t c = ~crc;
  /* A racing second initialisation writes the same values. */
  if (!__atomic_load_n(&crc_ready, __ATOMIC_ACQUIRE)) crc_init();
  while (size >= 8) {
    uint32_t lo = c ^ ((uint32_t)p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 |
                       (uint32_t)p[3] << 24);
    uint32_t hi = (uint32_t)p[4] | (uint32_t)p[5] << 8 | (uint32_t)p[6] << 16 |
                  (uint32_t)p[7] << 24;
    c = crc_table[7][lo & 0xFF] ^ crc_table[6][(lo >> 8) & 0xFF] ^
        crc_table[5][(lo >> 16) & 0xFF] ^ crc_table[4][lo >> 24] ^ crc_table[3][hi & 0xFF] ^
        crc_table[2][(hi >> 8) & 0xFF] ^ crc_table[1][(hi >> 16) & 0xFF] ^
        crc_table[0][hi >> 24];
    p += 8;
    size -= 8;
  }
  while (size--) c = crc_table[0][(c ^ *p++) & 0xFF] ^ (c >> 8);
  return ~c;
}

/* ---- building the file in memory ---------------------------------------- */

static char *copy_text(const char *text, size_t length) {
  char *copy = (char *)malloc(length + 1);
  if (copy) {
    memcpy(copy, text, length);
    copy[length] = 0;
  }
  return copy;
}

qub_data_status qub_data_init(qub_data_file *file) {
  memset(file, 0, sizeof *file);
  file->version = QUB_DATA_VERSION;
  return qub_data_testcase_index(file, "") == 0 ? QUB_DATA_OK : QUB_DATA_NO_MEMORY;
}

static void free_module(qub_data_module *m) {
  uint32_t i;
  for (i = 0; i < m->set_count; i++) free(m->sets[i].f);
  free(m->sets);
  free(m->source_id);
}

void qub_data_free(qub_data_file *file) {
  uint32_t i;
  module_index *index = (module_index *)file->index_;
  for (i = 0; i < file->testcase_count; i++) free(file->testcases[i].name);
  free(file->testcases);
  for (i = 0; i < file->module_count; i++) free_module(&file->modules[i]);
  free(file->modules);
  if (index) free(index->slots);
  free(index);
  memset(file, 0, sizeof *file);
}

int32_t qub_data_testcase_index(qub_data_file *file, const char *name) {
  uint32_t i;
  char *copy;
  for (i = 0; i < file->testcase_count; i++)
    if (strcmp(file->testcases[i].name, name) == 0) return (int32_t)i;
  if (file->testcase_count == 0x7FFFFFFF) return -1;
  if (file->testcase_count == file->testcase_capacity_) {
    uint32_t capacity = file->testcase_capacity_ ? file->testcase_capacity_ * 2 : 4;
    qub_data_testcase *grown = (qub_data_testcase *)realloc(
        file->testcases, (size_t)capacity * sizeof *grown);
    if (!grown) return -1;
    file->testcases = grown;
    file->testcase_capacity_ = capacity;
  }
  copy = copy_text(name, strlen(name));
  if (!copy) return -1;
  file->testcases[file->testcase_count].name = copy;
  file->testcases[file->testcase_count].runs = 0;
  return (int32_t)file->testcase_count++;
}

static uint32_t hash_text(const char *text) {
  uint32_t h = 2166136261u;
  while (*text) h = (h ^ (unsigned char)*text++) * 16777619u;
  return h;
}

static int index_grow(qub_data_file *file) {
  module_index *index = (module_index *)file->index_;
  uint32_t capacity, i;
  uint32_t *slots;
  if (!index) {
    index = (module_index *)calloc(1, sizeof *index);
    if (!index) return 0;
    file->index_ = index;
  }
  capacity = index->capacity ? index->capacity * 2 : 64;
  while (capacity < 2 * (file->module_count + 1)) capacity *= 2;
  slots = (uint32_t *)calloc(capacity, sizeof *slots);
  if (!slots) return 0;
  for (i = 0; i < file->module_count; i++) {
    uint32_t s = hash_text(file->modules[i].source_id) & (capacity - 1);
    while (slots[s]) s = (s + 1) & (capacity - 1);
    slots[s] = i + 1;
  }
  free(index->slots);
  index->slots = slots;
  index->capacity = capacity;
  index->used = file->module_count;
  return 1;
}

/* The slot where `source_id` is or would go; builds the index on first use. */
static uint32_t *index_slot(qub_data_file *file, const char *source_id) {
  module_index *index = (module_index *)file->index_;
  uint32_t s;
  if ((!index || index->used != file->module_count || 2 * (index->used + 1) > index->capacity) &&
      !index_grow(file))
    return NULL;
  index = (module_index *)file->index_;
  s = hash_text(source_id) & (index->capacity - 1);
  while (index->slots[s] && strcmp(file->modules[index->slots[s] - 1].source_id, source_id))
    s = (s + 1) & (index->capacity - 1);
  return &index->slots[s];
}

qub_data_module *qub_data_find(const qub_data_file *file, const char *source_id) {
  uint32_t *slot = index_slot((qub_data_file *)file, source_id);
  if (slot) return *slot ? &file->modules[*slot - 1] : NULL;
  { /* no memory for an index: search */
    uint32_t i;
    for (i = 0; i < file->module_count; i++)
      if (strcmp(file->modules[i].source_id, source_id) == 0) return &file->modules[i];
  }
  return NULL;
}

static uint64_t set_length(const qub_data_module *m) {
  return (uint64_t)m->f_size + m->j_size + 2 * (uint64_t)m->tf_size + m->c_size + m->time_size;
}

static void drop_sets(qub_data_module *m) {
  uint32_t i;
  for (i = 0; i < m->set_count; i++) free(m->sets[i].f);
  free(m->sets);
  m->sets = NULL;
  m->set_count = 0;
}

qub_data_module *qub_data_module_for(qub_data_file *file, const char *source_id,
                                     int64_t time_stamp, uint64_t fingerprint,
                                     uint32_t mode, uint32_t timer, uint32_t f_size,
                                     uint32_t j_size, uint32_t tf_size, uint32_t c_size,
                                     uint32_t time_size) {
  uint32_t *slot = index_slot(file, source_id);
  qub_data_module *m;
  if (!slot) return NULL;
  if (*slot) {
    m = &file->modules[*slot - 1];
    if (m->time_stamp != time_stamp || m->fingerprint != fingerprint || m->mode != mode ||
        m->timer != timer || m->f_size != f_size || m->j_size != j_size ||
        m->tf_size != tf_size || m->c_size != c_size || m->time_size != time_size) {
      drop_sets(m);
      m->time_stamp = time_stamp;
      m->fingerprint = fingerprint;
      m->mode = mode;
      m->timer = timer;
      m->f_size = f_size;
      m->j_size = j_size;
      m->tf_size = tf_size;
      m->c_size = c_size;
      m->time_size = time_size;
    }
    return m;
  }
  if (file->module_count == file->module_capacity_) {
    uint32_t capacity = file->module_capacity_ ? file->module_capacity_ * 2 : 16;
    qub_data_module *grown =
        (qub_data_module *)realloc(file->modules, (size_t)capacity * sizeof *grown);
    if (!grown) return NULL;
    file->modules = grown;
    file->module_capacity_ = capacity;
  }
  m = &file->modules[file->module_count];
  memset(m, 0, sizeof *m);
  m->source_id = copy_text(source_id, strlen(source_id));
  if (!m->source_id) return NULL;
  m->time_stamp = time_stamp;
  m->fingerprint = fingerprint;
  m->mode = mode;
  m->timer = timer;
  m->f_size = f_size;
  m->j_size = j_size;
  m->tf_size = tf_size;
  m->c_size = c_size;
  m->time_size = time_size;
  *slot = ++file->module_count;
  ((module_index *)file->index_)->used = file->module_count;
  return m;
}

static void point_set(const qub_data_module *m, qub_data_set *set, uint64_t *block) {
  set->f = block;
  set->j = set->f + m->f_size;
  set->tf = set->j + m->j_size;
  set->c = set->tf + 2 * (size_t)m->tf_size;
  set->time = set->c + m->c_size;
}

qub_data_set *qub_data_set_for(qub_data_module *module, uint32_t testcase) {
  uint32_t i;
  uint64_t length = set_length(module);
  qub_data_set *grown;
  uint64_t *block;
  for (i = 0; i < module->set_count; i++)
    if (module->sets[i].testcase == testcase) return &module->sets[i];
  if (length > SIZE_MAX / sizeof(uint64_t) - 1) return NULL;
  grown = (qub_data_set *)realloc(module->sets, (module->set_count + 1) * sizeof *grown);
  if (!grown) return NULL;
  module->sets = grown;
  /* One element more than needed, so that an all-empty module still owns a block. */
  block = (uint64_t *)calloc((size_t)length + 1, sizeof *block);
  if (!block) return NULL;
  grown[module->set_count].testcase = testcase;
  point_set(module, &grown[module->set_count], block);
  return &grown[module->set_count++];
}

static void add_array(uint64_t *to, const uint64_t *from, uint64_t n) {
  uint64_t i;
  if (!from) return;
  for (i = 0; i < n; i++) to[i] += from[i];
}

void qub_data_add_counts(const qub_data_module *module, qub_data_set *set,
                         const uint64_t *f, const uint64_t *j, const uint64_t *tf,
                         const uint64_t *c, const uint64_t *time) {
  add_array(set->f, f, module->f_size);
  add_array(set->j, j, module->j_size);
  add_array(set->tf, tf, 2 * (uint64_t)module->tf_size);
  add_array(set->c, c, module->c_size);
  add_array(set->time, time, module->time_size);
}

qub_data_status qub_data_merge(qub_data_file *into, const qub_data_file *from) {
  uint32_t i, k;
  int32_t *map;
  if (from->testcase_count == 0) return QUB_DATA_OK;
  map = (int32_t *)malloc(from->testcase_count * sizeof *map);
  if (!map) return QUB_DATA_NO_MEMORY;
  for (i = 0; i < from->testcase_count; i++) {
    map[i] = qub_data_testcase_index(into, from->testcases[i].name);
    if (map[i] < 0) {
      free(map);
      return QUB_DATA_NO_MEMORY;
    }
    into->testcases[map[i]].runs += from->testcases[i].runs;
  }
  into->runs += from->runs;
  for (i = 0; i < from->module_count; i++) {
    const qub_data_module *src = &from->modules[i];
    qub_data_module *dst = qub_data_module_for(
        into, src->source_id, src->time_stamp, src->fingerprint, src->mode, src->timer,
        src->f_size, src->j_size, src->tf_size, src->c_size, src->time_size);
    if (!dst) {
      free(map);
      return QUB_DATA_NO_MEMORY;
    }
    for (k = 0; k < src->set_count; k++) {
      const qub_data_set *s = &src->sets[k];
      qub_data_set *d = qub_data_set_for(dst, (uint32_t)map[s->testcase]);
      if (!d) {
        free(map);
        return QUB_DATA_NO_MEMORY;
      }
      qub_data_add_counts(dst, d, s->f, s->j, s->tf, s->c, s->time);
    }
  }
  free(map);
  return QUB_DATA_OK;
}

/* ---- the byte layout ---------------------------------------------------- */

typedef struct writer {
  unsigned char *bytes;
  size_t size, capacity;
  int failed;
} writer;

static void put(writer *w, const void *bytes, size_t n) {
  if (w->failed) return;
  if (w->size + n > w->capacity) {
    size_t capacity = w->capacity ? w->capacity : 4096;
    unsigned char *grown;
    while (capacity < w->size + n) capacity *= 2;
    grown = (unsigned char *)realloc(w->bytes, capacity);
    if (!grown) {
      w->failed = 1;
      return;
    }
    w->bytes = grown;
    w->capacity = capacity;
  }
  memcpy(w->bytes + w->size, bytes, n);
  w->size += n;
}

static void put_u32(writer *w, uint32_t v) {
  unsigned char b[4];
  b[0] = (unsigned char)v;
  b[1] = (unsigned char)(v >> 8);
  b[2] = (unsigned char)(v >> 16);
  b[3] = (unsigned char)(v >> 24);
  put(w, b, 4);
}

static void put_u64(writer *w, uint64_t v) {
  put_u32(w, (uint32_t)v);
  put_u32(w, (uint32_t)(v >> 32));
}

static void put_text(writer *w, const char *text) {
  size_t n = strlen(text);
  put_u32(w, (uint32_t)n);
  put(w, text, n);
}

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define HOST_IS_LITTLE_ENDIAN 1
#else
#define HOST_IS_LITTLE_ENDIAN 0
#endif

static void put_array(writer *w, const uint64_t *a, uint64_t n) {
  uint64_t i;
  if (HOST_IS_LITTLE_ENDIAN) {
    put(w, a, (size_t)n * 8);
    return;
  }
  for (i = 0; i < n; i++) put_u64(w, a[i]);
}

static void patch_u32(unsigned char *at, uint32_t v) {
  at[0] = (unsigned char)v;
  at[1] = (unsigned char)(v >> 8);
  at[2] = (unsigned char)(v >> 16);
  at[3] = (unsigned char)(v >> 24);
}

qub_data_status qub_data_serialize(const qub_data_file *file, unsigned char **bytes,
                                   size_t *size) {
  writer w;
  uint32_t i, k;
  memset(&w, 0, sizeof w);
  put(&w, MAGIC, 8);
  put_u32(&w, QUB_DATA_VERSION);
  put_u32(&w, 0);
  put_u64(&w, 0); /* file size, patched below */
  put_u32(&w, file->testcase_count);
  put_u32(&w, file->module_count);
  put_u64(&w, file->runs);
  for (i = 0; i < file->testcase_count; i++) {
    put_text(&w, file->testcases[i].name);
    put_u64(&w, file->testcases[i].runs);
  }
  for (i = 0; i < file->module_count; i++) {
    const qub_data_module *m = &file->modules[i];
    put_text(&w, m->source_id);
    put_u64(&w, (uint64_t)m->time_stamp);
    put_u64(&w, m->fingerprint);
    put_u32(&w, m->mode);
    put_u32(&w, m->timer);
    put_u32(&w, m->f_size);
    put_u32(&w, m->j_size);
    put_u32(&w, m->tf_size);
    put_u32(&w, m->c_size);
    put_u32(&w, m->time_size);
    put_u32(&w, m->set_count);
    for (k = 0; k < m->set_count; k++) {
      put_u32(&w, m->sets[k].testcase);
      put_array(&w, m->sets[k].f, set_length(m));
    }
  }
  put_u32(&w, 0); /* checksum, patched below */
  put(&w, TRAILER, 4);
  if (w.failed) {
    free(w.bytes);
    return QUB_DATA_NO_MEMORY;
  }
  patch_u32(w.bytes + 16, (uint32_t)w.size);
  patch_u32(w.bytes + 20, (uint32_t)((uint64_t)w.size >> 32));
  patch_u32(w.bytes + w.size - TRAILER_SIZE,
            qub_data_crc32(0, w.bytes, w.size - TRAILER_SIZE));
  *bytes = w.bytes;
  *size = w.size;
  return QUB_DATA_OK;
}

typedef struct reader {
  const unsigned char *at, *end;
  int bad;
} reader;

static uint32_t get_u32(reader *r) {
  uint32_t v;
  if (r->end - r->at < 4) {
    r->bad = 1;
    r->at = r->end;
    return 0;
  }
  v = (uint32_t)r->at[0] | (uint32_t)r->at[1] << 8 | (uint32_t)r->at[2] << 16 |
      (uint32_t)r->at[3] << 24;
  r->at += 4;
  return v;
}

static uint64_t get_u64(reader *r) {
  uint64_t lo = get_u32(r);
  return lo | (uint64_t)get_u32(r) << 32;
}

/* A length-prefixed text as a new zero-terminated copy; NULL on damage (bad
 * set) or no memory (bad clear). */
static char *get_text(reader *r) {
  uint32_t n = get_u32(r);
  char *text;
  if (r->bad || (size_t)(r->end - r->at) < n || memchr(r->at, 0, n)) {
    r->bad = 1;
    return NULL;
  }
  text = copy_text((const char *)r->at, n);
  r->at += n;
  return text;
}

static qub_data_status fail(qub_data_file *file, qub_data_status status, const char *problem) {
  qub_data_free(file);
  if (qub_data_init(file) != QUB_DATA_OK) status = QUB_DATA_NO_MEMORY;
  file->problem = problem;
  return status;
}

qub_data_status qub_data_parse(const void *bytes, size_t size, qub_data_file *file) {
  const unsigned char *b = (const unsigned char *)bytes;
  reader r;
  uint32_t version, testcases, modules, i, k;
  uint64_t declared;
  memset(file, 0, sizeof *file);
  if (size == 0) return qub_data_init(file);
  if (qub_data_init(file) != QUB_DATA_OK) return QUB_DATA_NO_MEMORY;
  file->testcases[0].runs = 0;
  if (size < 8 || memcmp(b, MAGIC, 8) != 0) return fail(file, QUB_DATA_FOREIGN, "no data file header");
  if (size < HEADER_SIZE + TRAILER_SIZE) return fail(file, QUB_DATA_DAMAGED, "file too short");
  r.at = b + 8;
  r.end = b + size;
  r.bad = 0;
  version = get_u32(&r);
  if (version == 0) return fail(file, QUB_DATA_DAMAGED, "version 0");
  if (version > QUB_DATA_VERSION) return fail(file, QUB_DATA_NEWER, "written by a later version");
  (void)get_u32(&r); /* flags, none defined */
  declared = get_u64(&r);
  if (declared != size) return fail(file, QUB_DATA_DAMAGED, "size differs from the recorded size");
  if (memcmp(b + size - 4, TRAILER, 4) != 0) return fail(file, QUB_DATA_DAMAGED, "no end mark");
  {
    const unsigned char *c = b + size - TRAILER_SIZE;
    uint32_t stored = (uint32_t)c[0] | (uint32_t)c[1] << 8 | (uint32_t)c[2] << 16 |
                      (uint32_t)c[3] << 24;
    if (stored != qub_data_crc32(0, b, size - TRAILER_SIZE))
      return fail(file, QUB_DATA_DAMAGED, "checksum mismatch");
  }
  r.end = b + size - TRAILER_SIZE;
  testcases = get_u32(&r);
  modules = get_u32(&r);
  file->runs = get_u64(&r);
  if (testcases == 0) return fail(file, QUB_DATA_DAMAGED, "no test case");
  for (i = 0; i < testcases; i++) {
    char *name = get_text(&r);
    uint64_t runs = get_u64(&r);
    int32_t at;
    if (!name) return fail(file, r.bad ? QUB_DATA_DAMAGED : QUB_DATA_NO_MEMORY, "bad test case");
    if (i == 0 && name[0] != 0) {
      free(name);
      return fail(file, QUB_DATA_DAMAGED, "first test case not the unnamed one");
    }
    at = qub_data_testcase_index(file, name);
    free(name);
    if (at < 0) return fail(file, QUB_DATA_NO_MEMORY, "no memory");
    if ((uint32_t)at != i) return fail(file, QUB_DATA_DAMAGED, "test case named twice");
    file->testcases[i].runs = runs;
  }
  for (i = 0; i < modules; i++) {
    char *id = get_text(&r);
    int64_t ts;
    uint64_t fp, length;
    uint32_t mode, timer, f, j, tf, c, t, sets;
    qub_data_module *m;
    if (!id) return fail(file, r.bad ? QUB_DATA_DAMAGED : QUB_DATA_NO_MEMORY, "bad module name");
    ts = (int64_t)get_u64(&r);
    fp = get_u64(&r);
    mode = get_u32(&r);
    timer = get_u32(&r);
    f = get_u32(&r);
    j = get_u32(&r);
    tf = get_u32(&r);
    c = get_u32(&r);
    t = get_u32(&r);
    sets = get_u32(&r);
    if (r.bad) {
      free(id);
      return fail(file, QUB_DATA_DAMAGED, "truncated module");
    }
    if (qub_data_find(file, id)) {
      free(id);
      return fail(file, QUB_DATA_DAMAGED, "module stored twice");
    }
    m = qub_data_module_for(file, id, ts, fp, mode, timer, f, j, tf, c, t);
    free(id);
    if (!m) return fail(file, QUB_DATA_NO_MEMORY, "no memory");
    length = set_length(m);
    if (sets > testcases ||
        (uint64_t)sets * (4 + 8 * length) > (uint64_t)(r.end - r.at))
      return fail(file, QUB_DATA_DAMAGED, "counters beyond the end");
    for (k = 0; k < sets; k++) {
      uint32_t testcase = get_u32(&r);
      qub_data_set *s;
      uint64_t n, *to;
      if (testcase >= testcases) return fail(file, QUB_DATA_DAMAGED, "bad test case index");
      {
        uint32_t x;
        for (x = 0; x < m->set_count; x++)
          if (m->sets[x].testcase == testcase)
            return fail(file, QUB_DATA_DAMAGED, "test case twice in a module");
      }
      s = qub_data_set_for(m, testcase);
      if (!s) return fail(file, QUB_DATA_NO_MEMORY, "no memory");
      to = s->f;
      if (HOST_IS_LITTLE_ENDIAN)
        memcpy(to, r.at, (size_t)length * 8);
      else
        for (n = 0; n < length; n++) {
          const unsigned char *p = r.at + 8 * n;
          to[n] = (uint64_t)p[0] | (uint64_t)p[1] << 8 | (uint64_t)p[2] << 16 |
                  (uint64_t)p[3] << 24 | (uint64_t)p[4] << 32 | (uint64_t)p[5] << 40 |
                  (uint64_t)p[6] << 48 | (uint64_t)p[7] << 56;
        }
      r.at += 8 * length;
    }
  }
  if (r.bad || r.at != r.end) return fail(file, QUB_DATA_DAMAGED, "bytes left over");
  file->version = version;
  return QUB_DATA_OK;
}

qub_data_status qub_data_read(const char *path, qub_data_file *file) {
  FILE *in;
  unsigned char *bytes;
  long size;
  size_t got;
  qub_data_status status;
  memset(file, 0, sizeof *file);
  in = fopen(path, "rb");
  if (!in) {
    int no_file = errno == ENOENT;
    if (qub_data_init(file) != QUB_DATA_OK) return QUB_DATA_NO_MEMORY;
    errno = no_file ? ENOENT : errno;
    return no_file ? QUB_DATA_NO_FILE : QUB_DATA_IO;
  }
  if (fseek(in, 0, SEEK_END) != 0 || (size = ftell(in)) < 0 || fseek(in, 0, SEEK_SET) != 0) {
    fclose(in);
    qub_data_init(file);
    return QUB_DATA_IO;
  }
  bytes = (unsigned char *)malloc((size_t)size + 1);
  if (!bytes) {
    fclose(in);
    qub_data_init(file);
    return QUB_DATA_NO_MEMORY;
  }
  got = fread(bytes, 1, (size_t)size, in);
  if (got != (size_t)size || ferror(in)) {
    free(bytes);
    fclose(in);
    qub_data_init(file);
    return QUB_DATA_IO;
  }
  fclose(in);
  status = qub_data_parse(bytes, (size_t)size, file);
  free(bytes);
  return status;
}

qub_data_status qub_data_write(const char *path, const qub_data_file *file) {
  unsigned char *bytes;
  size_t size;
  FILE *out;
  qub_data_status status = qub_data_serialize(file, &bytes, &size);
  if (status != QUB_DATA_OK) return status;
  out = fopen(path, "wb");
  if (!out) {
    free(bytes);
    return QUB_DATA_IO;
  }
  if (fwrite(bytes, 1, size, out) != size) status = QUB_DATA_IO;
  if (fclose(out) != 0) status = QUB_DATA_IO;
  free(bytes);
  return status;
}
