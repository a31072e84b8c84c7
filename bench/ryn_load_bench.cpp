// How the time to load a vek.lib grows with its libraries, attributes and included files, and how it compares with the
// system calls that loading needs. All library directories exist. Each round starts with memory that the process has not
// used before, since a program loads its definitions once. In the last benchmark, the text of a setup.loc is interpolated.

#include "common/platform/vek_init.h"
#include "libdef/ryn.h"
#include "search/vek_interp.h"

#include <array>
#include <benchmark/benchmark.h>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// A temporary tree of library directories, distributed over a number of directories, with a directory "tmp" beside them.
class Tree {
  public:
    Tree(int directories, long libraries) : directories_(directories) {
        std::string pattern = (fs::temp_directory_path() / "vek-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(EXIT_FAILURE);
        }
        root_ = pattern;
        fs::create_directory(path("tmp"));
        for (int i = 0; i < directories; ++i) {
            fs::create_directory(directory(i));
        }
        for (long i = 0; i < libraries; ++i) {
            fs::create_directory(library(i));
        }
    }
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;
    ~Tree() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }

    [[nodiscard]] std::string path(const std::string &name) const { return root_ + "/" + name; }
    [[nodiscard]] std::string library(long number) const {
        return directory(number % directories_) + "/" + name(number);
    }

    void define(std::ofstream &out, long from, long to) const {
        for (long i = from; i < to; ++i) {
            out << "DEFINE " << name(i) << ' ' << library(i) << '\n';
        }
    }

    static std::string name(long number) { return "library" + std::to_string(kFirstNumber + number); }

  private:
    static constexpr long kFirstNumber = 1'000'000; // so that all names are equally long

    [[nodiscard]] std::string directory(long number) const {
        return path("project" + std::to_string(kFirstNumber + number));
    }

    std::string root_;
    int directories_;
};

/// Creates each tree once, since a benchmark runs many times.
const Tree &treeOf(int directories, long libraries) {
    static std::map<std::pair<int, long>, Tree> made;
    return made.try_emplace({directories, libraries}, directories, libraries).first->second;
}

/// Writes a definition file that defines every library of the tree itself.
std::string writeFlat(const Tree &tree, long libraries, const std::string &name,
                      const std::string &firstLine = "") {
    std::ofstream out(tree.path(name));
    out << firstLine;
    tree.define(out, 0, libraries);
    return tree.path(name);
}

/// Writes a definition file that includes `parts` files with the definitions.
std::string writeParts(const Tree &tree, long libraries, const std::string &name, long parts,
                       const std::string &firstLine = "") {
    std::ofstream out(tree.path(name));
    out << firstLine;
    for (long i = 0; i < parts; ++i) {
        const std::string part = "part" + std::to_string(i) + ".lib";
        std::ofstream definitions(tree.path(part));
        tree.define(definitions, libraries * i / parts, libraries * (i + 1) / parts);
        out << "INCLUDE " << part << '\n';
    }
    return tree.path(name);
}

int stopReading(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return code;
}

bool loadOnce(const std::string &path, rynHandle &handle) {
    return rynInit(path.c_str(), 0, stopReading, nullptr, &handle) == RYN_OK;
}

