#ifndef TESTS_LIBDEF_PROJECT_SUPPORT_H
#define TESTS_LIBDEF_PROJECT_SUPPORT_H

/// Helpers for tests of queries, iterators and specifiers: a registry with one library and its directories.

#include "libdef/paths/ryni_quick_access.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// The path-existence setting of the registry.
enum class Existence { Unchecked, Checked };

/// The library "lib" in the directory `lib`. A test selects its temporary directories by letters: "E" the explicit one,
/// `etmp`; "I" the implicit one, `itmp/lib`; "O" the same with RYN_IMPLICIT_ONLY. All three directories exist and are
/// empty. The letters "l", "e" and "i" address them.
class Project : public Definitions {
  public:
    explicit Project(std::string_view temporaries = {}, Existence existence = Existence::Checked,
                     unsigned moreFlags = 0) {
        faults::reset();
        box.directory("lib").directory("etmp").directory("itmp/lib");
        const bool has = temporaries.find('E') != std::string_view::npos;
        unsigned flags = moreFlags | RYN_FLAG_OWN_EXISTENCE_CHECK;
        if (existence == Existence::Unchecked) {
            flags |= RYN_FLAG_EXISTENCE_CHECK_OFF;
        }
        EXPECT_EQ(load(std::string("DEFINE lib lib\n") + (has ? "ASSIGN lib TMP etmp\n" : ""), flags),
                  RYN_OK);
        for (const char letter : temporaries) {
            if (letter != 'E') {
                EXPECT_EQ(rynSetImplicitTmp(handle, path("itmp").c_str(),
                                            letter == 'O' ? RYN_IMPLICIT_ONLY : RYN_IMPLICIT_FIRST, nullptr),
                          RYN_OK);
            }
        }
        EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    }

    /// The directory of a letter, relative to the temporary directory.
    static std::string directoryOf(char letter) {
        return letter == 'l' ? "lib" : letter == 'e' ? "etmp" : "itmp/lib";
    }
    /// Creates a file in each of the directories.
    void put(std::string_view letters, const std::string &file, mode_t mode = 0644) {
        for (const char letter : letters) {
            box.file(directoryOf(letter) + "/" + file, "", mode);
        }
    }
    /// Creates a subdirectory in each of the directories.
    void putDirectory(std::string_view letters, const std::string &directory, mode_t mode = 0755) {
        for (const char letter : letters) {
            box.directory(directoryOf(letter) + "/" + directory, mode);
        }
    }
    /// `full` with the letter instead of its directory; `full` itself if it is in none of them.
    [[nodiscard]] std::string shortened(const std::string &full) const {
        for (const char letter : {'l', 'e', 'i'}) {
            const std::string directory = path(directoryOf(letter));
            if (full.starts_with(directory)) {
                return letter + full.substr(directory.size());
            }
        }
        return full;
    }

    [[nodiscard]] rynLibrary *record() const { return library("lib"); }
    /// Makes the library packed.
    void pack(const std::string &archive) const {
        std::free(record()->packedFile);
        record()->packedFile = strdup(archive.c_str());
    }

    /// Runs `body` as an unprivileged user, with the ids recorded for access checks.
    static void asUnprivileged(const std::function<void()> &body) {
        test::asUnprivileged([&body] {
            ryni_setUidGid();
            body();
        });
    }
};

/// The names of a design object; null: not given.
struct Names {
    const char *cell = nullptr;
    const char *view = nullptr;
    const char *file = nullptr;
};

} // namespace test

#endif
