#ifndef TESTS_LIBDEF_LIBDEF_SUPPORT_H
#define TESTS_LIBDEF_LIBDEF_SUPPORT_H

/// Helpers for tests of library definitions: recording handlers, and a registry that is loaded from a file in a temporary
/// directory.

#include "libdef/registry/ryni_registry.h"
#include "libdef/ryn.h"
#include "tests/support/capture.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// The arguments of a call of a warning handler, with "(null)" for a null text.
struct Diagnostic {
    int code;
    std::string object;
    std::string file;
    int line;

    bool operator==(const Diagnostic &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Diagnostic &diagnostic) {
    return out << "{" << diagnostic.code << ", \"" << diagnostic.object << "\", \"" << diagnostic.file
               << "\", " << diagnostic.line << "}";
}

using Diagnostics = std::vector<Diagnostic>;

/// The arguments of a call of an error or fatal handler.
struct ErrorReport {
    int code;
    std::string text;
    std::string sameText;

    bool operator==(const ErrorReport &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const ErrorReport &report) {
    return out << "{" << report.code << ", \"" << report.text << "\", \"" << report.sameText << "\"}";
}

using ErrorReports = std::vector<ErrorReport>;

inline std::string textOf(const char *text) {
    return text == nullptr ? "(null)" : text;
}

/// A result of a warning handler that is the code of no error.
inline constexpr int kHandlerResult = 77;

/// The calls of the handlers below in this process, and the result of recordWarning().
inline struct Recorded {
    Diagnostics diagnostics;
    ErrorReports fatals;
    ErrorReports errors;
    int warningResult = 0; ///< of recordWarning()
} recorded;

inline int recordWarning(int code, const char *object, const char *file, int line) {
    recorded.diagnostics.push_back({code, textOf(object), textOf(file), line});
    return recorded.warningResult;
}

/// A handler that returns the code, which ends the reading.
inline int recordAndStop(int code, const char *object, const char *file, int line) {
    recordWarning(code, object, file, line);
    return code;
}

inline int recordFatal(int code, const char *text, const char *sameText) {
    recorded.fatals.push_back({code, textOf(text), textOf(sameText)});
    return 0;
}

inline int recordError(int code, const char *text, const char *sameText) {
    recorded.errors.push_back({code, textOf(text), textOf(sameText)});
    return 0;
}

/// What `print` writes to a stream.
inline std::string written(const std::function<void(FILE *)> &print) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    print(stream);
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}

/// The output of rynDumpEverything().
inline std::string dumpOf(rynHandle handle) {
    return written([handle](FILE *stream) { rynDumpEverything(handle, stream); });
}

/// A temporary directory, which is the working directory, and a registry that is loaded from a file in it. The
/// environment has PWD and what the test adds.
class Definitions {
  public:
    explicit Definitions(const Environment &more = {}) {
        Environment environment = {{"PWD", box.path()}};
        environment.insert(environment.end(), more.begin(), more.end());
        setEnvironment(environment);
        recorded = {};
    }
    ~Definitions() { release(); }
    Definitions(const Definitions &) = delete;
    Definitions &operator=(const Definitions &) = delete;

    /// Writes `vek.lib` and creates a registry from it. @return the result of rynInit()
    int load(std::string_view text, unsigned flags = 0) {
        box.file("vek.lib", text);
        return read(recordWarning, flags);
    }
    /// The same with the default warning handler.
    int loadWithDefaultHandler(std::string_view text, unsigned flags = 0) {
        box.file("vek.lib", text);
        return read(nullptr, flags);
    }
    /// Creates a registry from the existing `vek.lib`.
    int read(rynWarningHandler handler, unsigned flags = 0) {
        release();
        recorded.diagnostics.clear();
        return rynInit("vek.lib", flags, handler, recordFatal, &handle);
    }
    void release() {
        if (handle != nullptr) {
            rynReleaseHandle(handle);
            handle = nullptr;
        }
    }

    [[nodiscard]] std::string path(std::string_view relative = {}) const { return box.path(relative); }
    [[nodiscard]] std::string dump() const { return dumpOf(handle); }
    [[nodiscard]] rynLibrary *library(const char *name) const { return ryni_get_libp(handle, name); }

    /// The names in definition order.
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const rynLibrary *at = handle->libraries.head; at != nullptr; at = at->nextInOrder) {
            names.emplace_back(at->name);
        }
        return names;
    }

    Sandbox box;
    rynHandle handle = nullptr;
};

/// The output of the default warning handler. @param message the text of the code
inline std::string printed(const Diagnostic &diagnostic, std::string_view message) {
    return "Error at line " + std::to_string(diagnostic.line) + " of " + diagnostic.file + " for " +
           diagnostic.object + ":\n\t" + std::string(message) + "\n";
}

/// Loads `text` twice: with a recording handler, which must be called with exactly `expected`; and with the default
/// handler, which must print exactly that and fail the creation with the code.
inline void expectDiagnostic(Definitions &definitions, std::string_view text, const Diagnostic &expected,
                             std::string_view message, unsigned flags = 0) {
    EXPECT_EQ(definitions.load(text, flags), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{expected});
    Capture capture;
    EXPECT_EQ(definitions.loadWithDefaultHandler(text, flags), expected.code);
    EXPECT_EQ(capture.err(), printed(expected, message));
    EXPECT_EQ(capture.out(), "");
    EXPECT_EQ(definitions.handle, nullptr);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

} // namespace test

#endif
