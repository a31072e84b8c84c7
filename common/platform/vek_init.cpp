#include "common/platform/vek_init.h"

#include "common/platform/veki_init.h"
#include "common/text/ascii.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];
char *vekiRootPath = nullptr;

// Nothing reads the string; it is kept for programs that look for what-strings in an executable. It stands
// in the object of vekInit(), which every program of the system links.
[[gnu::used, gnu::retain]] const char vekIdentString[] =
    "@(#)$VEK: VEKCOMMON version 06.01 09/07/2006 03:04 (lnx86) $";

static struct {
    int initialized;
    int installRootRequired;
} startUp = {.initialized = 0, .installRootRequired = 1};

int vekInitNonVEKApp(const char *exeName) {
    if (startUp.initialized != 0) {
        return 0;
    }
    // Undoes an earlier cmnNoInstallRootRequired(): the flag changes for good only after initialization.
    startUp.installRootRequired = 1;
    const std::size_t length = exeName == nullptr ? 0 : strnlen(exeName, VEKI_EXECUTABLE_NAME_MAX);
    if (length > 0) {
        std::memcpy(vekiExecutableName, exeName, length);
    }
    vekiExecutableName[length] = '\0';
    startUp.initialized = 1;
    return 0;
}

int vekInit(int * /*argc*/, char **argv) {
    return vekInitNonVEKApp(argv == nullptr ? nullptr : argv[0]);
}

int vekInitDone(void) {
    return startUp.initialized;
}

void cmnNoInstallRootRequired(void) {
    // Without effect after initialization, which in turn undoes an earlier call; callers rely on both.
    if (startUp.initialized == 0) {
        startUp.installRootRequired = 0;
    }
}

int cmnGetInstallRootRequired(void) {
    return startUp.installRootRequired;
}

void cmnSetInstallRootRequired(int required) {
    startUp.installRootRequired = required;
}

const char *vekPlat(void) {
    return "lnx86";
}

/// Takes the next word, and the white space before it, off `text`.
static std::string_view takeWord(const char *&text) {
    while (vek::isSpace(*text)) {
        ++text;
    }
    const char *begin = text;
    while (*text != '\0' && !vek::isSpace(*text)) {
        ++text;
    }
    return {begin, static_cast<std::size_t>(text - begin)};
}

static void print(std::string_view text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
}

void vekiPrintVersion(const char *versionString) {
    if (versionString == nullptr) {
        print("No Version string\n");
        return;
    }
    static_cast<void>(takeWord(versionString)); // the what-marker
    print("TOOL:\t");
    print(takeWord(versionString));
    print("\t");
    print(takeWord(versionString));
    print("\n");
}

void vekProcMinusVersionArg(int argc, char **argv, const char *versionString) {
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        if (std::strcmp(argv[i], "-version") == 0) {
            vekiPrintVersion(versionString);
            std::exit(EXIT_SUCCESS);
        }
    }
}
