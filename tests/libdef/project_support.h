#ifndef TESTS_LIBDEF_PROJECT_SUPPORT_H
#define TESTS_LIBDEF_PROJECT_SUPPORT_H

/// A registry with one library, and the directories that it may have: what the tests of queries, iterators and
/// specifiers share.

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

/// Whether paths must exist, as a registry's own setting.
enum class Existence { Unchecked, Checked };

/// The library "lib" in the directory `lib`, with the temporary directories that a test asks for by their letters:
/// "E" the explicit one, `etmp`; "I" the implicit one, `itmp/lib`; "O" the same, with implicit only. All three
/// directories are there, and empty, in any case. Places are named by a letter, too: "l", "e" and "i".
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
                EXPECT_EQ(rynSetImplicitTmp(handle, path("itmp").c_str(), letter == 'O' ? 1 : 2, nullptr),
                          RYN_OK);
            }
        }
        EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    }

    /// The directory of a place, relative to the throw-away directory.
    static std::string directoryOf(char place) {
        return place == 'l' ? "lib" : place == 'e' ? "etmp" : "itmp/lib";
    }
    /// Makes a file in each of the places.
    void put(std::string_view places, const std::string &file, mode_t mode = 0644) {
        for (const char place : places) {
            box.file(directoryOf(place) + "/" + file, "", mode);
        }
    }
    /// Makes a directory in each of the places.
    void putDirectory(std::string_view places, const std::string &directory, mode_t mode = 0755) {
        for (const char place : places) {
            box.directory(directoryOf(place) + "/" + directory, mode);
        }
    }
    /// `path` with the place's letter in the place of its directory; `path` itself when it lies in none.
    [[nodiscard]] std::string shortened(const std::string &full) const {
        for (const char place : {'l', 'e', 'i'}) {
            const std::string directory = path(directoryOf(place));
            if (full.starts_with(directory)) {
                return place + full.substr(directory.size());
            }
        }
        return full;
    }

    [[nodiscard]] rynLibrary *record() const { return library("lib"); }
    /// Gives the library an archive.
    void pack(const std::string &archive) const {
        std::free(record()->packedFile);
        record()->packedFile = strdup(archive.c_str());
    }

    /// Runs `body` as an unprivileged user whom the access checks know as the one they work for.
    static void asUnprivileged(const std::function<void()> &body) {
        test::asUnprivileged([&body] {
            ryni_setUidGid();
            body();
        });
    }
};

/// The names of a design object; null ones are not given.
struct Names {
    const char *cell = nullptr;
    const char *view = nullptr;
    const char *file = nullptr;
};

} // namespace test

#endif
