/* qub.h of the atomic counting mode: every probe counts with an atomic
 * increment, so counts made by many threads at once are exact. Installed as
 * include/atomic/qub.h: putting that directory first on the include path
 * (for instance OPT_ADD_COMPILE = -I$(QUBHOME)/../../include/atomic) selects
 * the mode for every instrumented source, in any way the instrumented text
 * is compiled. Defining QUB_ATOMIC where the compiler reads definitions from
 * the command line has the same effect. */
#ifndef QUB_ATOMIC
#define QUB_ATOMIC 1
#endif
#include "../qub.h"
