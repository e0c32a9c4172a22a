/* Hand-written instrumented text of threads.c, for the runtime's tests. */
#define QUB_FUNCTION
#define QUB_FN         "/src/threads.c"
#define QUB_FNBASE     "threads.c"
#define QUB_FNCRC      0X4C5D6
#define QUB_TS         1763900004
#define QUB_FP         0X11111111
#define QUB_FID        0X4C5D6F04
#define QUB_F_SIZE     2
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "threads.c"
#include <pthread.h>
__attribute__ ( ( noinline ) ) static void hit ( void )
{ QUB_FSTART("hit", 0) 
}  QUB_FEND("hit", 0, 0) 
static void * worker ( void * arg )
{ QUB_FSTART("worker", 1) 
long i ;
for ( i = 0 ; i < 1000000 ; i ++ ) hit ( ) ;
return arg ;
}  QUB_FEND_NR 
int main ( void )
{
pthread_t t [ 8 ] ;
int k ;
for ( k = 0 ; k < 8 ; k ++ ) pthread_create ( & t [ k ] , 0 , worker , 0 ) ;
for ( k = 0 ; k < 8 ; k ++ ) pthread_join ( t [ k ] , 0 ) ;
return 0 ;
}

QUB_MODULE_TAIL("/src/threads.c","MON.dat",1763900004,0X11111111,2,0,0,0,0)
