// Whole files of random statements, against a plain model of what each statement does: every diagnostic, and the
// dump byte for byte.

#include "tests/libdef/libdef_support.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostic;
using test::Diagnostics;
using test::recorded;
namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;
/// The statements of every file, by its nsl path.
using Program = std::map<std::string, std::vector<Words>>;

/// The kind of warning handler.
enum class Mode { GoOn, Stop, Default };

struct File {
    std::string path, nsl;
    const File *includer = nullptr;
    int line = 0;
};

struct Attribute {
    std::string name, value;
    const File *file;
    int line;
};

struct Library {
    std::string name, full, nsl;
    std::string tmp, tmpNsl; // empty for none
    bool fromGlobal = false;
    const File *definedIn = nullptr;
    int line = 0;
    std::list<Attribute> attributes;
};

std::string changed(std::string text, int (*change)(int)) {
    for (char &c : text) {
        c = static_cast<char>(change(c));
    }
    return text;
}

/// A hook that rejects one value.
int refuseBad(const char * /*attribute*/, const char *value, const char * /*file*/, int /*line*/) {
    return std::string(value) == "bad" ? 1 : 0;
}

class Model {
  public:
    Model(const Program &program, Mode mode, bool ignoreCase)
        : program_(program), mode_(mode), ignoreCase_(ignoreCase) {}

    int read(const std::string &path, File **record = nullptr) {
        lastError_ = 0;
        const std::string nsl = fs::weakly_canonical(path);
        const std::string directory = fs::path(path).parent_path();
        files_.push_back({path, nsl});
        File &file = files_.back();
        int status = 0;
        int line = 0;
        for (const Words &words : program_.at(nsl)) {
            location_ = {&file, ++line};
            status = execute(words, directory);
            if (status != 0) {
                break;
            }
        }
        const int rootStatus = applyRoot(directory);
        if (record != nullptr) {
            *record = &file;
        }
        if (mode_ == Mode::Default) {
            return lastError_;
        }
        return status != 0 ? status : rootStatus;
    }

    [[nodiscard]] const Diagnostics &diagnostics() const { return diagnostics_; }
    /// The directories under global roots.
    [[nodiscard]] const std::vector<std::string> &made() const { return made_; }

    [[nodiscard]] std::string dump() const {
        std::string text = "\nVEK.LIB files:\n";
        for (const File &file : files_) {
            text += file.path + "\n  (" + file.nsl + ")\n";
            if (file.includer != nullptr) {
                text +=
                    "  included from " + file.includer->path + " line " + std::to_string(file.line) + "\n";
            }
        }
        text += "\nLibraries:\n";
        for (const Library *library : order_) {
            text += dump(*library);
        }
        text += "\nHash Table Stats:\n";
        for (const auto &[bucket, chain] : buckets_) {
            char number[16];
            std::snprintf(number, sizeof number, "%3u ", bucket);
            text += chain.empty() ? "" : number;
            for (const Library *library : chain) {
                text += library->name;
            }
            text += chain.empty() ? "" : "\n";
        }
        text += roots_.empty() ? "" : "Global Explicit Tmp:\n";
        for (const Attribute &root : roots_) {
            text += "  " + root.name + " " + root.value + "\n    line " + std::to_string(root.line) + " " +
                    root.file->path + "\n";
        }
        return text + "\n";
    }

  private:
    struct Location {
        const File *file;
        int line;
    };

    static std::string dump(const Library &library) {
        std::string text = library.name + " " + library.full + "\n    (" + library.nsl + ")\n  Defined at " +
                           library.definedIn->path + " line " + std::to_string(library.line) + "\n";
        if (!library.tmp.empty()) {
            text += std::string("  ") + (library.fromGlobal ? "FromGlobal " : "") + "TMPDIR    at " +
                    library.tmp + "\n           (" + library.tmpNsl + ")\n";
        }
        text += library.attributes.empty() ? "" : "  Attributes:\n";
        for (const Attribute &attribute : library.attributes) {
            text += "    " + attribute.name + " " + attribute.value + "\n";
        }
        return text;
    }

    int diagnose(int code, const std::string &object, Location location) {
        diagnostics_.push_back({code, object, location.file->path, location.line});
        lastError_ = code;
        return mode_ == Mode::Stop ? code : 0;
    }
    int diagnose(int code, const std::string &object) { return diagnose(code, object, location_); }

