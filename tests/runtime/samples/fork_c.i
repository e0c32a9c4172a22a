/* Hand-written instrumented text of fork.c, for the runtime's tests. */
#define QUB_FUNCTION
#define QUB_FN         "/src/fork.c"
#define QUB_FNBASE     "fork.c"
#define QUB_FNCRC      0X4C5D6
#define QUB_TS         1763900005
#define QUB_FP         0X22222222
#define QUB_FID        0X4C5D6F05
#define QUB_F_SIZE     1
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "fork.c"
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
static void f ( void )
{ QUB_FSTART("f", 0) 
}  QUB_FEND("f", 0, 0) 
int main ( void )
{
int i ;
pid_t child ;
for ( i = 0 ; i < 5 ; i ++ ) f ( ) ;
child = fork ( ) ;
if ( child == 0 ) { f ( ) ; f ( ) ; f ( ) ; return 0 ; }
f ( ) ; f ( ) ;
waitpid ( child , 0 , 0 ) ;
return 0 ;
}

QUB_MODULE_TAIL("/src/fork.c","MON.dat",1763900005,0X22222222,1,0,0,0,0)
