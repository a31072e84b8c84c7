#include "fuzz/support/target.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <vector>

// The names that the fuzzing engine calls.
extern "C" {
int LLVMFuzzerInitialize(int *argc, char ***argv);
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
}

static struct {
    std::unique_ptr<fuzz::Box> box;
    FILE *report; ///< standard error, also when the engine has closed it
    std::string artifacts;
    std::vector<char *> arguments;
} fuzzing;

namespace {

/// What the engine writes next to where it was started; else it would go into the box, and away with it.
void keepArtifacts(int &argc, char **&argv) {
    std::vector<char *> &arguments = fuzzing.arguments;
    arguments.assign(argv, argv + argc);
    const std::unique_ptr<char, void (*)(void *)> here(get_current_dir_name(), std::free);
    fuzzing.artifacts = std::string("-artifact_prefix=") + (here ? here.get() : ".") + "/";
    // In front of what was given, since the last one counts.
    arguments.insert(arguments.begin() + (argc > 0 ? 1 : 0), fuzzing.artifacts.data());
    argc = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    argv = arguments.data();
}

} // namespace

int LLVMFuzzerInitialize(int *argc, char ***argv) {
    keepArtifacts(*argc, *argv);
    fuzzing.report = fdopen(dup(STDERR_FILENO), "w");
    fuzzing.box = std::make_unique<fuzz::Box>();
    std::atexit([] { fuzzing.box.reset(); });
    clearenv();
    for (const char *name : {"HOME", "PWD"}) {
        setenv(name, fuzzing.box->root().c_str(), 1);
    }
    setenv("PATH", "/nonexistent", 1);
    fuzzing.box->enter();
    fuzz::prepare(*fuzzing.box);
    fuzzing.box->leave();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = fuzz::expandRepetitions(data, size);
    fuzzing.box->enter();
    fuzz::run(*fuzzing.box, fuzz::Input(text));
    fuzzing.box->leave();
    return 0;
}

namespace fuzz {

void fail(const char *property, std::string_view detail, std::string_view more) {
    std::fprintf(fuzzing.report, "\nfuzz: does not hold: %s\n", property);
    for (const std::string_view text : {detail, more}) {
        if (!text.empty()) {
            std::fprintf(fuzzing.report, "----\n%.*s\n", static_cast<int>(text.size()), text.data());
        }
    }
    std::fflush(fuzzing.report);
    std::abort();
}

} // namespace fuzz
