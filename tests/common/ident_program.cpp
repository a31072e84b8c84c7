#include "common/platform/vek_init.h"

/// Uses the library and reads no what-string.
int main(int argc, char **argv) {
    return vekInit(&argc, argv);
}
