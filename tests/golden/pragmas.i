# 1 "pragmas.c"
int a;
#pragma QUB skip
int b;
#pragma QUB endskip
#pragma QUB endskip
#pragma QUB count top level
#pragma  QUB skip
int c; int d;
