#include "libdef/registry/ryni_owned_text.h"

#include "common/base/owned.h"

#include <cstdlib>
#include <cstring>

bool ryn::replaceText(char *&field, std::string_view text) {
    if (field != nullptr && std::strlen(field) >= text.size()) {
        std::memmove(field, text.data(), text.size());
        field[text.size()] = '\0';
        return true;
    }
    vek::OwnedText copy = vek::copyText(text);
    if (!copy) {
        return false;
    }
    std::free(field);
    field = copy.release();
    return true;
}

int ryniStrcpy(char **field, const char *text) {
    if (ryn::replaceText(*field, text)) {
        return RYN_OK;
    }
    std::free(*field);
    *field = nullptr;
    return RYN_MEMORY_ERROR;
}
