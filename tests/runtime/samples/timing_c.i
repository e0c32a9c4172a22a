/* Hand-written instrumented text: function coverage with inclusive timing
 * by the runtime's monotonic clock. */
#define QUB_FUNCTION
#define QUB_TIMING
#define QUB_INCLUSIVE_TIMING
#define QUB_FN         "/src/timing.c"
#define QUB_FNBASE     "timing.c"
#define QUB_FNCRC      0X2A3B4
#define QUB_TS         1763900002
#define QUB_FP         0X9ABCDEF0
#define QUB_FID        0X2A3B4F02
#define QUB_F_SIZE     3
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  3
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "timing.c"
#include <time.h>
static void inner ( void )
{ QUB_FSTART("inner", 0) 
clock_t end = clock ( ) + CLOCKS_PER_SEC / 50 ;
while ( clock ( ) < end ) { }
}  QUB_FEND("inner", 0, 0) 
static int outer ( void )
{ QUB_FSTART("outer", 1) 
inner ( ) ;
inner ( ) ;
 QUB_STMT_TIMER_RETURN("outer", 1) return 3 ;  QUB_STMT_END 
}  QUB_FEND_NR 
int main ( void )
{ QUB_FSTART("main", 2) 
int r = outer ( ) ;
 QUB_MAIN_START  QUB_STMT_TIMER_RETURN("main", 2) return r - 3 ;  QUB_STMT_END  QUB_MAIN_END 
}  QUB_FEND_NR 

QUB_MODULE_TAIL("/src/timing.c","MON.dat",1763900002,0X9ABCDEF0,3,0,0,0,3)
