/* qub.h: probe macros of instrumented code, and the interface of the coverage
 * runtime (libqub.a).
 *
 * The instrumented text defines the mode macros (QUB_FUNCTION, QUB_DECISION,
 * QUB_MULTICONDITION, QUB_TIMING, QUB_INCLUSIVE_TIMING, QUB_EXCLUSIVE_TIMING)
 * and the module identity (QUB_FN, QUB_TS, QUB_FP, QUB_FID, the QUB_F_SIZE
 * family) before it includes this header, then opens with QUB_MODULE_HEAD,
 * puts probes into function bodies, and closes with QUB_MODULE_TAIL.
 *
 * This header may be read with no predefined macro at all (gcc compiles the
 * instrumented text as preprocessed input, where neither __cplusplus nor
 * __GNUC__ exists), so it is written in the GNU C subset that gcc and clang
 * share in C and C++, from C89 and C++98 up, and decides nothing by
 * predefined macros. Every expansion must be silent under any warning option.
 *
 * A program that is not instrumented may include this header too, for the
 * runtime functions at the end (link with libqub.a).
 *
 * docs/runtime.md explains the design; docs/data-format.md the data file.
 */
#ifndef QUB_H
#define QUB_H

/* ---- types shared with the runtime ------------------------------------- */

/* 64-bit integers without `long long`, which C89 and C++98 -pedantic refuse. */
typedef unsigned int qub_u64 __attribute__((mode(DI)));
typedef int qub_i64 __attribute__((mode(DI)));

/* Layout version of struct qub_module; the runtime refuses other versions. */
#define QUB_ABI 1

/* One instrumented source file, defined by QUB_MODULE_HEAD. */
struct qub_module {
  unsigned int abi;        /* QUB_ABI */
  unsigned int mode;       /* 1 function, 2 decision, 4 multicondition,
                              8 inclusive timing, 16 exclusive timing */
  const char *source_id;   /* QUB_FN */
  const char *base_name;   /* QUB_FNBASE */
  const char *timer;       /* text of the TIMER argument of QUB_MODULE_HEAD */
  qub_i64 time_stamp;      /* QUB_TS */
  qub_u64 fingerprint;     /* QUB_FP */
  unsigned int sizes[5];   /* QUB_F_SIZE, QUB_J_SIZE, QUB_TF_SIZE, QUB_C_SIZE,
                              QUB_TIME_SIZE */
  unsigned int name_hash;  /* QUB_FNCRC */
  qub_u64 *counters;       /* F, J, TF (true, false pairs), C; each array
                              followed by one spare element */
  qub_u64 *time;           /* TIME, then one spare element */
  qub_u64 state;           /* the runtime's, 0 until registered (an integer:
                              a literal 0 pointer draws C++ warnings) */
};

/* A timed call (QUB_TIMING), a local of the timed function. */
struct qub_frame {
  qub_u64 start;             /* clock at entry */
  qub_u64 *slot;             /* where the time goes */
  struct qub_module *module;
  qub_u64 depth;             /* timed calls open below it in this thread */
};

/* ---- the runtime's functions --------------------------------------------
 * Declared with assembler names instead of extern "C", which needs
 * __cplusplus to be spelled. */

/* These act on every instrumented module of the process (docs/runtime.md
 * says how copies of the runtime in shared libraries are found). */

/* Merges all counters into their data files now, and clears them. 0 on
 * success, -1 if a data file could not be written (a line on stderr says
 * why). */
int qub_write(void) __asm__("qub_write");
/* Clears all counters not yet written. */
void qub_clear(void) __asm__("qub_clear");
/* Stops counting: counts made from now on are not written, until the next
 * test case starts. */
void qub_quit(void) __asm__("qub_quit");
/* Starts the test case NAME ("" is the unnamed one): counts made from now on
 * are kept apart under that name. Also ends a qub_quit. */
void qub_testcase(const char *name) __asm__("qub_testcase");

/* Used by the probe macros only. */
void qub_register(struct qub_module *module, const char *source_id,
                  const char *data_file) __asm__("qub_register");
void qub_unregister(struct qub_module *module) __asm__("qub_unregister");
int qub_enter(struct qub_frame *frame, struct qub_module *module,
              unsigned int number) __asm__("qub_enter");
void qub_leave(struct qub_frame *frame) __asm__("qub_leave");

/* ---- the probe macros ----------------------------------------------------
 * Only the instrumented text, which defines QUB_FID, uses what follows. */
#ifdef QUB_FID

#define QUB_CAT4_(a, b, c, d) a##b##c##d
#define QUB_CAT4(a, b, c, d) QUB_CAT4_(a, b, c, d)

/* The module's storage has external linkage, so that inline functions with
 * external linkage (C99) may count into it, hidden visibility, so that probes
 * in shared libraries address it directly, and a name made of the module's
 * identity. It is weak: the same module linked twice shares one copy. */
