/* qub_runtime.c: the coverage runtime. Instrumented modules register here
 * when their image is loaded; their counters are merged into the data files
 * at exit, when the image is unloaded, and when the program asks for it. */
#include "qub.h"
#include "qub_data.h"

#include <dlfcn.h>
#include <link.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

/* Everything here has hidden visibility (the library is built so): each
 * image linked with libqub.a keeps its own copy, which a program that exports
 * its symbols (-rdynamic) cannot interpose between a shared library and its
 * modules. */
#define EXPORT

/* What the runtime keeps per registered module. */
typedef struct mod_state {
  struct qub_module *module;
  const char *source_id;
  char *data_file; /* absolute */
  uint64_t (*timer)(void);
  uint32_t length;    /* counters in one set: F + J + 2 TF + C + TIME */
  int pending;        /* not yet written by the write in progress */
  uint32_t acc_count; /* counts taken out of the live arrays, per test case */
  struct {
    uint32_t testcase;
    uint64_t *counts;
  } *acc;
  struct mod_state *next;
} mod_state;

/* The runtime of this image, one record. */
static struct {
  pthread_mutex_t lock;
  int initialised;
  int exited;       /* the exit handler has run */
  int quit;         /* counts are not kept until the next test case */
  mod_state *modules;
  uint32_t testcase; /* index into names */
  uint32_t testcase_count;
  char **testcase_names;
  char *data_override; /* from QUB_DATA_FILE, resolved at first use */
  int override_is_dir;
} rt = {PTHREAD_MUTEX_INITIALIZER, 0, 0, 0, NULL, 0, 0, NULL, NULL, 0};

static void say(const char *format, const char *a, const char *b, const char *c) {
  /* One line, one write, so that lines of parallel processes do not mix. */
  char line[8192];
  int n = snprintf(line, sizeof line, format, a, b, c);
  if (n > 0) {
    size_t len = (size_t)n < sizeof line ? (size_t)n : sizeof line - 1;
    ssize_t ignored = write(2, line, len);
    (void)ignored;
  }
}

/* ---- clocks --------------------------------------------------------------- */

static uint64_t monotonic_ns(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (uint64_t)t.tv_sec * 1000000000u + (uint64_t)t.tv_nsec;
}

/* The TIMER of a module's head: the name of a function `unsigned long long
 * NAME(void)` that the dynamic linker can find, or a null pointer text. */
static uint64_t (*find_timer(const char *text))(void) {
  const char *p;
  void *symbol;
  uint64_t (*timer)(void);
  int name = text && (*text == '_' || (*text >= 'A' && *text <= 'Z') ||
                      (*text >= 'a' && *text <= 'z'));
  for (p = text; name && *p; p++)
    name = *p == '_' || (*p >= '0' && *p <= '9') || (*p >= 'A' && *p <= 'Z') ||
           (*p >= 'a' && *p <= 'z');
  if (!name) {
    /* A null pointer in any spelling means the default clock. */
    static const char *const defaults[] = {"", "0", "(void *) 0", "(void*)0", "(void *)0", "NULL"};
    size_t i;
    for (i = 0; text && i < sizeof defaults / sizeof *defaults; i++)
      if (strcmp(text, defaults[i]) == 0) return NULL;
    if (text)
      say("qub: timer %s is not the name of a function; timing uses the monotonic clock%s%s\n",
          text, "", "");
    return NULL;
  }
  symbol = dlsym(RTLD_DEFAULT, text);
  if (!symbol) {
    say("qub: timer function %s not found (is it exported?); timing uses the monotonic clock%s%s\n",
        text, "", "");
    return NULL;
  }
  memcpy(&timer, &symbol, sizeof timer);
  return timer;
}

/* ---- timing ------------------------------------------------------------- */

/* Per thread, the time spent in timed callees of each open timed call, by
 * depth. Kept here rather than in the frames on the stack: a function left by
 * longjmp leaves only a stale depth behind, which the next return of an
 * enclosing timed call repairs, never a pointer into a dead stack. Calls
 * deeper than the table are timed inclusively. */
#define TIMED_DEPTH 512
static __thread uint64_t callee_time[TIMED_DEPTH];
static __thread unsigned int timed_depth;

static uint64_t clock_of(const struct qub_module *module) {
  const mod_state *s = (const mod_state *)(uintptr_t)module->state;
  return s && s->timer ? s->timer() : monotonic_ns();
}

