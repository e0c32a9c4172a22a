/* Runs the golden demo on its arguments. */
int sign(int x);
int in_range(int x, int lo, int hi);
int classify(int a, int b, int c);
int sum(int n);
int atoi(const char *s);

int main(int argc, char **argv)
{
    int total = 0;
    for (int i = 1; i < argc; i++) {
        int x = atoi(argv[i]);
        total += sign(x) + in_range(x, 0, 9) + classify(x, x - 1, x > 5) + sum(x);
    }
    return total > 100 ? 1 : 0;
}