void load(benchmark::State &state, const std::string &path) {
    vekInitNonVEKApp("ryn_load_bench"); // what loads the file is a program like any other
    rynHandle handle = nullptr;
    bool loaded = loadOnce(path, handle); // makes the temporary directories, which later rounds find
    for ([[maybe_unused]] auto round : state) {
        state.PauseTiming();
        rynReleaseHandle(handle);
        malloc_trim(0);
        state.ResumeTiming();
        loaded = loaded && loadOnce(path, handle);
    }
    if (!loaded) {
        state.SkipWithError("the definition file could not be loaded");
        return;
    }
    rynReleaseHandle(handle);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void OneDirectory(benchmark::State &state) {
    load(state, writeFlat(treeOf(1, state.range(0)), state.range(0), "vek.lib"));
}

void ThousandDirectories(benchmark::State &state) {
    load(state, writeFlat(treeOf(1000, state.range(0)), state.range(0), "vek.lib"));
}

constexpr const char *kTmpRoot = "ASSIGN AllLibs TmpRootDir tmp\n";

void TmpRoot(benchmark::State &state) {
    load(state, writeFlat(treeOf(1, state.range(0)), state.range(0), "with_tmp.lib", kTmpRoot));
}

void HundredIncludes(benchmark::State &state) {
    load(state, writeParts(treeOf(1, state.range(0)), state.range(0), "with_parts.lib", 100));
}

/// The libraries in range(1) included files, at the end of each of which the root is applied.
void TmpRootInIncludes(benchmark::State &state) {
    load(state,
         writeParts(treeOf(1, state.range(0)), state.range(0), "tmp_parts.lib", state.range(1), kTmpRoot));
}

/// One library in each included file.
void IncludedFiles(benchmark::State &state) {
    load(state, writeParts(treeOf(1, state.range(0)), state.range(0), "with_files.lib", state.range(0)));
}

/// All attributes belong to one library.
void Attributes(benchmark::State &state) {
    const Tree &tree = treeOf(1, 1);
    std::ofstream out(tree.path("attributes.lib"));
    tree.define(out, 0, 1);
    for (long i = 0; i < state.range(0); ++i) {
        out << "ASSIGN library1000000 ATTRIBUTE" << i << " value\n";
    }
    out.close();
    load(state, tree.path("attributes.lib"));
}

/// References that are not closed, as in a damaged setup.loc.
void UnclosedReferences(benchmark::State &state) {
    std::string text;
    for (long i = 0; i < state.range(0); ++i) {
        text += "${";
    }
    std::string out(2 * text.size(), '\0');
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(vekInterpolate(text.c_str(), out.data(), out.size(), nullptr, 0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The system calls that loading needs, in loops of their own. The kernel needs more time for each call if there are more
// directories and files, because fewer of its records of them are in the processor's caches.

void askForLink(const char *path) {
    std::array<char, PATH_MAX> target; // NOLINT(cppcoreguidelines-pro-type-member-init): readlink() fills it
    benchmark::DoNotOptimize(readlink(path, target.data(), target.size()));
}

/// Reads a definition file that defines each library itself, and calls readlink() for each directory of each path.
void askForEachLine(const std::string &path) {
    for (fs::path above = path; above != above.root_path(); above = above.parent_path()) {
        askForLink(above.c_str());
    }
    benchmark::DoNotOptimize(access(path.c_str(), R_OK));
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        askForLink(line.c_str() + line.rfind(' ') + 1);
    }
}

void OneDirectoryCalls(benchmark::State &state) {
    const std::string path = writeFlat(treeOf(1, state.range(0)), state.range(0), "vek.lib");
    for ([[maybe_unused]] auto round : state) {
        askForEachLine(path);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// With mkdir() of each temporary directory, which exists, and stat() of it.
void TmpRootCalls(benchmark::State &state) {
    const Tree &tree = treeOf(1, state.range(0));
    const std::string path = writeFlat(tree, state.range(0), "vek.lib");
    std::vector<std::string> directories;
    for (long i = 0; i < state.range(0); ++i) {
        directories.push_back(tree.path("tmp/" + Tree::name(i)));
        fs::create_directory(directories.back());
    }
    struct stat status = {};
    for ([[maybe_unused]] auto round : state) {
        askForEachLine(path);
        for (const std::string &directory : directories) {
            benchmark::DoNotOptimize(mkdir(directory.c_str(), ACCESSPERMS));
            benchmark::DoNotOptimize(stat(directory.c_str(), &status));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(OneDirectory)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(ThousandDirectories)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(TmpRoot)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(HundredIncludes)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(TmpRootInIncludes)->Args({10'000, 10})->Args({10'000, 1'000})->Unit(benchmark::kMillisecond);
BENCHMARK(IncludedFiles)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(Attributes)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(UnclosedReferences)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(OneDirectoryCalls)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(TmpRootCalls)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

} // namespace
