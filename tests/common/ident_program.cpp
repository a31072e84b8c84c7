#include "common/platform/vek_init.h"

/// Uses the library but not its what-string.
int main(int argc, char **argv) {
    return vekInit(&argc, argv);
}