EXPORT int qub_enter(struct qub_frame *frame, struct qub_module *module, unsigned int number) {
  unsigned int depth = timed_depth;
  frame->depth = depth;
  frame->module = module;
  frame->slot = &module->time[number < module->sizes[4] ? number : module->sizes[4]];
  if (depth < TIMED_DEPTH) callee_time[depth] = 0;
  timed_depth = depth + 1;
  frame->start = clock_of(module);
  return 1;
}

EXPORT void qub_leave(struct qub_frame *frame) {
  uint64_t elapsed = clock_of(frame->module) - frame->start;
  unsigned int depth = (unsigned int)frame->depth;
  uint64_t own = elapsed;
  if ((frame->module->mode & 16) && depth < TIMED_DEPTH)
    own = elapsed > callee_time[depth] ? elapsed - callee_time[depth] : 0;
  __atomic_fetch_add(frame->slot, own, __ATOMIC_RELAXED);
  if (depth > 0 && depth - 1 < TIMED_DEPTH) callee_time[depth - 1] += elapsed;
  timed_depth = depth;
}

/* ---- counters in memory --------------------------------------------------- */

static uint64_t *live_array(const mod_state *s, uint32_t *at) {
  /* Positions of the live arrays inside a set: F, J, TF, C from counters (each
   * followed by a spare), TIME from time. at[0..4] are set offsets. */
  const unsigned int *n = s->module->sizes;
  at[0] = 0;
  at[1] = n[0];
  at[2] = at[1] + n[1];
  at[3] = at[2] + 2 * n[2];
  at[4] = at[3] + n[3];
  return s->module->counters;
}

/* Adds the live counters into `into` (a set of `length`) and zeroes them,
 * or only zeroes them when `into` is NULL. */
static void take_live(mod_state *s, uint64_t *into) {
  const unsigned int *n = s->module->sizes;
  uint64_t *live = s->module->counters;
  uint32_t at[5], i, k, src = 0;
  (void)live_array(s, at);
  for (k = 0; k < 4; k++) {
    uint32_t len = k == 2 ? 2 * n[2] : n[k];
    for (i = 0; i < len; i++) {
      uint64_t v = live[src + i] ? __atomic_exchange_n(&live[src + i], 0, __ATOMIC_RELAXED) : 0;
      if (into) into[at[k] + i] += v;
    }
    live[src + len] = 0; /* the spare */
    src += len + 1;
  }
  for (i = 0; i < n[4]; i++) {
    uint64_t v = s->module->time[i] ? __atomic_exchange_n(&s->module->time[i], 0, __ATOMIC_RELAXED) : 0;
    if (into) into[at[4] + i] += v;
  }
  s->module->time[n[4]] = 0;
}

static uint64_t *acc_for(mod_state *s, uint32_t testcase) {
  uint32_t i;
  void *grown;
  uint64_t *counts;
  for (i = 0; i < s->acc_count; i++)
    if (s->acc[i].testcase == testcase) return s->acc[i].counts;
  counts = (uint64_t *)calloc((size_t)s->length + 1, sizeof *counts);
  if (!counts) return NULL;
  grown = realloc(s->acc, (s->acc_count + 1) * sizeof *s->acc);
  if (!grown) {
    free(counts);
    return NULL;
  }
  s->acc = grown;
  s->acc[s->acc_count].testcase = testcase;
  s->acc[s->acc_count].counts = counts;
  s->acc_count++;
  return counts;
}

/* Moves the live counts of every module into the current test case (or
 * drops them after qub_quit). */
static void settle_all(void) {
  mod_state *s;
  for (s = rt.modules; s; s = s->next) take_live(s, rt.quit ? NULL : acc_for(s, rt.testcase));
}

static void clear_acc(mod_state *s) {
  uint32_t i;
  for (i = 0; i < s->acc_count; i++) free(s->acc[i].counts);
  free(s->acc);
  s->acc = NULL;
  s->acc_count = 0;
}

/* ---- the data file -------------------------------------------------------- */

