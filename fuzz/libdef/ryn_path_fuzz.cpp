// Paths of libraries in a farm of links: a byte of options, and the text; with an option set, each of its bytes
// stands for a piece of a path. Without a reference, a full path stays as it is when it is generated again, and
// what exists has the nsl path that the system gives it.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/ryn.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

enum Option : unsigned {
    kAssembled = 1,
    kMustExist = 2,
    kNoRegistry = 4,
    kDeepBase = 8,
    kReuse = 16,
    kFromRoot = 32,
    kUncleaned = 64
};

struct Release {
    void operator()(rynRegistry *registry) const { rynReleaseHandle(registry); }
};
using OwnedRegistry = std::unique_ptr<rynRegistry, Release>;

constexpr std::array<const char *, 32> kPieces = {
    "/",        "/a",          "/b",      "/c",      "/up",    "/here",   "/loop1", "/gone",
    "/..",      "/.",          "//",      "/abs",    "/deep",  "/chain1", "/x/y",   "/dots",
    "/slash",   "/a/b/../b/c", "a",       "$ROOT",   "$A",     "${A}",    "$OLD",   "$NONE",
    "$(other)", "~",           "~nobody", "/a file", "/..../", "/wide",   "/self",  "/parent"};

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

std::string assemble(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += kPieces[static_cast<unsigned char>(byte) % kPieces.size()];
    }
    return upToNul(text);
}

struct Paths {
    int fullCode;
    int nslCode;
    std::string full;
    std::string nsl;
};

Paths generate(const std::string &text, const std::string &base, rynRegistry *registry) {
    std::array<char, VEK_PATH_SIZE> full = {};
    std::array<char, VEK_PATH_SIZE> nsl = {};
    std::array<char, VEK_PATH_SIZE> error = {};
    Paths paths = {};
    paths.fullCode = ryni_generate_full_path(text.c_str(), base.c_str(), full.data(), error.data(), registry);
    paths.full = full.data();
    if (paths.fullCode == RYN_OK) {
        paths.nslCode = ryni_generate_nsl_path(full.data(), nsl.data(), error.data(), registry);
        paths.nsl = nsl.data();
    }
    return paths;
}

/// Where the system says that an existing path leads; empty for any other.
std::string realPath(const std::string &path) {
    std::array<char, PATH_MAX> real = {};
    return realpath(path.c_str(), real.data()) == nullptr ? "" : real.data();
}

void check(const Paths &paths, const std::string &text, const std::string &base, rynRegistry *registry) {
    if (paths.fullCode != RYN_OK || paths.full.find('$') != std::string::npos || paths.full[0] != '/') {
        return;
    }
    if (paths.full.starts_with("/..")) {
        return; // there is nothing above the root: what leads there is not made simpler
    }
    if (paths.full.find("/../") != std::string::npos && paths.full.ends_with("/..")) {
        return; // behind a link that keeps its "..", the last one of a text goes once
    }
    std::array<char, VEK_PATH_SIZE> again = {};
    std::array<char, VEK_PATH_SIZE> error = {};
    const int code =
        ryni_generate_full_path(paths.full.c_str(), base.c_str(), again.data(), error.data(), registry);
    fuzz::require(code == RYN_OK && paths.full == again.data(), "a full path stays as it is", paths.full,
                  again.data());
    const std::string real = realPath(paths.full);
    if (real.empty() || paths.full.size() > VEK_PATH_SIZE / 4) {
        return; // what is longer may be cut on the way
    }
    if (paths.nslCode == RYN_INTERNAL_ERROR && paths.full.find("/..") != std::string::npos) {
        return; // there is nothing above the root, where the system stays at it
    }
    if (paths.nslCode != RYN_OK || paths.nsl != real) {
        fuzz::fail("an nsl path is where the system leads", text,
                   paths.full + "\n" + paths.nsl + "\n" + real);
    }
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    for (const char *directory :
         {"a", "a/b", "a/b/c", "x", "x/y", "deep", "deep/er", "deep/er/still", "a file"}) {
        box.directory(directory);
    }
    box.file("a/notes", "");
    box.file("x/y/file", "");
    for (const auto &[name, target] : {std::pair{"up", ".."},
                                       {"here", "."},
                                       {"b", "a/b"},
                                       {"c", "b/c"},
                                       {"a/up", "../up"},
                                       {"a/b/c/top", "../../.."},
                                       {"chain1", "chain2"},
                                       {"chain2", "x/../chain3"},
                                       {"chain3", "deep/er/../../a"},
                                       {"loop1", "loop2"},
                                       {"loop2", "x/../loop1"},
                                       {"gone", "nowhere/at/all"},
                                       {"dots", "a/b/.././../x/./y"},
                                       {"slash", "a/b//"},
                                       {"self", "self"},
                                       {"parent", "deep/er/.."},
                                       {"deep/er/out", "../../b/../b"},
                                       {"a/self", "../a"}}) {
        box.link(name, target);
    }
    box.link("abs", box.path("deep/er").c_str());
    box.link("x/abs", (box.root() + "/../" + box.root().substr(box.root().rfind('/') + 1) + "/a").c_str());
    box.link("wide", (std::string(1500, '/') + box.path("x")).c_str());
    setenv("A", "a", 1);
    setenv("ROOT", box.root().c_str(), 1);
    setenv("OLD", "$A/../$NEW", 1);
    setenv("NEW", "b", 1);
    setenv("SELF", "$SELF/x", 1);
    setenv("LONG", std::string(4090, 'l').c_str(), 1);
    vekInitNonVEKApp("tool");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    const unsigned options = input.byte();
    std::string text = (options & kAssembled) != 0 ? assemble(input.rest()) : upToNul(input.rest());
    if ((options & kFromRoot) != 0) {
        text.insert(0, "$ROOT");
    }
    const std::string base = (options & kDeepBase) != 0 ? box.path("deep/er/out") : box.root();
    rynSetPathNoneExistWarnFlag((options & kMustExist) != 0 ? 1 : 0);
    OwnedRegistry registry;
    if ((options & kNoRegistry) == 0) {
        rynHandle handle = nullptr;
        require(rynInit(nullptr, 0, nullptr, nullptr, &handle) == RYN_OK, "an empty registry can be made");
        registry.reset(handle);
    }
    const Paths paths = generate(text, base, registry.get());
    check(paths, text, base, registry.get());
    if ((options & kReuse) != 0 && registry) {
        rynAddCommand(registry.get(), ("DEFINE one \"" + text + "\"").c_str());
        rynAddCommand(registry.get(), ("DEFINE two \"" + paths.nsl + "\"").c_str());
        std::array<char, VEK_PATH_SIZE> path = {};
        rynGetPath(registry.get(), RYN_PATH_READ, "one", "c", "top", nullptr, path.data(), path.size());
    }
    if ((options & kUncleaned) != 0) {
        std::array<char, VEK_PATH_SIZE> nsl = {};
        std::array<char, VEK_PATH_SIZE> error = {};
        ryni_generate_nsl_path_ex(text.c_str(), nsl.data(), error.data(), registry.get(), 0);
    }
}

} // namespace fuzz
