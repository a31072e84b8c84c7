#include "tests/robustness/cases.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include <unistd.h>

#include "common/base/vek_error.h"
#include "common/containers/vek_hash.h"
#include "common/containers/vek_string_hash.h"
#include "common/expressions/vek_regexp.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/platform/vek_tmp.h"
#include "common/text/fixed_text.h"
#include "common/text/vek_strlist.h"
#include "tests/support/capture.h"
#include "tests/support/real_calls.h"

namespace test {

namespace {

/// A copy of a heap string, which is freed.
std::string adopted(const World &world, char *text) {
    std::string result = world.shown(text);
    std::free(text);
    return result;
}

std::string joined(char **list) {
    if (list == nullptr) {
        return "null";
    }
    std::string result;
    for (; *list != nullptr; ++list) {
        result += std::string(result.empty() ? "" : ",") + *list;
    }
    return result;
}

std::string adoptedList(const World &world, char **list) {
    const std::string result = joined(list);
    vekFreeStrlist(list);
    return world.shown(result.c_str());
}

/// A string list without allocations.
template <std::size_t Count>
struct Fixed {
    char texts[Count][8];
    char *list[Count + 1];

    explicit Fixed(const char *const (&from)[Count]) {
        for (std::size_t i = 0; i < Count; ++i) {
            static_cast<void>(vek::copyToBuffer(from[i], texts[i], sizeof texts[i]));
            list[i] = texts[i];
        }
        list[Count] = nullptr;
    }
};
template <std::size_t Count>
Fixed(const char *const (&from)[Count]) -> Fixed<Count>;

/// The list that a function returned in place of `before`; `before` itself if it returned null. Both are freed.
std::string grown(const World &world, char **before, char **after) {
    if (after == nullptr) {
        return "null, before: " + adoptedList(world, before);
    }
    return adoptedList(world, after);
}

struct Node {
    Node *next;
    uint32_t key;
};

int sameKey(const void *entry, const void *key) {
    return static_cast<const Node *>(entry)->key == static_cast<const Node *>(key)->key ? 1 : 0;
}

uint32_t keyOf(const void *key, const vekHashTable * /*table*/) {
    return static_cast<const Node *>(key)->key;
}

/// A table of twenty entries, which grows several times unless an allocation fails.
class Table {
  public:
    Table() {
        vekHashAllocTable(&table, 2, 1, 0, sameKey, keyOf);
        for (uint32_t i = 0; i < 20; ++i) {
            nodes[i] = {nullptr, i};
        }
    }
    ~Table() { vekHashFreeTable(&table); }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    [[nodiscard]] std::string found() {
        int count = 0;
        for (Node &node : nodes) {
            count += vekHashProbe(&table, &node) == &node ? 1 : 0;
        }
        return std::to_string(count);
    }

