/****************************************************************************
*           QUB++, Test Coverage Analyzer for C/C++, Version 9.1.4.1         *
*                                                                           *
*                             Instrumented code                             *
*                                                                           *
*    Monitor name    : MON                                                  *
*    Instrumented at : Mon Nov 23 17:00:00 2026                             *
*    Source file     : probes.c                                             *
*                                                                           *
*    Hand-written instrumented text: every probe of a C function body.     *
*    Expected counts are in the test that compiles it.                     *
****************************************************************************/

#define QUB_FUNCTION
#define QUB_DECISION
#define QUB_MULTICONDITION
#define QUB_FN         "/src/probes.c"
#define QUB_FNBASE     "probes.c"
#define QUB_FNCRC      0X6F2A1
#define QUB_TS         1763900000
#define QUB_FP         0XABCDEF12
#define QUB_FID        0X6F2A1F00
#define QUB_F_SIZE     4
#define QUB_J_SIZE     15
#define QUB_TF_SIZE    9
#define QUB_C_SIZE     6
#define QUB_TIME_SIZE  0
#include "qub.h"
QUB_MODULE_HEAD((void *) 0)
#line 1 "probes.c"
static int total ;
static int both ( int a , int b )
{ QUB_MULTI_TMP QUB_FSTART("both", 0) 
int r = 0 ;
if ( QUB_M_START QUB_M_IND((a > 0 ),1) && QUB_M_IND((b > 0 ),1)  QUB_M_END(0)) 
r = 1 ;
else if ( QUB_COND_START(0) a < 0 QUB_COND_END(0) ) 
r = 2 ;
 QUB_STMT_RETURN("both", 0, 0) return r ;  QUB_STMT_END 
}  QUB_FEND_NR 
static void loops ( int n )
{ QUB_FSTART("loops", 1) 
int i , k = 0 ;
for ( i = 0 ; QUB_COND_START(1) i < n QUB_COND_END(1) ; i ++ ) {
if ( QUB_COND_START(2) i == 3 QUB_COND_END(2) ) 
 QUB_STMT_JUMP(1) continue ;  QUB_STMT_END 
k += i ;
}
while ( QUB_COND_START(3) k > 0 QUB_COND_END(3) ) {
k -= 5 ;
if ( QUB_COND_START(4) k == 2 QUB_COND_END(4) ) 
 QUB_STMT_JUMP(2) break ;  QUB_STMT_END 
}
do {
k ++ ;
} while ( QUB_COND_START(5) k < 0 QUB_COND_END(5) ) ;
total += k ;
}  QUB_FEND("loops", 3, 0) 
static int sw ( int x )
{ QUB_MULTI_TMP QUB_FSTART("sw", 2) 
int r = 0 ;
switch ( x ) {
case 1 :  QUB_CASE_CURR1(4) 
r += 10 ;
__attribute__ ( ( fallthrough ) ) ;
 QUB_CASE_PREV(5) case 2 :  QUB_CASE_CURR2(5) 
r += 20 ;
 QUB_STMT_JUMP(6) break ;  QUB_STMT_END 
case 3 :  QUB_CASE_CURR1(7) 
r = 3 ;
 QUB_STMT_JUMP(8) break ;  QUB_STMT_END 
 QUB_MISSING_DEFAULT_NR(9) }
r = QUB_COND_OPER_START(6) ( x > 1 )  QUB_COND_OPER_END(6) ? r : - r ;
if ( QUB_COND_START(7) r == 1000 QUB_COND_END(7) )  QUB_STMT_JUMP(10) goto out ;  QUB_STMT_END 
total = QUB_M_START QUB_M_IND((x ),1) && QUB_M_IND((r ),1)  QUB_M_END(3);
switch ( x ) {  QUB_MISSING_DEFAULT(11) }
out :
 QUB_STMT_RETURN("sw", 12, 0) return r ;  QUB_STMT_END 
}  QUB_FEND_NR 
int main ( void )
{ QUB_FSTART("main", 3) 
int i ;
for ( i = - 2 ; QUB_COND_START(8) i < 5 QUB_COND_END(8) ; i ++ ) { both ( i , 1 ) ; both ( 1 , i ) ; sw ( i ) ; }
loops ( 6 ) ;
QUB_PRAGMA_COUNT(13)
QUB_PRAGMA_TESTCASE("second")
both ( 5 , 5 ) ;
 QUB_STMT_RETURN("main", 14, 0)  QUB_MAIN_START return total == 12345 ;  QUB_MAIN_END  QUB_STMT_END 
}  QUB_FEND_NR 

QUB_MODULE_TAIL("/src/probes.c","MON.dat",1763900000,0XABCDEF12,4,15,9,6,0)
