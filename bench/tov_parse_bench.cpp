// How the cost of a tag file grows with its lines. Rates are per line: "items" are lines.

#include "common/platform/vek_init.h"
#include "tagfile/tov.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <string>

namespace {

/// A throw-away directory with one tag file of `lines` application entries.
class TagFileOf {
  public:
    explicit TagFileOf(long lines) {
        vekInitNonVEKApp("tov_parse_bench"); // what asks about the file is a program like any other
        std::string pattern = (std::filesystem::temp_directory_path() / "vek-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(EXIT_FAILURE);
        }
        directory_ = pattern;
        std::ofstream out(path());
        for (long line = 1; line <= lines; ++line) {
            out << "ENTRY" << kFirstNumber + line << " value" << line << '\n';
        }
        last_ = "ENTRY" + std::to_string(kFirstNumber + lines);
    }
    TagFileOf(const TagFileOf &) = delete;
    TagFileOf &operator=(const TagFileOf &) = delete;
    ~TagFileOf() { std::filesystem::remove_all(directory_); }

    [[nodiscard]] const std::string &directory() const { return directory_; }
    [[nodiscard]] std::string path() const { return directory_ + "/vekinfo.tag"; }
    [[nodiscard]] const std::string &lastName() const { return last_; }

  private:
    static constexpr long kFirstNumber = 10'000'000; // so that all names are equally long

    std::string directory_;
    std::string last_;
};

/// The heap that a round begins with.
enum class Heap {
    New, ///< nothing that the kernel has handed out before; large blocks are mapped one by one
    Used ///< what earlier rounds gave back; blocks as large as theirs come from it, too, and are copied to grow
};

/// Makes the next round begin with no parsed file. The allocator's limits would otherwise depend on which
/// benchmark ran before.
void forgetEverything(Heap heap = Heap::New) {
    constexpr int kInitialLimit = 128 * 1024;
    constexpr int kLargestLimit = 32 * 1024 * 1024;
    const bool isNew = heap == Heap::New;
    tovResetCache();
    mallopt(M_MMAP_THRESHOLD, isNew ? kInitialLimit : kLargestLimit);
    mallopt(M_TRIM_THRESHOLD, isNew ? kInitialLimit : 2 * kLargestLimit);
    if (isNew) {
        malloc_trim(0);
    }
}

void countLines(benchmark::State &state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void parse(benchmark::State &state, const std::string &path) {
    VekinfoObj obj = {};
    int found = 0;
    if (tovGetVekinfoAtLoc(path.c_str(), nullptr, &obj, &found) != TOV_OK) {
        state.SkipWithError("the tag file could not be read");
    }
    benchmark::DoNotOptimize(obj);
}

void parseEachRound(benchmark::State &state, Heap heap) {
    const TagFileOf file(state.range(0));
    const std::string path = file.path();
    forgetEverything(heap);
    parse(state, path); // so that a used heap is one
    for ([[maybe_unused]] auto round : state) {
        state.PauseTiming();
        forgetEverything(heap);
        state.ResumeTiming();
        parse(state, path);
    }
    forgetEverything();
    countLines(state);
}

/// Reads the file, as the first query in a process does.
void Parse(benchmark::State &state) {
    parseEachRound(state, Heap::New);
}

/// Reads the file again, as a program does that resets the cache from time to time.
void ParseAgain(benchmark::State &state) {
    parseEachRound(state, Heap::Used);
}

/// Reads the file and answers its last entry: what one `vekinfo -lookup` does.
void FirstLookupOfLastEntry(benchmark::State &state) {
    const TagFileOf file(state.range(0));
    for ([[maybe_unused]] auto round : state) {
        state.PauseTiming();
        forgetEverything();
        state.ResumeTiming();

        if (tovLookupEntry(file.directory().c_str(), file.lastName().c_str(), nullptr) == nullptr) {
            state.SkipWithError("the last entry was not found");
        }
    }
    forgetEverything();
    countLines(state);
}

/// Answers the last entry of a file that has been read.
void NextLookupOfLastEntry(benchmark::State &state) {
    const TagFileOf file(state.range(0));
    forgetEverything();
    tovLookupEntry(file.directory().c_str(), file.lastName().c_str(), nullptr);
    for ([[maybe_unused]] auto round : state) {
        if (tovLookupEntry(file.directory().c_str(), file.lastName().c_str(), nullptr) == nullptr) {
            state.SkipWithError("the last entry was not found");
        }
    }
    forgetEverything();
    countLines(state);
}

BENCHMARK(Parse)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(ParseAgain)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(FirstLookupOfLastEntry)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(NextLookupOfLastEntry)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