    static std::string fullPath(const std::string &directory, const std::string &text) {
        std::string path = (fs::path(directory) / text).lexically_normal();
        if (path.ends_with("/")) {
            path.pop_back();
        }
        return path;
    }

    int execute(const Words &words, const std::string &directory) {
        const std::string &keyword = words[0];
        const auto full = [&](const std::string &text) { return fullPath(directory, text); };
        if (keyword == "DEFINE" || keyword == "SOFTDEFINE") {
            return define(words[1], full(words[2]));
        }
        if (keyword == "UNDEFINE") {
            return undefine(words[1]);
        }
        if (keyword == "INCLUDE" || keyword == "SOFTINCLUDE") {
            return include(full(words[1]), keyword[0] == 'S');
        }
        if (keyword == "ASSIGN") {
            return assign(words[1], changed(words[2], std::toupper), words[3], full(words[3]));
        }
        return keyword == "UNASSIGN" ? unassign(words[1], changed(words[2], std::toupper))
                                     : diagnose(16, keyword);
    }

    [[nodiscard]] unsigned bucketOf(const std::string &name) const {
        std::uint64_t h = 0;
        for (const char c : ignoreCase_ ? changed(name, std::tolower) : name) {
            h = (h << 1U) ^ static_cast<std::uint64_t>(static_cast<std::int64_t>(c));
        }
        return static_cast<unsigned>((h ^ (h >> 8U) ^ (h >> 16U) ^ (h >> 24U)) & 255U);
    }

    Library *find(const std::string &name) {
        for (Library *library : buckets_[bucketOf(name)]) {
            if (library->name == name ||
                (ignoreCase_ && changed(library->name, std::tolower) == changed(name, std::tolower))) {
                return library;
            }
        }
        return nullptr;
    }

    static bool match(const std::string &a, const std::string &b) {
        return a == b || a.starts_with(b + "/") || b.starts_with(a + "/");
    }
    [[nodiscard]] int countUses(const std::string &nsl) const {
        int count = 0;
        for (const Library *library : order_) {
            count += match(nsl, library->nsl) ? 1 : 0;
            count += !library->tmpNsl.empty() && match(nsl, library->tmpNsl) ? 1 : 0;
        }
        return count;
    }
    int checkUses(const std::string &nsl) { return countUses(nsl) == 1 ? 0 : diagnose(17, nsl); }

    int checkCase(const Library &library, const std::string &name) {
        if (library.name == name) {
            return 0;
        }
        return diagnose(29, "library " + name + " from " + location_.file->path + " line " +
                                std::to_string(location_.line) + ", differs only by case from\n    library " +
                                library.name + " from " + library.definedIn->path + " line " +
                                std::to_string(library.line) + " defined earlier.");
    }

    int warnOfRedefinition(const Library &library, const std::string &name) {
        const std::string &here = location_.file->path;
        const std::string &earlier = library.definedIn->path;
        const std::string line = std::to_string(location_.line);
        const std::string earlierLine = std::to_string(library.line);
        if (here == earlier) {
            return diagnose(30, "library " + name + " from " + here + " line " + line +
                                    ", redefines\n    library " + library.name + " from same file line " +
                                    earlierLine + " defined earlier.");
        }
        return diagnose(31, "library " + name + " defined in " + here + " at line " + line +
                                ", redefines\n    library " + library.name + " defined in " + earlier +
                                " at line " + earlierLine + ".\nInsert UNDEFINE " + name +
                                "\nbefore DEFINE " + name + " on line " + line + "\n    of " + here +
                                "\nOr remove or comment out DEFINE " + library.name + " on line " +
                                earlierLine + "\n    of " + earlier + "\nto suppress this warning message.");
    }

    int define(const std::string &name, const std::string &full) {
        const std::string nsl = fs::weakly_canonical(full);
        Library *library = find(name);
        if (library == nullptr) {
            library = &libraries_.emplace_back();
            library->name = name;
            library->full = full;
            library->nsl = nsl;
            buckets_[bucketOf(name)].push_front(library);
        } else {
            int status = checkCase(*library, name);
            status = status != 0 ? status : warnOfRedefinition(*library, name);
            if (status != 0) {
                return status;
            }
            library->name = name;
            library->full = nsl;
            order_.remove(library);
        }
        order_.push_back(library);
        library->definedIn = location_.file;
        library->line = location_.line;
        return checkUses(library->nsl);
    }

