// A plugin that contains the archive, linked as described in pux(3).

#include "common/vek.h"
#include "search/pux.h"

VEK_API int startPlugin(const char *name);

int startPlugin(const char *name) {
    vekInitNonVEKApp(name);
    return puxInitialize(NULL);
}
