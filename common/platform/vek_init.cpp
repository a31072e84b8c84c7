// Start-up of a program: the name of the executable, the installation root, the option that prints the version.

#include "common/platform/vek_init.h"

#include "common/platform/veki_init.h"
#include "common/text/ascii.h"
#include "common/text/view_up_to.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];
char *vekiRootPath = nullptr;

// The version string for the command what(1), which searches an executable for strings that begin with "@(#)" and
// prints them. The string is in the same object file as vekInit(), so that the linker adds it to every program that
// calls vekInit().
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
    // Documented: initialization sets this flag to 1, even if cmnNoInstallRootRequired() has set it to 0 before.
    startUp.installRootRequired = 1;
    const std::size_t length =
        exeName == nullptr ? 0 : vek::viewUpTo(exeName, VEKI_EXECUTABLE_NAME_MAX).size();
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
    // Documented: this function has no effect after initialization. A call before initialization has no lasting
    // effect, because vekInit() sets the flag to 1.
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

/// Skips white space and then the first word of `text`. Afterwards, `text` points to the first character after this
/// word.
/// @return the skipped word, without the white space; empty if there is no word
static std::string_view nextWord(const char *&text) {
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
    static_cast<void>(nextWord(versionString)); // the first word, such as "@(#)$VEK:", is not printed
    print("TOOL:\t");
    print(nextWord(versionString));
    print("\t");
    print(nextWord(versionString));
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
