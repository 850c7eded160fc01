// main.cpp - the tessellan executable.
#include "version.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        printf("tessellan %s\n", TESSELLAN_VERSION);
        return 0;
    }
    fprintf(stderr, "usage: tessellan [--version]\n");
    return 2;
}
