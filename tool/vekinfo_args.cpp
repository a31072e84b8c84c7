// Command line: reads all arguments, with a table that has one row for each option, and then performs the selected
// action.

#include "tool/vekinfo_args.h"

#include "common/base/owned.h"
#include "common/base/print.h"
#include "common/text/ascii.h"
#include "tagfile/tov.h"
#include "tool/vekinfo_check.h"
#include "tool/vekinfo_report.h"

#include <array>
#include <cstdio>
#include <string_view>

unsigned char verboseFlag;
unsigned char gotTestPath;
const char *testPath;

namespace {

constexpr std::array<const char *, 8> kUsage = {
    "Usage: vekinfo [-verbose | -v]", "\t[-path <filepath>]",
    "\t[-configurelibrary |",         "\t -checklibrary |",
    "\t -lookup <entryname>... |",    "\t -show |",
    "\t -addentry <name> <value> |",  "\t -clearentry <name> ]",
};

struct Option;

/// The parsed command line: the action that it selects, and the operands of this action.
struct Request {
    const Option *action = nullptr;
    char **names = nullptr; ///< array for the operands of `-lookup`; as long as the argument vector
    const char *entryName = nullptr;
    const char *entryValue = nullptr;
};

/// A function that stores the operands of the option `args[0]`, that is, the arguments after it, in `request`.
/// @return the number of arguments that the option and its operands occupy; 0 for a usage error
using Take = int (*)(Request &request, char **args);
/// A function that performs an action with the operands in `request`. @return the result of tovProcessVekinfoArgs()
using Run = int (*)(const Request &request);

struct Option {
    std::string_view word;
    Take take;
    Run run; ///< null for options that select no action
};

bool isOperand(const char *argument) {
    return argument != nullptr && *argument != '-';
}

// ---- operands

int takeNothing(Request & /*request*/, char ** /*args*/) {
    return 1;
}

int takeVerbose(Request & /*request*/, char ** /*args*/) {
    verboseFlag = 1;
    return 1;
}

int takePath(Request & /*request*/, char **args) {
    if (!isOperand(args[1])) {
        return 0;
    }
    gotTestPath = 1;
    testPath = args[1];
    return 2;
}

int takeLookupNames(Request &request, char **args) {
    if (!isOperand(args[1])) {
        return 0;
    }
    int count = 0;
    getLookupEntrynames(args + 1, request.names, &count);
    return 1 + count;
}

int takeEntryName(Request &request, char **args) {
    if (!isOperand(args[1])) {
        return 0;
    }
    request.entryName = args[1];
    return 2;
}

/// Stores the two operands of `-addentry`, a name and a value. The name must not begin with "-"; the value may.
int takeEntryNameAndValue(Request &request, char **args) {
    if (!isOperand(args[1]) || args[2] == nullptr) {
        return 0;
    }
    request.entryName = args[1];
    request.entryValue = args[2];
    return 3;
}

// ---- actions

const char *editedDirectory() {
    return gotTestPath != 0 ? testPath : ".";
}

int configureLibraries(const Request & /*request*/) {
    return tovCheckOrConfigLibrary(1);
}

int checkLibraries(const Request & /*request*/) {
    return tovCheckOrConfigLibrary(0);
}

int show(const Request & /*request*/) {
    return tovVekinfoShow();
}

int lookup(const Request &request) {
    return tovVekinfoLookup(request.names);
}

int clearEntry(const Request &request) {
    return tovRemoveEntry(editedDirectory(), request.entryName) != 0 ? VEKINFO_OK : VEKINFO_EDIT_FAILED;
}

int addEntry(const Request &request) {
    return tovAddEntry(editedDirectory(), request.entryName, request.entryValue) != 0 ? VEKINFO_OK
                                                                                      : VEKINFO_EDIT_FAILED;
}

// ---- the table of options

constexpr std::array<Option, 9> kOptions = {{
    {"-verbose", takeVerbose, nullptr},
    {"-v", takeVerbose, nullptr},
    {"-path", takePath, nullptr},
    {"-configurelibrary", takeNothing, configureLibraries},
    {"-checklibrary", takeNothing, checkLibraries},
    {"-lookup", takeLookupNames, lookup},
    {"-show", takeNothing, show},
    {"-clearentry", takeEntryName, clearEntry},
    {"-addentry", takeEntryNameAndValue, addEntry},
}};

const Option *findOption(std::string_view word) {
    for (const Option &option : kOptions) {
        if (vek::equalNoCase(word, option.word)) {
            return &option;
        }
    }
    return nullptr;
}

/// Searches the table of options for `args[0]` and stores the operands of the option in `request`. If the option is an
/// action, also stores the option in `request`.
/// @return the number of arguments that the option and its operands occupy; 0 for a usage error, such as a second
///         action
int takeOption(Request &request, char **args) {
    const Option *option = findOption(*args);
    const bool isAction = option != nullptr && option->run != nullptr;
    if (option == nullptr || (isAction && request.action != nullptr)) {
        return 0;
    }
    if (isAction) {
        request.action = option;
    }
    return option->take(request, args);
}

int usageError() {
    vekinfoCmdUsage();
    return VEKINFO_USAGE_ERROR;
}

std::size_t countArguments(char **argv) {
    std::size_t count = 0;
    while (argv[count] != nullptr) {
        ++count;
    }
    return count;
}

} // namespace

void vekinfoCmdUsage(void) {
    for (const char *line : kUsage) {
        vek::print(stdout, "%s\n", line);
    }
}

void getLookupEntrynames(char **args, char **names, int *count) {
    *count = 0;
    while (isOperand(args[*count])) {
        names[*count] = args[*count];
        names[++*count] = nullptr;
    }
}

int tovProcessVekinfoArgs(char **argv) {
    const std::size_t count = countArguments(argv);
    const vek::Owned<char *> names(static_cast<char **>(std::calloc(count + 1, sizeof(char *))));
    if (!names) {
        return tovPrintError(TOV_MEMORY_ERROR, "while reading the command line", nullptr, 0);
    }
    Request request;
    request.names = names.get();
    for (std::size_t i = 1; i < count;) {
        const int taken = takeOption(request, argv + i);
        if (taken == 0) {
            return usageError();
        }
        i += static_cast<std::size_t>(taken);
    }
    return request.action == nullptr ? usageError() : request.action->run(request);
}
