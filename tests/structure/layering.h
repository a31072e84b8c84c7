#ifndef VEK_TESTS_STRUCTURE_LAYERING_H
#define VEK_TESTS_STRUCTURE_LAYERING_H

#include <string>
#include <string_view>

/// What is wrong with a source, named from the repository's root ("search/pux.h"), that includes `included`
/// with quotes: an arrow that the house does not have, or another layer's inside. Empty when nothing is.
std::string includeProblem(std::string_view source, std::string_view included);

/// What is wrong with a source of a layer that includes <included>: a part of the C++ library that throws,
/// allocates behind one's back or has start-up work. Empty when nothing is.
std::string systemIncludeProblem(std::string_view source, std::string_view included);

/// The text between the quotes or brackets of an `#include` line, with its opening character in front;
/// empty for any other line.
std::string_view includeOf(std::string_view line);

#endif
