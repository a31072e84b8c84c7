#ifndef TESTS_LIBDEF_PATH_SUPPORT_H
#define TESTS_LIBDEF_PATH_SUPPORT_H

/// Helpers for tests of paths: buffers with guard bytes, results, an empty registry.

#include "common/base/vek_api.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/environment.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

namespace test {

/// A buffer of VEK_PATH_SIZE bytes, followed by guard bytes that must not change.
class PathBuffer {
  public:
    PathBuffer() { bytes_.fill(kFill); }
    ~PathBuffer() {
        for (std::size_t at = VEK_PATH_SIZE; at < bytes_.size(); ++at) {
            EXPECT_EQ(kFill, bytes_[at]) << "written after the buffer";
        }
    }
    PathBuffer(const PathBuffer &) = delete;
    PathBuffer &operator=(const PathBuffer &) = delete;

    char *get() { return bytes_.data(); }
    /// The text that was written; "" if nothing was.
    [[nodiscard]] std::string text() const {
        return bytes_[0] == kFill ? "" : std::string(bytes_.data(), strnlen(bytes_.data(), bytes_.size()));
    }

  private:
    static constexpr char kFill = '\x01';
    std::array<char, VEK_PATH_SIZE + 64> bytes_;
};

/// The result of a path function.
struct PathResult {
    int status;
    std::string path;
    std::string error;

    bool operator==(const PathResult &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const PathResult &result) {
    return out << "{" << result.status << ", \"" << result.path << "\" (" << result.path.size() << "), \""
               << result.error << "\" (" << result.error.size() << ")}";
}

inline PathResult made(const std::string &path) {
    return {RYN_OK, path, ""};
}

inline PathResult failure(int code, const std::string &error) {
    return {code, "", error};
}

/// A sandbox, an empty environment and a registry without libraries. Without PWD, the creation reads no link.
class PathTest : public testing::Test {
  protected:
    void SetUp() override {
        setEnvironment({});
        renew();
    }

    /// Creates a new registry, with an empty link cache.
    void renew(unsigned flags = 0) {
        definitions.release();
        ASSERT_EQ(RYN_OK, rynInit(nullptr, flags, recordWarning, recordFatal, &definitions.handle));
    }
    /// renew() with paths that must exist.
    void renewStrict() { renew(RYN_FLAG_OWN_EXISTENCE_CHECK); }

    [[nodiscard]] std::string at(std::string_view relative) const { return definitions.path(relative); }

    PathResult full(const std::string &text, const std::string &base) const {
        PathBuffer path;
        PathBuffer error;
        const int status =
            ryni_generate_full_path(text.c_str(), base.c_str(), path.get(), error.get(), definitions.handle);
        return {status, path.text(), error.text()};
    }
    PathResult nslEx(const std::string &text, int checkExistence) const {
        PathBuffer path;
        PathBuffer error;
        const int status = ryni_generate_nsl_path_ex(text.c_str(), path.get(), error.get(),
                                                     definitions.handle, checkExistence);
        return {status, path.text(), error.text()};
    }
    PathResult nsl(const std::string &text) const {
        PathBuffer path;
        PathBuffer error;
        const int status = ryni_generate_nsl_path(text.c_str(), path.get(), error.get(), definitions.handle);
        return {status, path.text(), error.text()};
    }

    Definitions definitions;
    Sandbox &box = definitions.box;
};

/// Appends components of at most 200 characters, which do not exist, until `begin` has `size` characters.
inline std::string lengthened(std::string begin, std::size_t size) {
    while (begin.size() < size) {
        const std::size_t missing = size - begin.size();
        // A component is never empty.
        const std::size_t piece = missing <= 200 ? missing : (missing < 203 ? 100 : 201);
        begin += "/" + std::string(piece - 1, 'a');
    }
    return begin;
}

} // namespace test

#endif
