// How the cost of an iterator grows with the names that it gathers. Rates are per name: "items" are names in the
// library's directory, half of which are also in the library's temporary directory.

#include "libdef/ryn.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

/// A throw-away directory with a library of `cells` cells, and its registry. The cells are plain files, which an
/// iterator over cells does not tell from directories: they are made, and removed, sooner.
class LibraryOf {
  public:
    explicit LibraryOf(long cells) {
        std::string pattern = (std::filesystem::temp_directory_path() / "vek-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            giveUp("mkdtemp");
        }
        directory_ = pattern;
        fill("lib", 1, cells);
        fill("tmp", 2, cells);
        const std::string file = directory_ + "/vek.lib";
        std::ofstream(file) << "DEFINE lib lib\nASSIGN lib TMP tmp\n";
        if (rynInit(file.c_str(), 0, nullptr, nullptr, &handle_) != RYN_OK) {
            giveUp("rynInit");
        }
    }
    LibraryOf(const LibraryOf &) = delete;
    LibraryOf &operator=(const LibraryOf &) = delete;
    ~LibraryOf() {
        rynReleaseHandle(handle_);
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    [[nodiscard]] rynHandle handle() const { return handle_; }

    /// The one with 10,000 or 1,000,000 cells, made once.
    static const LibraryOf &size(long cells) {
        static const LibraryOf few(10'000);
        static const LibraryOf many(1'000'000);
        return cells == 10'000 ? few : many;
    }

  private:
    [[noreturn]] static void giveUp(const char *what) {
        std::perror(what);
        std::exit(EXIT_FAILURE);
    }

    /// Makes every `step`-th of the cells in a directory: as links to few files, which takes a fraction of the time.
    void fill(const char *name, long step, long cells) const {
        const std::string path = directory_ + "/" + name;
        std::filesystem::create_directory(path);
        const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        std::string linked;
        for (long cell = 0; cell < cells; cell += step) {
            const std::string cellName = "cell" + std::to_string(kFirstNumber + cell);
            if (linkat(directory, linked.c_str(), directory, cellName.c_str(), 0) == 0) {
                continue;
            }
            // The first one, and whenever a file has all the links that it can have.
            if (mknodat(directory, cellName.c_str(), S_IFREG | 0644, 0) != 0) {
                giveUp("mknodat");
            }
            linked = cellName;
        }
        close(directory);
    }

    static constexpr long kFirstNumber = 10'000'000; // so that all names are equally long

    std::string directory_;
    rynHandle handle_ = nullptr;
};

/// Gives back to the system what earlier rounds left, so that a round begins like the first one.
void forgetHeap() {
    malloc_trim(0);
}

long gather(benchmark::State &state, const LibraryOf &library, unsigned source) {
    rynContext *context = nullptr;
    if (rynXIterateCells(library.handle(), source, "lib", &context) != RYN_OK) {
        state.SkipWithError("the library could not be read");
        return 0;
    }
    long names = 0;
    for (const char *name = nullptr; rynNextCell(context, &name) == RYN_OK;) {
        ++names;
    }
    rynIterateEnd(context);
    return names;
}

void iterate(benchmark::State &state, unsigned source) {
    const long cells = state.range(0);
    const LibraryOf &library = LibraryOf::size(cells);
    for ([[maybe_unused]] auto round : state) {
        state.PauseTiming();
        forgetHeap();
        state.ResumeTiming();
        if (gather(state, library, source) != cells) {
            state.SkipWithError("not every cell was found once");
        }
    }
    state.SetItemsProcessed(state.iterations() * cells);
}

/// The library's directory alone: what reading and keeping names costs.
void IterateLibrary(benchmark::State &state) {
    iterate(state, RYN_SOURCE_LIBRARY);
}

/// Both directories.
void Iterate(benchmark::State &state) {
    iterate(state, RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP);
}

BENCHMARK(IterateLibrary)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(Iterate)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
