#include "libdef/paths/ryni_object_path.h"

#include "libdef/access/ryni_access.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/paths/ryni_quick_access.h"
#include "tests/libdef/path_support.h"
#include "tests/support/child.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// @return the path of ryni_mkpath(), or its code
std::string join(const char *library, const char *cell, const char *view, const char *file) {
    test::PathBuffer out;
    const int status = ryni_mkpath(library, cell, view, file, out.get());
    return status == RYN_OK ? out.text() : "code " + std::to_string(status);
}

const std::string kInvalid = "code " + std::to_string(RYN_INVALID_PATH);

} // namespace

// ---- the path of a design object

TEST(ObjectPath, JoinsTheNamesThatAreGiven) {
    EXPECT_EQ("/l/c/v/f", join("/l", "c", "v", "f"));
    EXPECT_EQ("/l/c/v", join("/l", "c", "v", nullptr));
    EXPECT_EQ("/l/c", join("/l", "c", nullptr, nullptr));
    EXPECT_EQ("/l", join("/l", nullptr, nullptr, nullptr));
    EXPECT_EQ("/l/c/f", join("/l", "c", "", "f"));
    EXPECT_EQ("/l/c/f", join("/l", "c", nullptr, "f"));
    EXPECT_EQ("/l/f", join("/l", nullptr, nullptr, "f"));
    EXPECT_EQ("/l/f", join("/l", "", "", "f"));
    EXPECT_EQ("/l", join("/l", "", "", ""));
    EXPECT_EQ("/l/c", join("/l", "c", "", ""));
}

TEST(ObjectPath, KeepsSlashesAndDotsInNames) {
    EXPECT_EQ("//c", join("/", "c", nullptr, nullptr));
    EXPECT_EQ("/l//c/../v///", join("/l/", "c/..", "v/", "/"));
    EXPECT_EQ("", join("", nullptr, nullptr, nullptr));
    EXPECT_EQ("/c", join("", "c", nullptr, nullptr));
    EXPECT_EQ("rel/c", join("rel", "c", nullptr, nullptr));
}

TEST(ObjectPath, ViewWithoutCellIsInvalidPath) {
    EXPECT_EQ(kInvalid, join("/l", "", "v", "f"));
    EXPECT_EQ(kInvalid, join("/l", nullptr, "v", "f"));
    EXPECT_EQ(kInvalid, join("/l", "", "v", ""));
    EXPECT_EQ(kInvalid, join("/l", nullptr, "v", nullptr));
}

TEST(ObjectPath, NullLibraryIsInvalidPath) {
    EXPECT_EQ(kInvalid, join(nullptr, "c", nullptr, nullptr));
}

TEST(ObjectPath, LimitIs4092CharactersWithoutSeparators) {
    const std::string library(2000, 'l');
    for (const std::size_t size : {2091U, 2092U, 2093U, 2094U, 2095U, 2096U, 2097U, 9000U}) {
        const std::string cell(size, 'c');
        const std::string expected = size <= 2092 ? library + "/" + cell : kInvalid;
        EXPECT_EQ(expected, join(library.c_str(), cell.c_str(), nullptr, nullptr)) << size;
        const std::string view(size - 2000, 'v');
        const std::string two(1000, 'w');
        const std::string three = size <= 2092 ? library + "/" + two + "/" + view + "/" + two : kInvalid;
        EXPECT_EQ(three, join(library.c_str(), two.c_str(), view.c_str(), two.c_str())) << size;
    }
    const std::string alone(4092, 'x');
    EXPECT_EQ(alone, join(alone.c_str(), "", "", ""));
    EXPECT_EQ(kInvalid, join((alone + "x").c_str(), "", "", ""))
        << "the limit always leaves space for three names";
    EXPECT_EQ(kInvalid, join("", nullptr, nullptr, (alone + "x").c_str()));
}

// ---- good library directories

namespace {

class GoodLibrary : public test::PathTest {
  protected:
    int isGood(const std::string &path, int mode) {
        return ryniIsGoodLibPath(definitions.handle, path.c_str(), mode);
    }

    struct Made {
        int status;
        std::string full, nsl, error;

