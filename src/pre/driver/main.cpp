#include "driver/pipeline.h"

int main(int argc, char **argv) { return pre_main(argc, argv); }
