#ifndef TESTS_TOOL_PROBE_SUPPORT_H
#define TESTS_TOOL_PROBE_SUPPORT_H

/// Helpers for tests of probes, which create and remove files.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <system_error>

namespace test {

/// The number of files in and below `directory` that running or killed probes have created.
inline int probeFilesBelow(const std::string &directory) {
    int count = 0;
    std::error_code error;
    using Options = std::filesystem::directory_options;
    for (std::filesystem::recursive_directory_iterator
             each(directory, Options::skip_permission_denied, error),
         end;
         each != end; each.increment(error)) {
        std::string name = each->path().filename();
        for (char &letter : name) {
            letter = static_cast<char>(std::tolower(letter));
        }
        count += name.starts_with("vekfscasesensitivity") ? 1 : 0;
    }
    return count;
}

/// Waits until `count` probe files exist below `source`, at most 20 seconds.
inline void awaitProbeFiles(const std::string &source, int count) {
    for (int tries = 0; tries < 20'000 && probeFilesBelow(source) < count; ++tries) {
        usleep(1000);
    }
    EXPECT_LE(count, probeFilesBelow(source));
}

} // namespace test

#endif