static int is_dir(const char *path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

static char *absolute(const char *path) {
  char cwd[PATH_MAX];
  char *result;
  if (path[0] == '/' || !getcwd(cwd, sizeof cwd)) return strdup(path);
  result = (char *)malloc(strlen(cwd) + strlen(path) + 2);
  if (result) sprintf(result, "%s/%s", cwd, path);
  return result;
}

/* The data file of a module: the tail's name, or QUB_DATA_FILE. */
static char *data_file_for(const char *from_tail) {
  const char *env = getenv("QUB_DATA_FILE");
  const char *base;
  char *result;
  if (!env || !*env) return absolute(from_tail);
  if (!rt.data_override) {
    size_t n = strlen(env);
    rt.override_is_dir = env[n - 1] == '/' || is_dir(env);
    rt.data_override = absolute(env);
    if (!rt.data_override) return strdup(from_tail);
  }
  if (!rt.override_is_dir) return strdup(rt.data_override);
  base = strrchr(from_tail, '/');
  base = base ? base + 1 : from_tail;
  result = (char *)malloc(strlen(rt.data_override) + strlen(base) + 2);
  if (result) {
    size_t n = strlen(rt.data_override);
    sprintf(result, "%s%s%s", rt.data_override,
            n && rt.data_override[n - 1] == '/' ? "" : "/", base);
  }
  return result;
}

/* Opens and locks the data file, as the file that its name holds when the
 * lock is obtained. -1 with errno on failure. */
static int lock_data_file(const char *path) {
  for (;;) {
    struct stat locked, named;
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return -1;
    while (flock(fd, LOCK_EX) != 0) {
      if (errno != EINTR) {
        int e = errno;
        close(fd);
        errno = e;
        return -1;
      }
    }
    if (fstat(fd, &locked) == 0 && stat(path, &named) == 0 && locked.st_dev == named.st_dev &&
        locked.st_ino == named.st_ino)
      return fd;
    close(fd); /* replaced meanwhile: lock the new one */
  }
}

static int read_all(int fd, unsigned char **bytes, size_t *size) {
  struct stat st;
  size_t got = 0;
  if (fstat(fd, &st) != 0) return -1;
  *size = (size_t)st.st_size;
  *bytes = (unsigned char *)malloc(*size + 1);
  if (!*bytes) return -1;
  while (got < *size) {
    ssize_t n = pread(fd, *bytes + got, *size - got, (off_t)got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      free(*bytes);
      return -1;
    }
    got += (size_t)n;
  }
  return 0;
}

static int write_all(int fd, const unsigned char *bytes, size_t size) {
  while (size) {
    ssize_t n = write(fd, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return -1;
    bytes += n;
    size -= (size_t)n;
  }
  return 0;
}

/* Adds what this process holds for the modules of `path` into `file`. */
static int add_process_counts(qub_data_file *file, const char *path) {
  mod_state *s;
  uint32_t i;
  char *used;
  int32_t *index = (int32_t *)calloc(rt.testcase_count + 1, sizeof *index);
  if (!index) return -1;
  used = (char *)calloc(rt.testcase_count + 1, 1);
  if (!used) {
    free(index);
    return -1;
  }
  for (i = 0; i < rt.testcase_count; i++) {
    index[i] = qub_data_testcase_index(file, rt.testcase_names[i]);
    if (index[i] < 0) goto fail;
  }
  for (s = rt.modules; s; s = s->next) {
    const unsigned int *n = s->module->sizes;
    qub_data_module *m;
    if (strcmp(s->data_file, path) != 0) continue;
    m = qub_data_module_for(file, s->source_id, (int64_t)s->module->time_stamp,
                            (uint64_t)s->module->fingerprint, s->module->mode,
                            s->timer ? QUB_DATA_TIMER_USER : QUB_DATA_TIMER_NANOSECONDS,
                            n[0], n[1], n[2], n[3], n[4]);
    if (!m || !qub_data_set_for(m, (uint32_t)index[rt.testcase])) goto fail;
    used[rt.testcase] = 1;
    for (i = 0; i < s->acc_count; i++) {
      const uint64_t *c = s->acc[i].counts;
      uint32_t at[5];
      qub_data_set *set = qub_data_set_for(m, (uint32_t)index[s->acc[i].testcase]);
      if (!set) goto fail;
      (void)live_array(s, at);
      qub_data_add_counts(m, set, c + at[0], c + at[1], c + at[2], c + at[3], c + at[4]);
      used[s->acc[i].testcase] = 1;
    }
  }
  for (i = 0; i < rt.testcase_count; i++)
    if (used[i]) file->testcases[index[i]].runs++;
  file->runs++;
  free(used);
  free(index);
  return 0;
fail:
  free(used);
  free(index);
  return -1;
}

/* Merges the process's counts for one data file; 0 on success. */
static int merge_into(const char *path) {
  char *temp = (char *)malloc(strlen(path) + 8);
  char *bad = (char *)malloc(strlen(path) + 8);
  unsigned char *bytes = NULL;
  size_t size = 0;
  qub_data_file file;
  qub_data_status status;
  int fd = -1, out = -1, result = -1, temp_made = 0;
  const char *failed = NULL;
  if (!temp || !bad) {
    free(temp);
    free(bad);
    say("qub: cannot write coverage data file %s: %s%s\n", path, strerror(ENOMEM), "");
    return -1;
  }
  sprintf(temp, "%s.tmp", path);
  sprintf(bad, "%s.bad", path);
  fd = lock_data_file(path);
  if (fd < 0) {
    failed = strerror(errno);
    goto done;
  }
  if (read_all(fd, &bytes, &size) != 0) {
    failed = strerror(errno);
    goto done;
  }
  status = qub_data_parse(bytes, size, &file);
  free(bytes);
  bytes = NULL;
  if (status == QUB_DATA_NO_MEMORY) {
    failed = strerror(ENOMEM);
    goto done;
  }
  if (status != QUB_DATA_OK) {
    /* Keep what is there for a human to look at; count on from nothing. */
    if (rename(path, bad) == 0)
      say("qub: %s is not a readable coverage data file (%s); kept as %s, a new one is started\n",
          path, file.problem ? file.problem : qub_data_status_text(status), bad);
    else {
      failed = strerror(errno);
      qub_data_free(&file);
      goto done;
    }
  }
  if (add_process_counts(&file, path) != 0 ||
      qub_data_serialize(&file, &bytes, &size) != QUB_DATA_OK) {
    qub_data_free(&file);
    failed = strerror(ENOMEM);
    goto done;
  }
  qub_data_free(&file);
  out = open(temp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  temp_made = out >= 0;
  if (out < 0 || write_all(out, bytes, size) != 0 || fdatasync(out) != 0) {
    failed = strerror(errno);
    goto done;
  }
  if (close(out) != 0) {
    out = -1;
    failed = strerror(errno);
    goto done;
  }
  out = -1;
  if (rename(temp, path) != 0) {
    failed = strerror(errno);
    goto done;
  }
  result = 0;
done:
  if (out >= 0) close(out);
  if (result != 0 && temp_made) unlink(temp);
  if (fd >= 0) close(fd); /* releases the lock */
  if (failed) say("qub: cannot write coverage data file %s: %s%s\n", path, failed, "");
  free(bytes);
  free(temp);
  free(bad);
  return result;
}

/* Writes everything held in memory to the data files; what was written is
 * cleared, what could not be written stays. Lock held. */
static int write_locked(void) {
  mod_state *s, *t;
  int result = 0;
  settle_all();
  for (s = rt.modules; s; s = s->next) s->pending = 1;
  for (s = rt.modules; s; s = s->next) {
    int ok;
    if (!s->pending) continue;
    for (t = s; t; t = t->next)
      if (strcmp(t->data_file, s->data_file) == 0) t->pending = 0;
    ok = merge_into(s->data_file) == 0;
    if (!ok) result = -1;
    for (t = s; t; t = t->next)
      if (ok && strcmp(t->data_file, s->data_file) == 0) clear_acc(t);
  }
  return result;
}

/* ---- process events --------------------------------------------------------- */

static void at_exit(void) {
  pthread_mutex_lock(&rt.lock);
  (void)write_locked();
  rt.exited = 1;
  pthread_mutex_unlock(&rt.lock);
}

static void before_fork(void) { pthread_mutex_lock(&rt.lock); }
static void after_fork_parent(void) { pthread_mutex_unlock(&rt.lock); }

/* The child starts with no counts: what it inherited is the parent's. */
static void after_fork_child(void) {
  mod_state *s;
  pthread_mutex_init(&rt.lock, NULL);
  for (s = rt.modules; s; s = s->next) {
    take_live(s, NULL);
    clear_acc(s);
  }
}

static int add_testcase_name(const char *name) {
  uint32_t i;
  void *grown;
  char *copy;
  for (i = 0; i < rt.testcase_count; i++)
    if (strcmp(rt.testcase_names[i], name) == 0) return (int)i;
  copy = strdup(name);
  grown = realloc(rt.testcase_names, (rt.testcase_count + 1) * sizeof *rt.testcase_names);
  if (!copy || !grown) {
    free(copy);
    if (grown) rt.testcase_names = grown;
    return -1;
  }
  rt.testcase_names = grown;
  rt.testcase_names[rt.testcase_count] = copy;
  return (int)rt.testcase_count++;
}

/* Each image linked with libqub.a has a copy of the runtime with the modules
 * of that image. What the program asks for holds for the whole process, so
 * each copy publishes its own operations under one exported name, and the
 * copy that is asked finds the others among the loaded images. (A copy in a
 * shared library finds the program's copy only when the program exports the
 * name: -rdynamic, or -Wl,--export-dynamic-symbol=qub_runtime_copy_1.) */
typedef struct runtime_copy {
  unsigned int version;
  int (*write)(void);
  void (*clear)(void);
  void (*quit)(void);
  void (*testcase)(const char *);
  const char *(*current_testcase)(void);
} runtime_copy;

static size_t other_copies(const runtime_copy **found, size_t max);

static void initialise(void) {
  const runtime_copy *others[1];
  if (rt.initialised) return;
  rt.initialised = 1;
  if (add_testcase_name("") != 0) say("qub: out of memory%s%s%s\n", "", "", "");
  atexit(at_exit);
  pthread_atfork(before_fork, after_fork_parent, after_fork_child);
  /* A library loaded while a test case runs counts into that test case. */
  if (other_copies(others, 1) == 1) {
    int index = add_testcase_name(others[0]->current_testcase());
    if (index >= 0) rt.testcase = (uint32_t)index;
  }
}

EXPORT void qub_register(struct qub_module *module, const char *source_id, const char *data_file) {
  mod_state *s;
  if (module->abi != QUB_ABI) {
    say("qub: module %s was instrumented for another runtime version; it is not counted%s%s\n",
        source_id, "", "");
    return;
  }
  pthread_mutex_lock(&rt.lock);
  initialise();
  if (module->state) { /* the same module linked twice shares one storage */
    pthread_mutex_unlock(&rt.lock);
    return;
  }
  s = (mod_state *)calloc(1, sizeof *s);
  if (s) s->data_file = data_file_for(data_file);
  if (!s || !s->data_file) {
    free(s);
    pthread_mutex_unlock(&rt.lock);
    say("qub: out of memory; module %s is not counted%s%s\n", source_id, "", "");
    return;
  }
  s->module = module;
  s->source_id = source_id;
  s->length = module->sizes[0] + module->sizes[1] + 2 * module->sizes[2] + module->sizes[3] +
              module->sizes[4];
  s->timer = find_timer(module->timer);
  s->next = rt.modules;
  rt.modules = s;
  module->state = (qub_u64)(uintptr_t)s;
  pthread_mutex_unlock(&rt.lock);
}

EXPORT void qub_unregister(struct qub_module *module) {
  mod_state *s = (mod_state *)(uintptr_t)module->state, **p;
  if (!s) return;
  pthread_mutex_lock(&rt.lock);
  /* The image goes away: write what it counted. At exit the exit handler
   * has tried already; only counts made since (by destructors that ran
   * later) are written then. */
  if (!rt.exited) {
    (void)write_locked();
  } else {
    uint32_t i, total = s->length - module->sizes[4] + 4;
    int any = 0;
    for (i = 0; i < total && !any; i++) any = module->counters[i] != 0;
    for (i = 0; i < module->sizes[4] && !any; i++) any = module->time[i] != 0;
    if (any) {
      mod_state *others = rt.modules, *after = s->next;
      clear_acc(s);
      rt.modules = s; /* write this module alone */
      s->next = NULL;
      (void)write_locked();
      rt.modules = others;
      s->next = after;
    }
  }
  for (p = &rt.modules; *p; p = &(*p)->next)
    if (*p == s) {
      *p = s->next;
      break;
    }
  module->state = 0;
  clear_acc(s);
  free(s->data_file);
  free(s);
  pthread_mutex_unlock(&rt.lock);
}

/* ---- the program's interface -------------------------------------------- */

static int local_write(void) {
  int result;
  pthread_mutex_lock(&rt.lock);
  initialise();
  result = write_locked();
  pthread_mutex_unlock(&rt.lock);
  return result;
}

static void local_clear(void) {
  mod_state *s;
  pthread_mutex_lock(&rt.lock);
  for (s = rt.modules; s; s = s->next) {
    take_live(s, NULL);
    clear_acc(s);
  }
  pthread_mutex_unlock(&rt.lock);
}

static void local_quit(void) {
  pthread_mutex_lock(&rt.lock);
  settle_all();
  rt.quit = 1;
  pthread_mutex_unlock(&rt.lock);
}

static void local_testcase(const char *name) {
  int index;
  pthread_mutex_lock(&rt.lock);
  initialise();
  settle_all();
  index = add_testcase_name(name ? name : "");
  if (index >= 0) rt.testcase = (uint32_t)index;
  else say("qub: out of memory; test case %s is not kept apart%s%s\n", name, "", "");
  rt.quit = 0;
  pthread_mutex_unlock(&rt.lock);
}

static const char *local_current_testcase(void) {
  return rt.testcase_count ? rt.testcase_names[rt.testcase] : "";
}

/* The copy is compared by its own hidden name: the exported one may be
 * bound to another image's definition. */
static const runtime_copy this_copy = {1, local_write, local_clear, local_quit, local_testcase,
                                       local_current_testcase};
extern const runtime_copy qub_runtime_copy_1
    __attribute__((alias("this_copy"), visibility("default")));

typedef struct image_names {
  char **names;
  size_t count, capacity;
} image_names;

static int note_image(struct dl_phdr_info *info, size_t size, void *data) {
  image_names *list = (image_names *)data;
  (void)size;
  if (list->count == list->capacity) {
    size_t capacity = list->capacity ? 2 * list->capacity : 32;
    void *grown = realloc(list->names, capacity * sizeof *list->names);
    if (!grown) return 1;
    list->names = (char **)grown;
    list->capacity = capacity;
  }
  /* The program itself has the empty name. */
  list->names[list->count] = strdup(info->dlpi_name ? info->dlpi_name : "");
  if (list->names[list->count]) list->count++;
  return 0;
}

/* The other copies of the runtime in this process, at most `max`. */
static size_t other_copies(const runtime_copy **found, size_t max) {
  image_names list = {NULL, 0, 0};
  size_t i, k, n = 0;
  /* Names first: the images are opened only after the walk, which holds the
   * dynamic linker's lock. */
  dl_iterate_phdr(note_image, &list);
  for (i = 0; i < list.count; i++) {
    void *image = dlopen(list.names[i][0] ? list.names[i] : NULL, RTLD_LAZY | RTLD_NOLOAD);
    const runtime_copy *copy;
    free(list.names[i]);
    if (!image) continue;
    copy = (const runtime_copy *)dlsym(image, "qub_runtime_copy_1");
    if (copy && copy != &this_copy && copy->version == 1 && n < max) {
      for (k = 0; k < n && found[k] != copy; k++) {
      }
      if (k == n) found[n++] = copy;
    }
    dlclose(image);
  }
  free(list.names);
  return n;
}

#define MAX_COPIES 256

EXPORT int qub_write(void) {
  const runtime_copy *copies[MAX_COPIES];
  size_t i, n = other_copies(copies, MAX_COPIES);
  int result = local_write();
  for (i = 0; i < n; i++)
    if (copies[i]->write() != 0) result = -1;
  return result;
}

EXPORT void qub_clear(void) {
  const runtime_copy *copies[MAX_COPIES];
  size_t i, n = other_copies(copies, MAX_COPIES);
  local_clear();
  for (i = 0; i < n; i++) copies[i]->clear();
}

EXPORT void qub_quit(void) {
  const runtime_copy *copies[MAX_COPIES];
  size_t i, n = other_copies(copies, MAX_COPIES);
  local_quit();
  for (i = 0; i < n; i++) copies[i]->quit();
}

EXPORT void qub_testcase(const char *name) {
  const runtime_copy *copies[MAX_COPIES];
  size_t i, n = other_copies(copies, MAX_COPIES);
  local_testcase(name);
  for (i = 0; i < n; i++) copies[i]->testcase(name);
}
