// puxUsePuxFor() beside a loop that reads the same file and follows the one name. Rates are per line.

#include "common/platform/vek_init.h"
#include "search/pux.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <strings.h>

namespace {

constexpr int kLines = 100'000;
constexpr const char *kName = "name77777.db";

/// A throw-away directory with a configuration of kLines lines.
class Config {
  public:
    Config() {
        vekInitNonVEKApp("pux_lookup_config_bench");
        std::string pattern = (std::filesystem::temp_directory_path() / "vek-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(EXIT_FAILURE);
        }
        directory_ = pattern;
        std::ofstream out(path());
        for (int line = 0; line < kLines; ++line) {
            out << (line % 2 == 0 ? "INCLUDE" : "EXCLUDE") << " name" << line << ".db\n";
        }
    }
    Config(const Config &) = delete;
    Config &operator=(const Config &) = delete;
    ~Config() { std::filesystem::remove_all(directory_); }

    [[nodiscard]] const std::string &directory() const { return directory_; }
    [[nodiscard]] std::string path() const { return directory_ + "/puxLookupConfig"; }

  private:
    std::string directory_;
};

void countLines(benchmark::State &state) {
    state.SetItemsProcessed(state.iterations() * kLines);
}

void UsePuxFor(benchmark::State &state) {
    const Config config;
    std::array<char *, 2> list = {const_cast<char *>(config.directory().c_str()), nullptr};
    for (auto _ : state) {
        if (puxUsePuxFor(list.data(), kName) != PUX_FILE_NOT_FOUND) {
            state.SkipWithError("the name is not excluded");
        }
    }
    countLines(state);
}
BENCHMARK(UsePuxFor)->Unit(benchmark::kMillisecond);

char *skipSpace(char *text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    return text;
}

/// The least that a loop can do with such a file.
bool followOneName(const std::string &path, const char *name) {
    FILE *file = std::fopen(path.c_str(), "r");
    if (file == nullptr) {
        return false;
    }
    bool all = false;
    int rule = 0; // 1 included, -1 excluded
    std::array<char, 1024> buffer = {};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), file) != nullptr) {
        char *word = skipSpace(buffer.data());
        char *end = word + std::strlen(word);
        while (end > word && std::isspace(static_cast<unsigned char>(end[-1])) != 0) {
            --end;
        }
        *end = '\0';
        if (*word == '\0' || *word == '#' || *word == ';' || std::strncmp(word, "--", 2) == 0) {
            continue;
        }
        char *rest = word;
        while (*rest != '\0' && std::isspace(static_cast<unsigned char>(*rest)) == 0) {
            ++rest;
        }
        if (*rest != '\0') {
            *rest++ = '\0';
            rest = skipSpace(rest);
        }
        if (strcasecmp(word, "ALL") == 0 || strcasecmp(word, "NONE") == 0) {
            all = strcasecmp(word, "ALL") == 0;
            rule = 0;
        } else if (strcasecmp(word, "INCLUDE") == 0) {
            rule = std::strcmp(rest, name) == 0 ? 1 : rule;
        } else if (strcasecmp(word, "EXCLUDE") == 0) {
            rule = std::strcmp(rest, name) == 0 ? -1 : rule;
        } else {
            rule = std::strcmp(word, name) == 0 ? 1 : rule;
        }
    }
    std::fclose(file);
    return rule > 0 || (rule == 0 && all);
}

void FollowOneName(benchmark::State &state) {
    const Config config;
    const std::string path = config.path();
    for (auto _ : state) {
        if (followOneName(path, kName)) {
            state.SkipWithError("the name is not excluded");
        }
    }
    countLines(state);
}
BENCHMARK(FollowOneName)->Unit(benchmark::kMillisecond);

} // namespace