#define QUB_CNT QUB_CAT4(qub_cnt_, QUB_FID, _, QUB_FP)
#define QUB_TIM QUB_CAT4(qub_tim_, QUB_FID, _, QUB_FP)
#define QUB_MOD QUB_CAT4(qub_mod_, QUB_FID, _, QUB_FP)
#define QUB_LINK __attribute__((weak, visibility("hidden")))

/* Where each array starts in QUB_CNT. */
#define QUB_J_AT (QUB_F_SIZE + 1)
#define QUB_TF_AT (QUB_J_AT + QUB_J_SIZE + 1)
#define QUB_C_AT (QUB_TF_AT + 2 * QUB_TF_SIZE + 1)
#define QUB_CNT_LEN (QUB_C_AT + QUB_C_SIZE + 1)

/* Every macro of the file frame is used, so that -Wunused-macros has
 * nothing to say about the instrumented file. */
#ifdef QUB_FUNCTION
#define QUB_MODE_F 1
#else
#define QUB_MODE_F 1
#endif
#ifdef QUB_DECISION
#define QUB_MODE_D 2
#else
#define QUB_MODE_D 0
#endif
#ifdef QUB_MULTICONDITION
#define QUB_MODE_M 4
#else
#define QUB_MODE_M 0
#endif
#ifdef QUB_INCLUSIVE_TIMING
#define QUB_MODE_T 8
#else
#ifdef QUB_EXCLUSIVE_TIMING
#define QUB_MODE_T 16
#else
#define QUB_MODE_T 0
#endif
#endif

/* One count. The atomic form is exact when threads count at once; the plain
 * one is a single add to memory and may lose counts then, but never turns a
 * counted probe into an uncounted one. (0 is the relaxed memory order: no
 * predefined macro may be used here.) */
#ifdef QUB_ATOMIC
#define QUB_INC(i) __atomic_fetch_add(&QUB_CNT[i], 1, 0)
#else
#define QUB_INC(i) (++QUB_CNT[i])
#endif
#define QUB_INC_J(n) QUB_INC(QUB_J_AT + (n))

/* The file head: the module's counters and its description. */
#define QUB_MODULE_HEAD(timer)                                                  \
  extern qub_u64 QUB_CNT[];                                                     \
  QUB_LINK qub_u64 QUB_CNT[QUB_CNT_LEN] = {0};                                  \
  extern qub_u64 QUB_TIM[];                                                     \
  QUB_LINK qub_u64 QUB_TIM[QUB_TIME_SIZE + 1] = {0};                            \
  extern struct qub_module QUB_MOD;                                             \
  QUB_LINK struct qub_module QUB_MOD = {                                        \
      QUB_ABI, QUB_MODE_F + QUB_MODE_D + QUB_MODE_M + QUB_MODE_T, QUB_FN,       \
      QUB_FNBASE, #timer, QUB_TS, QUB_FP,                                       \
      {QUB_F_SIZE, QUB_J_SIZE, QUB_TF_SIZE, QUB_C_SIZE, QUB_TIME_SIZE},         \
      QUB_FNCRC, QUB_CNT, QUB_TIM, 0};

/* The file tail: the module registers itself when its image is loaded and
 * hands its counts over when the image is unloaded. Priority 101 registers
 * before the constructors of the program's own static objects run. */
#define QUB_MODULE_TAIL(source_id, data_file, ts, fp, f, j, tf, c, time)       \
  static void qub_module_load(void) __attribute__((constructor(101)));         \
  static void qub_module_load(void) {                                          \
    qub_register(&QUB_MOD, source_id, data_file);                              \
  }                                                                            \
  static void qub_module_unload(void) __attribute__((destructor(101)));        \
  static void qub_module_unload(void) { qub_unregister(&QUB_MOD); }

/* Functions. QUB_FSTART stands behind the body's `{` and the end macro
 * behind its `}`: the start opens a block around the body, the end counts a
 * fall off the body's end and closes the block. Timing keeps a frame whose
 * clean-up stops the clock however the function is left (return, exception,
 * end). */
