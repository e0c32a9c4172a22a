/* probe.c instrumented by hand as qub writes it (see probe.c). */
#define QUB_FUNCTION
#define QUB_FN         "/bench/probe.c"
#define QUB_FNBASE     "probe.c"
#define QUB_FNCRC      0X7A8B9
#define QUB_TS         1763900100
#define QUB_FP         0X7777BBBB
#define QUB_FID        0X7A8B9F64
#define QUB_F_SIZE     2
#define QUB_J_SIZE     0
#define QUB_TF_SIZE    0
#define QUB_C_SIZE     0
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "probe.c"
volatile unsigned sink ;
void f ( unsigned x ) ;
void g ( unsigned x ) ;
void f ( unsigned x ) { QUB_FSTART("f", 0) sink = x * 3u + 1u ; }  QUB_FEND("f", 0, 0) 
void g ( unsigned x ) { QUB_FSTART("g", 1) 
unsigned r = x >> 1 ;
if ( x & 1u ) r = x + 7u ;
sink = r ;
}  QUB_FEND("g", 0, 0) 

QUB_MODULE_TAIL("/bench/probe.c","MON.dat",1763900100,0X7777BBBB,2,0,0,0,0)
