// The cost of iterators per name ("item"). Shallow: cells of a library's directory, half of which are also in its
// temporary directory. Deep: all files of a view in 562 directories, in the library or in its temporary directory, and
// the same tree with std::filesystem::recursive_directory_iterator.

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

[[noreturn]] void giveUp(const char *what) {
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

/// A temporary directory with a library of `cells` cells, and its registry. The cells are plain files, which an iterator
/// over cells does not distinguish from directories: they are created and removed faster.
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

/// Returns the free memory of earlier rounds to the system, so that each round begins like the first one.
void trimHeap() {
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
        trimHeap();
        state.ResumeTiming();
        if (gather(state, library, source) != cells) {
            state.SkipWithError("not every cell was found once");
        }
    }
    state.SetItemsProcessed(state.iterations() * cells);
}

/// The library's directory alone: the cost of reading and keeping names.
void IterateLibrary(benchmark::State &state) {
    iterate(state, RYN_SOURCE_LIBRARY);
}

/// Both directories.
void Iterate(benchmark::State &state) {
    iterate(state, RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP);
}

BENCHMARK(IterateLibrary)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(Iterate)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// ---- deep lists

/// A library whose view "c/v" has 561 directories in two levels below it and 36 files in each of the 562; the same tree is in its
/// temporary directory.
class DeepLibrary {
  public:
    DeepLibrary() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vek-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            giveUp("mkdtemp");
        }
        directory_ = pattern;
        for (const char *side : {"lib", "tmp"}) {
            fill(directory_ + "/" + side + "/c/v");
        }
        const std::string file = directory_ + "/vek.lib";
        std::ofstream(file) << "DEFINE lib lib\nASSIGN lib TMP tmp\n";
        if (rynInit(file.c_str(), 0, nullptr, nullptr, &handle_) != RYN_OK) {
            giveUp("rynInit");
        }
    }
    DeepLibrary(const DeepLibrary &) = delete;
    DeepLibrary &operator=(const DeepLibrary &) = delete;
    ~DeepLibrary() {
        rynReleaseHandle(handle_);
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    [[nodiscard]] rynHandle handle() const { return handle_; }
    [[nodiscard]] std::string view() const { return directory_ + "/lib/c/v"; }

    static const DeepLibrary &get() {
        static const DeepLibrary library;
        return library;
    }

    static constexpr int kDirectories = 1 + 33 + 33 * 16;
    static constexpr int kFiles = 36 * kDirectories;

  private:
    static void fill(const std::string &view) {
        fillDirectory(view);
        for (int i = 0; i < 33; ++i) {
            const std::string middle = view + "/middle" + std::to_string(i);
            fillDirectory(middle);
            for (int j = 0; j < 16; ++j) {
                fillDirectory(middle + "/low" + std::to_string(j));
            }
        }
    }

    static void fillDirectory(const std::string &directory) {
        std::filesystem::create_directories(directory);
        for (int i = 0; i < 36; ++i) {
            const std::string file = directory + "/file" + std::to_string(i) + ".dat";
            if (mknod(file.c_str(), S_IFREG | 0644, 0) != 0) {
                giveUp("mknod");
            }
        }
    }

    std::string directory_;
    rynHandle handle_ = nullptr;
};

void iterateDeep(benchmark::State &state, unsigned source) {
    const DeepLibrary &library = DeepLibrary::get();
    for ([[maybe_unused]] auto round : state) {
        rynContext *context = nullptr;
        if (rynXIterateAllViewFiles(library.handle(), source, "lib", "c", "v", &context) != RYN_OK) {
            state.SkipWithError("the view could not be read");
            return;
        }
        int files = 0;
        for (const char *name = nullptr; rynNextFile(context, &name) == RYN_OK;) {
            ++files;
        }
        rynIterateEnd(context);
        if (files != DeepLibrary::kFiles) {
            state.SkipWithError("not every file was found once");
        }
    }
    state.SetItemsProcessed(state.iterations() * DeepLibrary::kFiles);
}

void DeepLibrarySide(benchmark::State &state) {
    iterateDeep(state, RYN_SOURCE_LIBRARY);
}

void DeepTemporarySide(benchmark::State &state) {
    iterateDeep(state, RYN_SOURCE_TMP);
}

/// A loop over the same tree, which gets the path of each file.
void DeepStandard(benchmark::State &state) {
    const std::string view = DeepLibrary::get().view();
    for ([[maybe_unused]] auto round : state) {
        int files = 0;
        constexpr auto kOptions = std::filesystem::directory_options::follow_directory_symlink;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(view, kOptions)) {
            benchmark::DoNotOptimize(entry.path().c_str());
            files += entry.is_directory() ? 0 : 1;
        }
        if (files != DeepLibrary::kFiles) {
            state.SkipWithError("not every file was found once");
        }
    }
    state.SetItemsProcessed(state.iterations() * DeepLibrary::kFiles);
}

BENCHMARK(DeepLibrarySide)->Unit(benchmark::kMillisecond);
BENCHMARK(DeepTemporarySide)->Unit(benchmark::kMillisecond);
BENCHMARK(DeepStandard)->Unit(benchmark::kMillisecond);

} // namespace