        bool operator==(const Made &) const = default;
        friend std::ostream &operator<<(std::ostream &out, const Made &made) {
            return out << "{" << made.status << ", \"" << made.full << "\", \"" << made.nsl << "\", \""
                       << made.error << "\"}";
        }
    };
    Made make(const std::string &text, const std::string &base) {
        test::PathBuffer full;
        test::PathBuffer nsl;
        test::PathBuffer error;
        const int status = ryniMkGoodLibPath(definitions.handle, text.c_str(), base.c_str(), full.get(),
                                             nsl.get(), error.get());
        return {status, full.text(), nsl.text(), error.text()};
    }
};

} // namespace

TEST_F(GoodLibrary, IsAnExistingDirectory) {
    box.directory("d")
        .file("f", "")
        .link("l", "d")
        .link("lf", "f")
        .link("dangling", "no")
        .link("loop", "loop");
    for (const unsigned flags : {0U, unsigned{RYN_FLAG_OWN_EXISTENCE_CHECK}}) {
        renew(flags);
        EXPECT_EQ(RYN_OK, isGood(at("d"), 0));
        EXPECT_EQ(RYN_OK, isGood(at("l"), 0));
        EXPECT_EQ(RYN_OK, isGood("/", 0));
        for (const char *path : {"f", "lf", "dangling", "loop", "missing", "d/missing", "f/x"}) {
            EXPECT_EQ(RYN_INVALID_PATH, isGood(at(path), 0)) << path;
        }
        EXPECT_EQ(RYN_INVALID_PATH, isGood("", 0));
    }
}

TEST_F(GoodLibrary, PathLimitIs4092Characters) {
    for (const std::size_t size : {4091U, 4092U, 4093U, 4095U}) {
        const std::string path = test::lengthened(at("d"), size);
        box.directory(path.substr(at("").size() + 1));
        EXPECT_EQ(size <= 4092 ? RYN_OK : RYN_INVALID_PATH, isGood(path, 0)) << size;
    }
    for (const std::size_t size : {4096U, 4097U}) {
        EXPECT_EQ(RYN_INVALID_PATH, isGood(test::lengthened("", size), 0)) << size;
    }
}

TEST_F(GoodLibrary, ReturnsCodeOfFailedAccessCheck) {
    box.directory("unread", 0311).directory("closed", 0).directory("fixed", 0555);
    box.directory("", 0555);
    const std::string root = at("") + "/";
    test::asUnprivileged([&] {
        ryni_setUidGid();
        renew();
        EXPECT_EQ(RYN_OK, isGood(root + "unread", 0)) << "reading is tested when paths must exist";
        EXPECT_EQ(RYN_PERMISSION_DENIED_LIBRARY, isGood(root + "fixed", 1));
        renewStrict();
        EXPECT_EQ(RYN_PERMISSION_DENIED_LIBRARY, isGood(root + "unread", 0));
        EXPECT_EQ(RYN_PERMISSION_DENIED_LIBRARY, isGood(root + "closed", 0));
        EXPECT_EQ(RYN_OK, isGood(root + "fixed", 0));
        EXPECT_EQ(RYN_PERMISSION_DENIED_LIBRARY, isGood(root + "fixed", 1));
        EXPECT_EQ(RYN_PERMISSION_DENIED, isGood(root + "fixed", 6)) << "its parent is fixed, too";
        EXPECT_EQ(RYN_INVALID_PATH, isGood(root + "closed/x", 0));
    });
    EXPECT_EQ(RYN_INTERNAL_ERROR, isGood(root + "fixed", 3));
    EXPECT_EQ((test::ErrorReports{{RYN_INTERNAL_ERROR, "ryni_access_path()", "ryni_access_path()"}}),
              test::recorded.fatals);
}

TEST_F(GoodLibrary, ReturnsSameCodeFromStatCache) {
    box.directory("unread", 0311);
    const std::string path = at("unread");
    test::asUnprivileged([&] {
        ryni_setUidGid();
        renewStrict();
        rynStatCacheCtl(1);
        for (const int stale : {0, ENOENT, EIO, EACCES}) {
            errno = stale;
            EXPECT_EQ(RYN_PERMISSION_DENIED_LIBRARY, isGood(path, 0)) << stale;
        }
    });
}

