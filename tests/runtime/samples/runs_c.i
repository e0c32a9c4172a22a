/* Hand-written instrumented text of runs.c, for the runtime's tests. */
#define QUB_FUNCTION
#define QUB_FN         "/src/runs.c"
#define QUB_FNBASE     "runs.c"
#define QUB_FNCRC      0X4C5D6
#define QUB_TS         1763900008
#define QUB_FP         0X55555555
#define QUB_FID        0X4C5D6F08
#define QUB_F_SIZE     1
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "runs.c"
#include <stdlib.h>
static void f ( void )
{ QUB_FSTART("f", 0) 
}  QUB_FEND("f", 0, 0) 
int main ( int argc , char * * argv )
{
int rounds = argc > 1 ? atoi ( argv [ 1 ] ) : 0 ;
int status = argc > 2 ? atoi ( argv [ 2 ] ) : 0 ;
int r , i ;
for ( r = 0 ; r <= rounds ; r ++ ) {
for ( i = 0 ; i < 10 ; i ++ ) f ( ) ;
if ( r < rounds ) qub_write ( ) ;
}
return status ;
}

QUB_MODULE_TAIL("/src/runs.c","MON.dat",1763900008,0X55555555,1,0,0,0,0)
