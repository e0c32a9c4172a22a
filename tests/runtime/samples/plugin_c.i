/* Hand-written instrumented text of plugin.c, for the runtime's tests. */
#define QUB_FUNCTION
#define QUB_DECISION
#define QUB_FN         "/src/plugin.c"
#define QUB_FNBASE     "plugin.c"
#define QUB_FNCRC      0X4C5D6
#define QUB_TS         1763900006
#define QUB_FP         0X33333333
#define QUB_FID        0X4C5D6F06
#define QUB_F_SIZE     1
#define QUB_J_SIZE     1
#define QUB_TF_SIZE    1
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "plugin.c"
int plugin_work ( int n ) ;
int plugin_work ( int n )
{ QUB_FSTART("plugin_work", 0) 
if ( QUB_COND_START(0) n > 3 QUB_COND_END(0) ) n -- ;
 QUB_STMT_RETURN("plugin_work", 0, 0) return n ;  QUB_STMT_END 
}  QUB_FEND_NR 

QUB_MODULE_TAIL("/src/plugin.c","MON.dat",1763900006,0X33333333,1,1,1,0,0)