#ifdef QUB_TIMING
#define QUB_FSTART(name, n)                                                     \
  struct qub_frame qub_frame_ __attribute__((cleanup(qub_leave)));             \
  int qub_frame_on_ __attribute__((unused)) = qub_enter(&qub_frame_, &QUB_MOD, n); \
  QUB_INC(n); {
#else
#define QUB_FSTART(name, n) QUB_INC(n); {
#endif
#ifdef QUB_DECISION
#define QUB_FEND(name, j, t) QUB_INC_J(j); }
#else
#define QUB_FEND(name, j, t) }
#endif
#define QUB_FEND_MAIN(name, j, t) QUB_FEND(name, j, t)
#define QUB_FEND_NR }
#define QUB_MAIN_START {
#define QUB_MAIN_END }

/* The evaluation-path index of a multicondition, one pair per function or
 * lambda body. A lambda's pair hides its function's, as intended. */
#define QUB_MULTI_TMP                                                           \
  _Pragma("GCC diagnostic push")                                               \
  _Pragma("GCC diagnostic ignored \"-Wshadow\"")                               \
  unsigned int qub_mi_ = 0;                                                    \
  int qub_mv_ = 0;                                                             \
  _Pragma("GCC diagnostic pop")

/* Jump statements: a block around the statement, so that the probe stays
 * with it as the body of an if or a loop. */
#define QUB_STMT_JUMP(n) { QUB_INC_J(n);
#define QUB_STMT_RETURN(name, n, t) { QUB_INC_J(n);
#define QUB_STMT_TIMER_RETURN(name, t) {
#define QUB_STMT_END }

/* A decision: the condition's value, evaluated once, tested as `if` tests
 * it (contextual conversion, so C++ classes with an explicit operator bool
 * work), counted true or false, and yielded as 1 or 0. */
#define QUB_TF_VALUE(n)                                                         \
  ) ? (QUB_INC(QUB_TF_AT + 2 * (n)), 1) : (QUB_INC(QUB_TF_AT + 2 * (n) + 1), 0))
#define QUB_COND_START(n) ((
#define QUB_COND_END(n) QUB_TF_VALUE(n)
#define QUB_COND_OPER_START(n) ((
#define QUB_COND_OPER_END(n) QUB_TF_VALUE(n)

/* A declaration as condition (C++): the evaluation is counted false ahead
 * of the `if`, and turned into a true at the start of the branch it enters.
 * Both steps are atomic, so that the pair is exact in every mode. */
#define QUB_DECL_COND_START(n) __atomic_fetch_add(&QUB_CNT[QUB_TF_AT + 2 * (n) + 1], 1, 0);
#define QUB_DECL_COND_END(n)                                                    \
  __atomic_fetch_sub(&QUB_CNT[QUB_TF_AT + 2 * (n) + 1], 1, 0);                  \
  QUB_INC(QUB_TF_AT + 2 * (n));
#define QUB_BLOCK_START {
#define QUB_BLOCK_END }

/* Multicondition: each elementary condition that is true adds its constant
 * to the index; at the end the index is the number of the evaluation path. */
#define QUB_M_START (qub_mi_ = 0, qub_mv_ = !!(
#define QUB_M_IND(e, k) ((e) ? (qub_mi_ += (k), 1) : 0)
#define QUB_M_END(n) ), QUB_INC(QUB_C_AT + (n) + qub_mi_), qub_mv_ != 0)

/* Loops without a decision count each entry into the body. */
#define QUB_LOOP_START(n) { QUB_INC_J(n);
#define QUB_LOOP_END }

/* switch. A label's counter counts entries into the code behind it. The
 * probe in front of a label reached by falling through is empty: any
 * statement there would stand between a fall-through attribute and its
 * label, which compilers refuse. The missing default is a default label in
 * a block that the code in front of it jumps over, so that neither a
 * fall-through nor a statement ahead of the first label arises; the user
 * label before it keeps a switch with an empty body free of warnings. */
#define QUB_CASE_PREV(n)
#define QUB_CASE_CURR1(n) QUB_INC_J(n);
#define QUB_CASE_CURR2(n) QUB_INC_J(n);
#define QUB_MISSING_DEFAULT(n)                                                  \
  qub_default_##n : __attribute__((unused));                                   \
  if (0) { default: QUB_INC_J(n); }
#define QUB_MISSING_DEFAULT_NR(n) QUB_MISSING_DEFAULT(n)

/* try and catch: the start macro stands between the keyword and the block,
 * so it opens a block of its own that the end macro closes. */
#define QUB_TRY_START(n) { QUB_INC_J(n);
#define QUB_TRY_END }
#define QUB_CATCH_START(n, t) { QUB_INC_J(n);
#define QUB_CATCH_END }
#define QUB_CTRCATCH_START(n) QUB_INC_J(n); {
#define QUB_CTRCATCH_END(name, n) QUB_INC_J(n); }
#define QUB_CTRCATCH_END_MAIN(name, n) QUB_INC_J(n); }
#define QUB_CTRCATCH_END_NR }

/* Lambdas and other inner bodies, bracketed like functions. */
#define QUB_LAMBDA_START(n) QUB_INC_J(n); {
#define QUB_LAMBDA_END(n) QUB_INC_J(n); }
#define QUB_LAMBDA_END_NR }

/* Pragmas, each a statement. */
#define QUB_PRAGMA_COUNT(n) QUB_INC_J(n);
#define QUB_PRAGMA_APPEND (void)qub_write();
#define QUB_PRAGMA_INIT qub_clear();
#define QUB_PRAGMA_QUIT qub_quit();
#define QUB_PRAGMA_TESTCASE(name) qub_testcase(name);

#endif /* QUB_FID */

#endif /* QUB_H */
