#include "common/text/owned_strlist.h"

bool vek::appendToStrlist(char **&list, const char *s, int *size) {
    return addToStrlist(list, s, size) == StrlistAddition::Done;
}
