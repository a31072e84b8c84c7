#include "common/base/vek_error.h"

#include "common/base/print.h"

static struct { vekErrorFunc receiver; } errorHook;

vekErrorFunc vekRegErrorFunc(vekErrorFunc function) {
    const vekErrorFunc previous = errorHook.receiver;
    errorHook.receiver = function;
    return previous;
}

vekErrorFunc vekGetErrorFunc(void) {
    return errorHook.receiver;
}

void vekReportError(const char *message) {
    const char *text = message == nullptr ? "" : message;
    if (errorHook.receiver != nullptr) {
        errorHook.receiver(text);
        return;
    }
    vek::printError("%s\n", text);
}
