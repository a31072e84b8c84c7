#ifndef VEK_TESTS_STRUCTURE_LAYERING_H
#define VEK_TESTS_STRUCTURE_LAYERING_H

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The rules for `#include` lines (docs/architecture.md). All file names are relative to the root of the repository
/// ("search/pux.h"). A function that returns a problem returns the empty string if there is none.

/// An include line: the including file and the included one.
struct Include {
    std::string source;
    std::string included;

    auto
    operator<=>(const Include &) const = default; // NOLINT(modernize-use-nullptr): there is no null pointer
};

/// Checks a quoted include: is the dependency between the two layers allowed, and is the header not internal to
/// another layer?
std::string includeProblem(std::string_view source, std::string_view included);

/// Checks the direction between the subfolders of one layer. Files at the layer's root may include, and be included
/// by, files of every subfolder.
std::string subfolderProblem(std::string_view source, std::string_view included);

/// Checks an include in angle brackets: the layers use no part of the C++ library that throws, allocates without
/// reporting a failure, or runs code before main().
std::string systemIncludeProblem(std::string_view source, std::string_view included);

/// The includes that are part of a cycle between files. A source and its headers are one file: vek_x.cpp, vek_x.h and
/// veki_x.h. Each strongly connected component with more than one file is a cycle.
std::set<Include> cyclicIncludes(const std::vector<Include> &includes);

/// The text between the quotes or brackets of an `#include` line, with the opening character before it; empty for any
/// other line.
std::string_view includeOf(std::string_view line);

#endif