    int undefine(const std::string &name) {
        Library *library = find(name);
        if (library == nullptr) {
            return 0;
        }
        if (const int status = checkCase(*library, name); status != 0) {
            return status;
        }
        buckets_[bucketOf(name)].remove(library);
        order_.remove(library);
        return 0;
    }

    int include(const std::string &path, bool soft) {
        if (!fs::exists(path)) {
            return soft ? 0 : diagnose(8, path);
        }
        const std::string nsl = fs::weakly_canonical(path);
        for (const File &file : files_) {
            if (file.nsl == nsl) {
                return diagnose(18, nsl);
            }
        }
        const Location location = location_;
        File *record = nullptr;
        const int status = read(path, &record);
        location_ = location;
        if (status == 0) {
            record->includer = location.file;
            record->line = location.line;
        }
        return status;
    }

    int assign(const std::string &name, const std::string &attribute, const std::string &value,
               const std::string &full) {
        if (name == "AllLibs" && attribute == "TMPROOTDIR") {
            roots_.push_front({attribute, value, location_.file, location_.line});
            rootLocation_ = location_;
            return 0;
        }
        Library *library = find(name);
        if (library == nullptr) {
            return diagnose(5, name);
        }
        if (const int status = checkCase(*library, name); status != 0) {
            return status;
        }
        const bool isTmp = attribute == "TMP";
        const std::string nsl = fs::weakly_canonical(full);
        if (isTmp && !fs::is_directory(nsl)) {
            return diagnose(20, nsl);
        }
        if (!isTmp && value == "bad") {
            return diagnose(19, attribute);
        }
        store(*library, {attribute, isTmp ? full : value, location_.file, location_.line});
        if (!isTmp) {
            return 0;
        }
        library->fromGlobal = false;
        library->tmp = full;
        library->tmpNsl = nsl;
        return checkUses(nsl);
    }

    static void store(Library &library, const Attribute &attribute) {
        for (Attribute &old : library.attributes) {
            if (old.name == attribute.name) {
                old = attribute;
                return;
            }
        }
        library.attributes.push_front(attribute);
    }

    int unassign(const std::string &name, const std::string &attribute) {
        Library *library = find(name);
        if (library == nullptr) {
            return 0;
        }
        if (const int status = checkCase(*library, name); status != 0) {
            return status;
        }
        if (library->attributes.remove_if([&](const Attribute &old) { return old.name == attribute; }) != 0) {
            library->tmp.clear();
            library->tmpNsl.clear();
        }
        return 0;
    }

    int applyRoot(const std::string &directory) {
        if (roots_.empty()) {
            return 0;
        }
        const std::string full = fullPath(directory, roots_.front().value);
        const std::string nsl = fs::weakly_canonical(full);
        if (!fs::is_directory(nsl)) {
            return diagnose(20, nsl, rootLocation_);
        }
        for (const Library *library : order_) {
            if (!library->fromGlobal && countUses(nsl + "/" + library->name) != 0) {
                return diagnose(17, library->tmpNsl.empty() ? "(null)" : library->tmpNsl, rootLocation_);
            }
        }
        for (Library *library : order_) {
            if (library->fromGlobal || library->tmp.empty()) {
                library->fromGlobal = true;
                library->tmp = full + "/" + library->name;
                library->tmpNsl = nsl + "/" + library->name;
                made_.push_back(library->tmpNsl);
            }
        }
        return 0;
    }

    const Program &program_;
    Mode mode_;
    bool ignoreCase_;
    int lastError_ = 0;
    Location location_ = {};
    Location rootLocation_ = {};
    Diagnostics diagnostics_;
    std::list<File> files_;
    std::list<Library> libraries_;
    std::list<Library *> order_;
    std::map<unsigned, std::list<Library *>> buckets_;
    std::list<Attribute> roots_;
    std::vector<std::string> made_;
};

class Generator {
  public:
    explicit Generator(unsigned seed) : random_(seed) {}

