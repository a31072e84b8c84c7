#include "tests/robustness/tool_project.h"

namespace test {

const std::vector<Action> &actions() {
    static const std::vector<Action> all = {
        {"usage", {}},
        {"show", {"-v", "-path", "lib/cell", "-show"}},
        {"lookup",
         {"-v", "-path", "$HOME/../proj/link/cell", "-lookup", "DMTYPE", "SIZE", "MATERIAL", "NONE"}},
        {"checklibrary", {"-v", "-checklibrary"}},
        {"addentry", {"-addentry", "DMTYPE", "mrev"}, true},
        {"addentry new", {"-path", "lib/cell", "-addentry", "NAMESPACE", "LibraryUnix"}, true},
        {"addentry longer", {"-path", "long", "-addentry", "NAMESPACE", "LibraryNT"}, true},
        {"clearentry", {"-clearentry", "VEKLIBCHECK"}, true},
        {"clearentry shorter", {"-path", "long", "-clearentry", "DMTYPE"}, true},
        {"configurelibrary", {"-v", "-configurelibrary"}, true},
    };
    return all;
}

ToolProject::ToolProject() {
    build();
    first_ = tree();
    environment_ = {{"PWD", directory()},
                    {"HOME", box.path("home")},
                    {"PATH", box.path("inst/tools/bin") + ":/usr/bin:/bin"},
                    {"VEK_SITE", box.path("site")}};
}

void ToolProject::build() {
    std::string comment;
    for (int line = 0; line < 400; ++line) {
        comment += "# a line that nobody needs, number " + std::to_string(line) + "\n";
    }
    box.file("inst/tools/bin/vek_root", "", 0755)
        .file("site/.tolvane/vekinfo.tag", "MATERIAL steel\n")
        .directory("home")
        .file("proj/vekinfo.tag", "# project\nVEKLIBCHECK ON\nSIZE large\n")
        .file("proj/long/vekinfo.tag", "VEKLIBRARY\n" + comment + "DMTYPE none\nSIZE small\n")
        .file("proj/vek.lib", "DEFINE lib lib\nDEFINE plain plain\nDEFINE marked marked\n")
        .file("proj/lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryUnix\nDMTYPE none\n")
        .file("proj/lib/cell/view/data.db", "data\n")
        .file("proj/lib/cell/view/vekinfo.tag", "SIZE huge\n")
        .link("proj/lib/loop", "..")
        .directory("proj/plain/cell")
        .file("proj/marked/vekinfo.tag", "SIZE medium")
        .file("proj/marked/dm.tag", "none\n")
        .link("proj/link", "lib");
}

void ToolProject::restore() {
    if (tree() == first_) {
        return;
    }
    for (const std::string &name : box.list()) {
        removeTree(box.path(name));
    }
    build();
}

std::vector<std::string> ToolProject::commandLine(const Action &action) {
    std::vector<std::string> line = {VEK_TEST_VEKINFO};
    line.insert(line.end(), action.arguments.begin(), action.arguments.end());
    return line;
}

} // namespace test
