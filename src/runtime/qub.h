/* qub.h: the probe macros and the coverage runtime interface. */
#ifndef QUB_H
#define QUB_H

#ifdef __cplusplus
extern "C" {
#endif

/* Version of the runtime library. */
const char *qub_runtime_version(void);

#ifdef __cplusplus
}
#endif

#endif
