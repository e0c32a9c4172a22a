/* A small program for the report's golden tests. */
#include "../include/util.h"

int sign(int x)
{
    if (x > 0)
        return 1;
    else if (x < 0)
        return -1;
    return 0;
}

int in_range(int x, int lo, int hi)
{
    int r = lo <= x && x <= hi;
    return r;
}

int classify(int a, int b, int c)
{
    if ((a || b) && c)
        return 1;
    switch (a) {
    case 0:
        return 2;
    case 1:
        break;
    default:
        return 3;
    }
    return 4;
}

int sum(int n)
{
    int s = 0;
    for (int i = 0; i < n; i++)
        s += clamp(i, 0, 10);
    return s;
}

int unused(int x)
{
    return x * 2;
}
