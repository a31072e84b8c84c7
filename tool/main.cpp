#include "common/vek_init.h"
#include "tool/vekinfo_args.h"

#include <cstdlib>

int main(int argc, char **argv) {
    vekInit(&argc, argv);
    return tovProcessVekinfoArgs(argv) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
