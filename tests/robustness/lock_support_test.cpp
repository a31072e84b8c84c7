// Edits and lookups on file systems whose locks work, fail or are missing: a FUSE server answers the lock requests.

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/passthrough_filesystem.h"

using Strings = std::vector<std::string>;

namespace {

std::string contentOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The lines after the template of the tag file in `directory`.
std::string settings(const std::string &directory) {
    const std::string text = contentOf(directory + "/vekinfo.tag");
    const std::string last = "# Current Settings:\n#\n";
    const std::size_t at = text.find(last);
    return at == std::string::npos ? text : text.substr(at + last.size());
}

void expectSuccess(const std::string &directory, const Strings &arguments, const std::string &out = "") {
    Strings line = {VEK_TEST_VEKINFO};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const test::Outcome outcome = test::run(
        line, {.environment = {{"PWD", directory}, {"HOME", "/nonexistent"}}, .directory = directory});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ(out, outcome.out);
}

/// Adds, shows, configures and clears, and expects no message about locks.
void useTool(const std::string &directory) {
    expectSuccess(directory, {"-addentry", "DMTYPE", "mrev"});
    expectSuccess(directory, {"-addentry", "A", "1"});
    EXPECT_EQ("DMTYPE mrev\nA 1\n", settings(directory));
    const std::string path = directory + "/vekinfo.tag";
    expectSuccess(directory, {"-lookup", "A"},
                  "vekinfo searching relative to '" + directory + "':\n" + path + "\n    defines 'A 1'.\n");
    std::ofstream(directory + "/vek.lib") << "DEFINE here .\n";
    expectSuccess(directory, {"-configurelibrary"});
    const std::string configured = contentOf(path);
    EXPECT_NE(std::string::npos, configured.find("\nVEKLIBRARY\n"));
    expectSuccess(directory, {"-configurelibrary"});
    EXPECT_EQ(configured, contentOf(path));
    expectSuccess(directory, {"-clearentry", "DMTYPE"});
    EXPECT_EQ(std::string::npos, contentOf(path).find("\nDMTYPE mrev\n"));
}

class LockRequests : public testing::TestWithParam<int> {};

} // namespace

TEST_P(LockRequests, FailuresDoNotPreventEdits) {
    const Strings options = GetParam() == 0 ? Strings{} : Strings{"--lock-error", std::to_string(GetParam())};
    test::onPassthroughFilesystem(
        options, [](const std::string &directory, const std::string & /*source*/) { useTool(directory); });
}

INSTANTIATE_TEST_SUITE_P(Errors, LockRequests, testing::Values(0, ENOLCK, EINVAL, EIO, ENOSYS, EOPNOTSUPP),
                         [](const auto &item) {
                             return item.param == 0 ? "none" : strerrorname_np(item.param);
                         });
