/* Hand-written instrumented text of pragmas.c, for the runtime's tests. */
#define QUB_FUNCTION
#define QUB_FN         "/src/pragmas.c"
#define QUB_FNBASE     "pragmas.c"
#define QUB_FNCRC      0X4C5D6
#define QUB_TS         1763900007
#define QUB_FP         0X44444444
#define QUB_FID        0X4C5D6F07
#define QUB_F_SIZE     2
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "pragmas.c"
static void f ( void )
{ QUB_FSTART("f", 0) 
}  QUB_FEND("f", 0, 0) 
int main ( void )
{ QUB_FSTART("main", 1) 
f ( ) ;
QUB_PRAGMA_APPEND
f ( ) ;
QUB_PRAGMA_INIT
f ( ) ;
QUB_PRAGMA_QUIT
f ( ) ;
QUB_PRAGMA_TESTCASE("b")
f ( ) ;
QUB_PRAGMA_TESTCASE("")
f ( ) ;
 QUB_MAIN_START return 0 ;  QUB_MAIN_END 
}  QUB_FEND_NR 

QUB_MODULE_TAIL("/src/pragmas.c","MON.dat",1763900007,0X44444444,2,0,0,0,0)