TEST_F(GoodLibrary, GeneratesFullAndNslPath) {
    box.directory("d/sub").link("l", "d");
    test::setEnvironment({{"D", "l"}});
    EXPECT_EQ((Made{RYN_OK, at("l/sub"), at("d/sub"), ""}), make("$D/./sub//", at("")));
    EXPECT_EQ((Made{RYN_OK, at("l"), at("d"), ""}), make(at("l"), "/w"));
    EXPECT_EQ((Made{RYN_OK, at("d"), at("d"), ""}), make("", at("d")));
}

TEST_F(GoodLibrary, ReturnsFirstFailure) {
    box.directory("d").file("f", "").link("l", "f").link("self", "self");
    EXPECT_EQ((Made{RYN_INVALID_PATH, "", "", "~nosuchuser/x"}), make("~nosuchuser/x", at("")));
    EXPECT_EQ((Made{RYN_INTERNAL_ERROR, "", "", "d/../x"}), make("../x", "d"));
    EXPECT_EQ((Made{RYN_INTERNAL_ERROR, "$UNSET/x", "", "$UNSET/x"}), make("$UNSET/x", at("")));
    EXPECT_EQ((Made{RYN_INTERNAL_ERROR, at("self/x"), "", at("self")}), make("self/x", at("")));
    EXPECT_EQ((Made{RYN_INVALID_PATH, at("l"), at("f"), at("f")}), make("l", at("")));
    EXPECT_EQ((Made{RYN_INVALID_PATH, at("no"), at("no"), at("no")}), make("no", at("")));
    renewStrict();
    EXPECT_EQ((Made{RYN_INVALID_PATH, at("no"), "", at("no")}), make("no", at("")));
    EXPECT_EQ((Made{RYN_SYSTEM_ERROR, at("self"), "", at("self")}), make("self", at("")));
    EXPECT_EQ((Made{RYN_INVALID_PATH, at("l"), at("f"), at("f")}), make("l", at("")));
}

TEST_F(GoodLibrary, UnreadableDirectoryIsPermissionDenied) {
    box.directory("unread", 0311).link("l", "unread");
    const std::string root = at("") + "/";
    test::asUnprivileged([&] {
        ryni_setUidGid();
        renewStrict();
        EXPECT_EQ((Made{RYN_PERMISSION_DENIED, root + "l", "", root + "l"}), make(root + "l", "/"));
        renew();
        EXPECT_EQ((Made{RYN_OK, root + "l", root + "unread", ""}), make(root + "l", "/"));
    });
}

TEST_F(GoodLibrary, ReportsNslPathWhenLastCheckFails) {
    // The directory is removed; the link cache still has its links.
    box.directory("d").link("l", "d");
    renewStrict();
    EXPECT_EQ(RYN_OK, make("l", at("")).status);
    rynStatCacheCtl(1);
    EXPECT_EQ(RYN_OK, make("l", at("")).status);
    ASSERT_EQ(0, rmdir(at("d").c_str()));
    EXPECT_EQ((Made{RYN_INVALID_PATH, at("l"), at("d"), at("d")}), make("l", at("")));
}

TEST_F(GoodLibrary, TextLimitIs4095Characters) {
    box.directory("d");
    std::string text = "d";
    while (text.size() + at("").size() + 1 < 4095) {
        text += "/";
    }
    EXPECT_EQ((Made{RYN_OK, at("d"), at("d"), ""}), make(text, at("")));
    EXPECT_EQ((Made{RYN_INVALID_PATH, "", "", text + "/"}), make(text + "/", at("")));
    for (const std::size_t size : {4096U, 4097U, 20000U}) {
        const std::string tooLong = test::lengthened("", size);
        EXPECT_EQ((Made{RYN_INVALID_PATH, "", "", tooLong.substr(0, 4095)}), make(tooLong, at("")));
    }
}

TEST_F(GoodLibrary, AcceptsNullErrorBuffer) {
    test::PathBuffer full;
    test::PathBuffer nsl;
    for (const char *text : {"~nosuchuser", "/no/such", "$UNSET"}) {
        EXPECT_NE(RYN_OK, ryniMkGoodLibPath(definitions.handle, text, "/", full.get(), nsl.get(), nullptr));
    }
    const std::string tooLong(5000, 'x');
    EXPECT_EQ(RYN_INVALID_PATH,
              ryniMkGoodLibPath(definitions.handle, tooLong.c_str(), "/", full.get(), nsl.get(), nullptr));
}
