#include "fuzz/support/users.h"

#include <cstring>
#include <pwd.h>

extern "C" {
passwd *__wrap_getpwnam(const char *name);
}

/// The code under test does not change what it is given, whatever the type says.
passwd *__wrap_getpwnam(const char *name) {
    static passwd entry = {};
    if (name == nullptr || std::strcmp(name, fuzz::kUser) != 0) {
        return nullptr;
    }
    entry.pw_name = const_cast<char *>(fuzz::kUser);
    entry.pw_dir = const_cast<char *>(fuzz::kUsersHome);
    return &entry;
}
