#include "tests/robustness/world.h"

#include "tests/robustness/code_names.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/base/vek_error.h"
#include "common/platform/vek_init.h"
#include "search/pux.h"
#include "tagfile/tov.h"

namespace test {

namespace {

std::vector<std::string> reports; ///< names of codes

void ignoreText(const char * /*message*/) {}

void recordTagError(int code, const char * /*text*/, const char * /*where*/, int /*line*/) {
    reports.push_back(tovName(code));
}

int recordFatal(int code, const char * /*text*/, const char * /*sameText*/) {
    reports.push_back(rynName(code));
    return 0;
}

std::string octal(unsigned mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%o", mode);
    return text;
}

} // namespace

Tree treeOf(const std::string &directory) {
    Tree tree;
    namespace fs = std::filesystem;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = entry.path().string().substr(directory.size() + 1);
        struct stat status = {};
        if (::fstatat(AT_FDCWD, entry.path().c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            continue;
        }
        if (S_ISLNK(status.st_mode)) {
            tree[name] = "link to " + fs::read_symlink(entry.path()).string();
        } else if (S_ISREG(status.st_mode)) {
            std::ifstream file(entry.path());
            tree[name] = "file " + octal(status.st_mode & 07777U) + ": " +
                         std::string(std::istreambuf_iterator<char>(file), {});
        } else {
            tree[name] = "mode " + octal(status.st_mode);
        }
    }
    return tree;
}

Tree withoutTestFiles(Tree tree) {
    std::erase_if(tree, [](const auto &item) {
        const std::string &name = item.first;
        return name.find("vekFileWritableTest") != std::string::npos ||
               name.find("vekfscasesensitivity.") != std::string::npos ||
               name.find("vekFsCaseSensitivity.") != std::string::npos;
    });
    return tree;
}

World::World(Start start) {
    umask(022);
    build();
    first_ = tree();
    const std::string tool = path("inst/tools/bin/tool");
    setEnvironment({{"PWD", box.path()},
                    {"HOME", path("home")},
                    {"PATH", path("inst/tools/bin") + ":/usr/bin:/bin"},
                    {"VEK_WORKAREA", path("proj")},
                    {"VEK_SITE", path("site")},
                    {"VEK_TMP_DIR", path("empty")},
                    {"COLOUR", "red"}});
    vekInitNonVEKApp(tool.c_str());
    vekRegErrorFunc(ignoreText);
    tovRegisterErrorHandler(recordTagError);
    if (start == Start::Asked) {
        renew();
    }
}

World::~World() {
    forget();
    vekRegErrorFunc(nullptr);
    tovRegisterErrorHandler(nullptr);
}

void World::build() {
    box.file("inst/tools/bin/vek_root", "", 0755)
        .file("inst/tools/bin/tool", "", 0755)
        .file("inst/tools/bin/vek_plat.dat", "lnx86\n")
        .file("inst/share/find.txt", "share\n")
        .file("proj/vekinfo.tag", "# project\nVEKLIBCHECK ON\nSHAPE round\nSIZE large\n")
        .file("proj/vek.lib",
              "DEFINE lib lib\nASSIGN lib TMP tmp\nASSIGN lib COLOUR $COLOUR\nINCLUDE more.lib\n")
        .file("proj/more.lib", "DEFINE other ${HOME}/../proj/olink\nSOFTDEFINE none nowhere\n")
        .file("proj/lib/vekinfo.tag", "VEKLIBRARY\nDMTYPE none\nNAMESPACE LibraryUnix\nCOLOUR red\n")
        .file("proj/lib/dm.tag", "none\n")
        .file("proj/lib/cell1/view1/data.db", "data\n")
        .file("proj/lib/cell1/view1/sub/deep.db", "deep\n")
        .file("proj/lib/cell1/note.txt", "note\n")
        .directory("proj/lib/cell2")
        .file("proj/lib/readme.txt", "one\ntwo\n")
        .file("proj/tmp/cell1/view1/data.db", "newer\n")
        .directory("proj/itmp/lib")
        .link("proj/link", "lib")
        .directory("proj/otherlib")
        .link("proj/olink", "otherlib")
        .file("site/.tolvane/find.txt", "found\n")
        .file("site/.tolvane/vekinfo.tag", "DMTYPE pkm\n")
        .directory("home")
        .directory("empty");
}

void World::forget() {
    if (registry != nullptr) {
        rynReleaseHandle(registry);
        registry = nullptr;
    }
    while (rynStatCacheCtl(0) > 0) {
    }
    tovResetCache();
    puxReleaseHandle(nullptr);
}

void World::renew() {
    forget();
    rynInit(path("proj/vek.lib").c_str(), 0, recordWarning, recordFatal, &registry);
    tovResetCache();
    puxReleaseHandle(nullptr);
    reports.clear();
}

void World::restoreTree() {
    if (tree() == first_) {
        return;
    }
    for (const std::string &name : box.list()) {
        removeTree(path(name));
    }
    build();
}

std::string World::shown(const char *text) const {
    if (text == nullptr) {
        return "null";
    }
    std::string result = text;
    const std::string root = box.path();
    for (std::size_t at = result.find(root); at != std::string::npos; at = result.find(root, at)) {
        result.replace(at, root.size(), "@");
    }
    return result;
}

int World::recordWarning(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    reports.push_back(rynName(code));
    return 0;
}

std::string World::takeReports() {
    std::string text = reports.empty() ? "" : " reports";
    for (const std::string &code : reports) {
        text += " " + code;
    }
    reports.clear();
    return text;
}

} // namespace test