    Words statement() {
        static const Words names = {"lib", "0a", "Lib", "LIB", "a", "b", "AllLibs"};
        static const Words paths = {"d",    "d/sub",     "ld", "ld/sub", "lsub", "e",
                                    "./e/", "none/deep", "t",  "t/in",   "lt",   "../d"};
        static const Words files = {"one.lib",  "sub/two.lib", "link.lib",
                                    "none.lib", "../vek.lib",  "two.lib"};
        static const Words attributes = {"tmp", "TMP", "color", "COLOR", "Size"};
        static const Words values = {"red", "bad", "\"\""};
        switch (random_() % 14) {
        case 0:
        case 1:
        case 2:
        case 3:
            return {"DEFINE", pick(names), pick(paths)};
        case 4:
            return {"SOFTDEFINE", pick(names), pick(paths)};
        case 5:
            return {"UNDEFINE", pick(names)};
        case 6:
        case 7:
            return {random_() % 3 == 0 ? "SOFTINCLUDE" : "INCLUDE", pick(files)};
        case 8:
        case 9:
            return {"ASSIGN", pick(names), pick(attributes), pick(values)};
        case 10:
            return {"ASSIGN", pick(names), random_() % 2 == 0 ? "tmp" : "TMP", pick(paths)};
        case 11:
            return {"UNASSIGN", pick(names), pick(attributes)};
        case 12:
            return {"ASSIGN", "AllLibs", "TmpRootDir", random_() % 4 == 0 ? pick(paths) : "root"};
        default:
            return random_() % 4 == 0 ? Words{"FOO"} : Words{"DEFINE", pick(names), pick(paths)};
        }
    }

    std::vector<Words> file() {
        std::vector<Words> statements;
        for (std::size_t size = random_() % 14; size > 0; --size) {
            statements.push_back(statement());
        }
        return statements;
    }

  private:
    const std::string &pick(const Words &words) { return words[random_() % words.size()]; }

    std::mt19937 random_;
};

std::string textOf(const std::vector<Words> &statements) {
    std::string text;
    for (const Words &words : statements) {
        for (const std::string &word : words) {
            text += word + ' ';
        }
        text += '\n';
    }
    return text;
}

/// The words of a statement without their quotes: an empty pair of quotes is an empty word.
std::vector<Words> unquoted(std::vector<Words> statements) {
    for (Words &words : statements) {
        std::replace(words.begin(), words.end(), std::string("\"\""), std::string());
    }
    return statements;
}

void makeDirectories(test::Sandbox &box) {
    for (const char *base : {"", "sub/"}) {
        const std::string at = base;
        box.directory(at + "d/sub").directory(at + "e").directory(at + "t/in").directory(at + "root");
        box.link(at + "ld", "d").link(at + "lsub", "d/sub").link(at + "lt", "t");
    }
}

/// Reads one random program and compares everything.
void expectAsTheModel(unsigned seed, Mode mode, bool ignoreCase) {
    Definitions definitions(ignoreCase ? test::Environment{{"VEK_ALT_NMP", "match"}} : test::Environment{});
    makeDirectories(definitions.box);
    Generator generator(seed);
    Program program;
    for (const char *name : {"vek.lib", "one.lib", "sub/two.lib"}) {
        const std::vector<Words> statements = generator.file();
        definitions.box.file(name, textOf(statements));
        program[definitions.path(name)] = unquoted(statements);
    }
    definitions.box.link("link.lib", "one.lib");
    rynSetUnknownASSIGNfunc(refuseBad);

    Model model(program, mode, ignoreCase);
    const int expected = model.read(definitions.path("vek.lib"));
    std::string printed;
    for (const Diagnostic &diagnostic : model.diagnostics()) {
        printed += test::printed(diagnostic, rynGetErrorMsg(diagnostic.code));
    }
    Capture capture;
    const rynWarningHandler handlers[] = {test::recordWarning, test::recordAndStop, nullptr};
    const int status = definitions.read(handlers[static_cast<int>(mode)]);
    ASSERT_EQ(status, expected);
    if (mode == Mode::Default) {
        ASSERT_EQ(capture.err(), printed);
    } else {
        ASSERT_EQ(recorded.diagnostics, model.diagnostics());
    }
    ASSERT_EQ(definitions.handle == nullptr, status != 0);
    if (status == 0) {
        ASSERT_EQ(definitions.dump(), model.dump());
    }
    for (const std::string &directory : model.made()) {
        ASSERT_TRUE(fs::is_directory(directory)) << directory;
    }
    ASSERT_EQ(recorded.fatals, test::ErrorReports{});
}

// ---- a dump as statements