    vekHashTable table = {};
    Node nodes[20];
};

std::string iterated(Table &table) {
    vekHashGenerator *const generator = vekHashStartGen(&table.table);
    if (generator == nullptr) {
        return "null";
    }
    int count = 0;
    for (void *entry = nullptr; vekHashGen(generator, &entry) == 1;) {
        ++count;
    }
    vekHashStopGen(generator);
    return std::to_string(count);
}

std::string matched(const char *pattern, const char *subject) {
    vek_regexp *const expression = vek_regcomp(pattern);
    if (expression == nullptr) {
        return "null";
    }
    const int result = vek_regexec(expression, subject);
    std::free(expression);
    return std::to_string(result);
}

} // namespace

std::string nameOf(const Case &item) {
    std::string name;
    for (const std::string_view function : item.functions) {
        name += (name.empty() ? "" : "+") + std::string(function);
    }
    return name;
}

std::vector<Case> commonCases() {
    return {
        // ---- strings and string lists
        {{"vekCopyString"}, [](World &w) { return adopted(w, vekCopyString("text")); }, {"null"}},
        {{"vekCatString"}, [](World &w) { return adopted(w, vekCatString("a", "b", ",")); }, {"null"}},
        {{"vekAddToStrlist", "vekFreeStrlist", "vekGetStrlistSize"},
         [](World &w) {
             int size = 0;
             char **const one = vekAddToStrlist(nullptr, "one", &size);
             return one == nullptr ? "null" : grown(w, one, vekAddToStrlist(one, "two", &size));
         },
         {"null", "null, before: one"}},
        {{"vekFastAddToStrlist"},
         [](World &w) {
             char **list = nullptr;
             int count = 0;
             int size = 0;
             for (int i = 0; i < 40; ++i) {
                 char **const longer = vekFastAddToStrlist(list, "x", &count, &size);
                 if (longer == nullptr) {
                     const bool whole = vekGetStrlistSize(list) == count && count == i;
                     vekFreeStrlist(list);
                     return std::string(whole ? "null" : "torn");
                 }
                 list = longer;
             }
             return adoptedList(w, list);
         },
         {"null"}},
        {{"vekGrowStrlist"},
         [](World &w) {
             int size = 0;
             char **const one = vekAddToStrlist(nullptr, "one", &size);
             return one == nullptr ? "null" : grown(w, one, vekGrowStrlist(one, 1, 500));
         },
         {"null", "null, before: one"}},
        {{"vekCopyStrlist"},
         [](World &w) {
             Fixed list({"b", "a"});
             return adoptedList(w, vekCopyStrlist(list.list));
         },
         {"null"}},
        {{"vekStrlistToStr"},
         [](World &w) {
             Fixed list({"b", "a"});
             return adopted(w, vekStrlistToStr(list.list, ","));
         },
         {"null"}},
        {{"vekFilterStrlist"},
         [](World &w) {
             Fixed list({"abc", "xyz", "axz"});
             Fixed patterns({"^a", "q|z"});
             return adoptedList(w, vekFilterStrlist(list.list, patterns.list));
         },
         {"null"}},
        {{"vekStrToStrlist"},
         [](World &w) {
             int size = 0;
             int count = 1;
             char **const one = vekAddToStrlist(nullptr, "one", &size);
             if (one == nullptr) {
                 return std::string("null");
             }
             char **const list = vekStrToStrlist("two 'three four' five", &count, one);
             const bool counted = vekGetStrlistSize(list) == count;
             return adoptedList(w, list) + (counted ? "" : " miscounted");
         },
         {"null", "one", "one,two", "one,two,three four"}},
        {{"vekSortStrlist"},
         [](World &) {
             Fixed list({"b", "a"});
             vekSortStrlist(list.list, 2);
             return joined(list.list);
         }},
        // ---- hash table
        {{"vekHashAllocTable", "vekHashFreeTable"},
         [](World &) {
             const Table table;
             return std::string(table.table.buckets == nullptr ? "null" : "table");
         },
         {"null"}},
        {{"vekHashCreate", "vekHashProbe"},
         [](World &) {
             Table table;
             for (Node &node : table.nodes) {
                 vekHashCreate(&table.table, &node);
             }
             return table.found();
         },
         {"0"}},
        {{"vekHashReplace"},
         [](World &) {
             Table table;
             for (Node &node : table.nodes) {
                 vekHashReplace(&table.table, &node);
             }
             return table.found();
         },
         {"0"}},
        {{"vekHashCreateAfterProbe"},
         [](World &) {
             Table table;
             for (Node &node : table.nodes) {
                 vekHashProbe(&table.table, &node);
                 vekHashCreateAfterProbe(&table.table, &node);
             }
             return table.found();
         },
         {"0"}},
        {{"vekHashStartGen", "vekHashGen", "vekHashStopGen"},
         [](World &) {
             Table table;
             vekHashCreate(&table.table, &table.nodes[0]);
             return iterated(table);
         },
         {"0", "null"}},
        {{"vekHashDelete"},
         [](World &) {
             Table table;
             vekHashCreate(&table.table, &table.nodes[0]);
             return std::string(vekHashDelete(&table.table, &table.nodes[0]) == nullptr ? "null" : "entry");
         },
         {"null"}},
        {{"vekHashDouble", "vekHashString", "vekHashString32", "vekHashStringLen"},
         [](World &) {
             const uint64_t sum = vekHashString("ab") + vekHashString32("ab") + vekHashStringLen("ab", 2) +
                                  static_cast<uint32_t>(vekHashDouble(1));
             return std::to_string(sum);
         }},
        // ---- regular expressions and reports
        {{"vek_regcomp", "vek_regexec"},
         [](World &) { return matched("a(b|c)*d", "xxabcbcd"); },
         {"null", "0"}},
        {{"vek_regexec"},
         [](World &) { return matched("(a|aa)*b", std::string(300, 'a').append("b").c_str()); },
         {"null", "0"}},
        {{"vek_regerror"},
         [](World &) {
             const Capture capture;
             vek_regerror("text");
             return std::string();
         }},
        {{"vekReportError", "vekRegErrorFunc", "vekGetErrorFunc"},
         [](World &) {
             vekReportError("text");
             const vekErrorFunc function = vekGetErrorFunc();
             vekRegErrorFunc(function);
             return std::string();
         }},
        // ---- files and paths
        {{"vekFileExists", "vekFileIsDirectory", "vekFileIsLink", "vekFileWritable", "vekGetFileSize",
          "vekGetFileSizeInStatbuf", "vekGetTimestampInStatbuf", "vekReadSymLink"},
         [](World &w) {
             const std::string file = w.path("proj/lib/readme.txt");
             const std::string link = w.path("proj/link");
             char target[4097] = "";
             std::string text = "exists " + std::to_string(vekFileExists(file.c_str()));
             const bool isKnown = vekGetTimestampInStatbuf() != 0;
             text += ", stat size " + std::to_string(isKnown ? vekGetFileSizeInStatbuf() : 0);
             text += ", size " + std::to_string(vekGetFileSize(file.c_str()));
             text += ", directory " + std::to_string(vekFileIsDirectory(w.path("proj").c_str()));
             text += ", link " + std::to_string(vekFileIsLink(link.c_str()));
             text += ", read " + std::to_string(vekReadSymLink(link.c_str(), target));
             text += ", writable " + std::to_string(vekFileWritable(file.c_str()));
             return text + ", target " + target;
         }},
        {{"vekFileWritable"},
         [](World &w) { return std::to_string(vekFileWritable(w.path("empty").c_str())); },
         {},
         true},
        {{"vekBuildDirPath"},
         [](World &w) { return std::to_string(vekBuildDirPath(w.path("empty/a/b/c").c_str())); },
         {"0"},
         true,
         true},
        {{"vekGetFilesysCaseSensitivity"},
         [](World &w) { return std::to_string(vekGetFilesysCaseSensitivity(w.path("empty/not").c_str())); },
         {"1"},
         true},
        {{"vekMkRootedPath"}, [](World &w) { return adopted(w, vekMkRootedPath("a", nullptr)); }, {"null"}},
        {{"vekCanonicalizeDirSep", "vekIsRooted", "vekIsRoot", "vekIsUNCRoot", "vekNtToUnixLine"},
         [](World &) {
             char line[] = "/a\r\n";
             vekCanonicalizeDirSep(line);
             vekNtToUnixLine(line);
             return std::to_string(vekIsRooted(line) + vekIsRoot(line) + vekIsUNCRoot(line));
         }},
        {{"vek_fgets"},
         [](World &w) {
             const std::unique_ptr<FILE, int (*)(FILE *)> file(
                 std::fopen(w.path("proj/lib/readme.txt").c_str(), "r"), std::fclose);
             char line[64] = "";
             return std::string(file && vek_fgets(line, sizeof line, file.get()) != nullptr ? line : "null");
         }},
        // ---- temporary files
        {{"vek_mkstemp", "vek_mktemp"},
         [](World &w) {
             w.restoreTree();
             std::string path = w.path("empty/tmp.XXXXXX");
             std::string name = path;
             const int file = vek_mkstemp(path.data());
             if (file < 0) {
                 return std::string("-1");
             }
             __real_close(file);
             __real_unlink(path.c_str());
             return std::string(vek_mktemp(name.data()) == nullptr ? "null" : "named");
         },
         {},
         true},
        {{"vek_tempnam"},
         [](World &w) {
             char *const path = vek_tempnam(w.path("empty").c_str(), "t");
             const bool there = path != nullptr;
             std::free(path);
             return std::string(there ? "path" : "null");
         },
         {"null"}},
        {{"vekMkUniqueFilePath"},
         [](World &w) {
             char out[VEK_PATH_SIZE] = "";
             return std::string(vekMkUniqueFilePath(w.path("empty").c_str(), "t", out) == out ? "path"
                                                                                              : "null");
         },
         {"null"}},
        {{"vekGetTmpDir"}, [](World &w) { return adopted(w, vekGetTmpDir(nullptr)); }, {"null"}, true},
        // ---- start-up
        {{"vekInit", "vekInitDone", "vekInitNonVEKApp", "cmnGetInstallRootRequired",
          "cmnSetInstallRootRequired", "cmnNoInstallRootRequired", "vekPlat", "vekProcMinusVersionArg"},
         [](World &) {
             char name[] = "tool";
             char *arguments[] = {name, nullptr};
             int count = 1;
             vekInit(&count, arguments);
             vekInitNonVEKApp("tool");
             cmnNoInstallRootRequired();
             cmnSetInstallRootRequired(1);
             vekProcMinusVersionArg(1, arguments, nullptr);
             return std::to_string(vekInitDone() + cmnGetInstallRootRequired()) + vekPlat();
         }},
        {{"vekFindExecInPath"}, [](World &w) { return adopted(w, vekFindExecInPath("tool")); }, {"null"}},
        {{"vekGetAllInstallRoots"},
         [](World &w) { return adoptedList(w, vekGetAllInstallRoots()); },
         {"null"}},
        {{"vekGetInstallRootFromFilePath"},
         [](World &w) { return adopted(w, vekGetInstallRootFromFilePath("inst/share/find.txt")); },
         {"null"}},
        {{"vekGetInstallRootFromPath"},
         [](World &w) {
             return adopted(w, vekGetInstallRootFromPath(w.path("inst/tools/bin/tool").c_str()));
         },
         {"null"}},
        {{"vekGetInstallRootWithPath"},
         [](World &w) { return adopted(w, vekGetInstallRootWithPath("share/find.txt")); },
         {"null"}},
    };
}

std::vector<Case> installationCases() {
    return {
        {{"vekIsTolvaneHier"}, [](World &) { return std::to_string(vekIsTolvaneHier()); }, {"0"}},
        {{"vekGetInstallRoot"}, [](World &w) { return adopted(w, vekGetInstallRoot()); }, {"null"}},
        {{"vekGetInstallRootInBuf"},
         [](World &w) {
             char buffer[4096] = "untouched";
             const int result = vekGetInstallRootInBuf(buffer, sizeof buffer);
             return std::to_string(result) + " " + w.shown(buffer);
         },
         {"0 untouched"}},
        {{"vekGetInstPath"}, [](World &w) { return adopted(w, vekGetInstPath("share")); }, {"null"}},
        {{"vekGetInstPathInBuf"},
         [](World &) {
             char buffer[4096];
             return std::to_string(vekGetInstPathInBuf(buffer, sizeof buffer, "share"));
         },
         {"0"}},
        {{"vekGetToolsPath"}, [](World &w) { return adopted(w, vekGetToolsPath("bin")); }, {"null"}},
        {{"vekGetToolsPathInBuf"},
         [](World &) {
             char buffer[4096];
             return std::to_string(vekGetToolsPathInBuf(buffer, sizeof buffer, "bin"));
         },
         {"0"}},
    };
}

} // namespace test
