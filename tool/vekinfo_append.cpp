#include "tool/vekinfo_append.h"

#include "common/base/print.h"
#include "common/platform/vek_path.h"
#include "tagfile/keyword.h"
#include "tool/vekinfo_check.h"

#include <cstdio>

namespace {

/// The struct to which the argument `context` of composeEntries() points: the path of the library directory, the object
/// that probes it, and a result.
struct Block {
    const char *dir;
    vekinfo::ReadAhead &readAhead;
    bool isProbed = true; ///< result: false if the case sensitivity could not be determined
};

/// Appends a NAMESPACE entry to `text`: LibraryUnix if the file system of `dir` is case-sensitive, LibraryNT if it is
/// not.
/// @return false, with `text` unchanged, if the case sensitivity cannot be determined
bool composeNameSpace(const char *dir, vekinfo::ReadAhead &readAhead, vek::ComposedText &text) {
    switch (readAhead.probe(dir)) {
    case VEK_CASE_SENSITIVE:
        text.append("#\n"
                    "# Directory ",
                    dir,
                    " is \n"
                    "# determined to be case sensitive, therefore\n"
                    "# NAMESPACE is set to LibraryUnix\n"
                    "NAMESPACE LibraryUnix\n");
        return true;
    case VEK_CASE_INSENSITIVE:
        text.append("#\n"
                    "# Directory ",
                    dir,
                    " is\n"
                    "# determined to be NOT case sensitive, therefore\n"
                    "# NAMESPACE is set to LibraryNT\n"
                    "NAMESPACE LibraryNT\n");
        return true;
    default:
        return false;
    }
}

void composeEntries(vek::ComposedText &text, void *context) {
    Block &block = *static_cast<Block *>(context);
    text.append("# The next line was written by the\n"
                "# vekinfo -configurelibrary command.\n"
                "VEKLIBRARY\n");
    if (lookForNoneTag(block.dir) != 0) {
        text.append("#\n"
                    "# DMType is explicitly set to none here\n"
                    "# because there was a dm.tag file with a\n"
                    "# 'none' entry in it.\n"
                    "DMTYPE none\n");
    }
    block.isProbed = composeNameSpace(block.dir, block.readAhead, text);
}

} // namespace

tov::AppendResult vekinfo::appendLibraryEntries(const char *dir, const char *tagPath, ReadAhead &readAhead) {
    Block block = {.dir = dir, .readAhead = readAhead};
    const tov::AppendResult result =
        tov::appendUnlessDefined(tagPath, tov::kVeklibrary, composeEntries, &block);
    // Print the error only now, after the lock on the tag file is released: writing to standard error may block, and
    // other processes would then wait for the lock.
    if (!block.isProbed) {
        vek::printError("ERROR! can't determine file system case sensitivity on writable directory\n");
    }
    return result;
}
