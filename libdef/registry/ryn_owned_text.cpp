#include "libdef/registry/ryni_owned_text.h"

#include "common/base/owned.h"

#include <cstdlib>
#include <cstring>

int ryniStrcpy(char **field, const char *text) {
    const std::size_t size = std::strlen(text) + 1;
    if (*field != nullptr && std::strlen(*field) + 1 >= size) {
        std::memmove(*field, text, size);
        return RYN_OK;
    }
    vek::OwnedText copy = vek::copyText(text);
    std::free(*field);
    *field = copy.release();
    return *field == nullptr ? RYN_MEMORY_ERROR : RYN_OK;
}