/// The values that a dump shows for a library.
struct Dumped {
    std::string name, full, nsl;
    std::vector<std::string> attributes; ///< each a name, a blank and a value

    bool operator==(const Dumped &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Dumped &library) {
    out << library.name << " " << library.full << " (" << library.nsl << ")";
    for (const std::string &attribute : library.attributes) {
        out << ", " << attribute;
    }
    return out;
}

std::vector<Dumped> librariesIn(const std::string &dump) {
    std::istringstream lines(dump.substr(dump.find("\nLibraries:\n") + 12));
    std::vector<Dumped> libraries;
    bool inAttributes = false;
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        if (line[0] != ' ') {
            const std::size_t blank = line.find(' ');
            libraries.push_back({line.substr(0, blank), line.substr(blank + 1), {}, {}});
            inAttributes = false;
        } else if (line == "  Attributes:") {
            inAttributes = true;
        } else if (inAttributes) {
            libraries.back().attributes.push_back(line.substr(4));
        } else if (line.starts_with("    (")) {
            libraries.back().nsl = line.substr(5, line.size() - 6);
        }
    }
    // The nsl path of a library that was redefined stays that of its first definition.
    for (Dumped &library : libraries) {
        library.nsl = fs::weakly_canonical(library.full) == library.nsl ? library.nsl : "";
    }
    return libraries;
}

std::string statementsOf(const std::vector<Dumped> &libraries) {
    std::string text;
    for (const Dumped &library : libraries) {
        text += "DEFINE " + library.name + " \"" + library.full + "\"\n";
        // The dump lists the latest first.
        for (auto attribute = library.attributes.rbegin(); attribute != library.attributes.rend();
             ++attribute) {
            const std::size_t blank = attribute->find(' ');
            text += "ASSIGN " + library.name + " " + attribute->substr(0, blank) + " \"" +
                    attribute->substr(blank + 1) + "\"\n";
        }
    }
    return text;
}

/// Reads one random program, then its dump converted to statements.
int expectToldAgain(unsigned seed) {
    Definitions definitions;
    makeDirectories(definitions.box);
    Generator generator(seed);
    for (const char *name : {"vek.lib", "one.lib", "sub/two.lib"}) {
        definitions.box.file(name, textOf(generator.file()));
    }
    definitions.box.link("link.lib", "one.lib");
    EXPECT_EQ(definitions.read(test::recordWarning), 0);
    std::vector<Dumped> libraries = librariesIn(definitions.dump());
    const std::string statements = statementsOf(libraries);

    EXPECT_EQ(definitions.load(statements), 0);

    std::vector<Dumped> again = librariesIn(definitions.dump());
    EXPECT_EQ(again.size(), libraries.size());
    for (std::size_t i = 0; i < std::min(again.size(), libraries.size()); ++i) {
        if (libraries[i].nsl.empty()) {
            again[i].nsl.clear();
        }
    }
    EXPECT_EQ(again, libraries) << statements;
    return static_cast<int>(libraries.size());
}

void expectManyAsTheModel(Mode mode, bool ignoreCase) {
    for (unsigned seed = 1; seed <= 120; ++seed) {
        ASSERT_NO_FATAL_FAILURE(expectAsTheModel(seed, mode, ignoreCase)) << "seed " << seed;
    }
}

} // namespace

TEST(RynParseModel, RandomFilesAgreeWithTheModel) {
    expectManyAsTheModel(Mode::GoOn, false);
}

TEST(RynParseModel, RandomFilesAgreeWithTheModelIfCaseIsIgnored) {
    expectManyAsTheModel(Mode::GoOn, true);
}

TEST(RynParseModel, StatementsMadeFromADumpDefineTheSameLibraries) {
    int libraries = 0;
    for (unsigned seed = 1; seed <= 120 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        libraries += expectToldAgain(seed);
    }
    EXPECT_GT(libraries, 120);
}

TEST(RynParseModel, StrictHandlerEndsFilesAsInTheModel) {
    expectManyAsTheModel(Mode::Stop, false);
}

TEST(RynParseModel, DefaultHandlerPrintsTheDiagnosticsOfTheModel) {
    expectManyAsTheModel(Mode::Default, false);
}

TEST(RynParseModel, DefaultHandlerPrintsTheModelsDiagnosticsIfCaseIsIgnored) {
    expectManyAsTheModel(Mode::Default, true);
}
