#ifndef TESTS_LIBDEF_ITERATION_SUPPORT_H
#define TESTS_LIBDEF_ITERATION_SUPPORT_H

/// The iterators over directories in one table, and helpers that gather their names.

#include "libdef/iteration/ryni_context.h"
#include "tests/libdef/project_support.h"

#include <dirent.h>
#include <string>
#include <vector>

namespace test {

using NameList = std::vector<std::string>;

/// One of the six iterators over directories: the plain and the extended form.
struct DiskIterator {
    int type;
    const char *title; ///< in a dump
    const char *plainContext;
    const char *extendedContext;
    bool takesCell;
    bool takesView;
    bool legal; ///< whether it lists legal names, or the others
    int (*plain)(rynHandle, const char *library, const char *cell, const char *view, rynContext **);
    int (*extended)(rynHandle, unsigned source, const char *library, const char *cell, const char *view,
                    rynContext **);
    int (*next)(rynContext *, const char **);
};

inline const std::vector<DiskIterator> diskIterators = {
    {1, "Cells", "rynIterateCells()", "rynXIterateCells()", false, false, true,
     [](auto handle, auto library, auto, auto, auto context) {
         return rynIterateCells(handle, library, context);
     },
     [](auto handle, auto source, auto library, auto, auto, auto context) {
         return rynXIterateCells(handle, source, library, context);
     },
     rynNextCell},
    {2, "Views", "rynIterateViews()", "rynXIterateViews()", true, false, true,
     [](auto handle, auto library, auto cell, auto, auto context) {
         return rynIterateViews(handle, library, cell, context);
     },
     [](auto handle, auto source, auto library, auto cell, auto, auto context) {
         return rynXIterateViews(handle, source, library, cell, context);
     },
     rynNextView},
    {3, "Library Files", "rynIterateLibFiles()", "rynXIterateLibFiles()", false, false, false,
     [](auto handle, auto library, auto, auto, auto context) {
         return rynIterateLibFiles(handle, library, context);
     },
     [](auto handle, auto source, auto library, auto, auto, auto context) {
         return rynXIterateLibFiles(handle, source, library, context);
     },
     rynNextFile},
    {4, "Cell Files", "rynIterateCellFiles()", "rynXIterateCellFiles()", true, false, false,
     [](auto handle, auto library, auto cell, auto, auto context) {
         return rynIterateCellFiles(handle, library, cell, context);
     },
     [](auto handle, auto source, auto library, auto cell, auto, auto context) {
         return rynXIterateCellFiles(handle, source, library, cell, context);
     },
     rynNextFile},
    {5, "View Files", "rynIterateViewFiles()", "rynXIterateViewFiles()", true, true, false,
     rynIterateViewFiles, rynXIterateViewFiles, rynNextFile},
    {6, "All View Files", "rynIterateAllViewFiles()", "rynXIterateAllViewFiles()", true, true, false,
     rynIterateAllViewFiles, rynXIterateAllViewFiles, rynNextFile},
};

inline const DiskIterator &diskIterator(int type) {
    return diskIterators[static_cast<std::size_t>(type) - 1];
}

/// A context; the destructor ends it.
struct Iteration {
    rynContext *context = nullptr;

    Iteration() = default;
    ~Iteration() { end(); }
    Iteration(const Iteration &) = delete;
    Iteration &operator=(const Iteration &) = delete;

    void end() {
        if (context != nullptr) {
            EXPECT_EQ(rynIterateEnd(context), RYN_OK);
            context = nullptr;
        }
    }
    /// The output of a creating function, which is not null before the call.
    rynContext **out() {
        end();
        context = reinterpret_cast<rynContext *>(this);
        return &context;
    }
    /// Creates a context over "lib", "c" and "v".
    int begin(const Project &project, int type, unsigned source = 3) {
        const int code = diskIterator(type).extended(project.handle, source, "lib", "c", "v", out());
        EXPECT_EQ(code == 0, context != nullptr) << code;
        return code;
    }
    /// The names that are left, in the order of the iteration.
    [[nodiscard]] NameList rest() const {
        NameList names;
        const auto next = context->type == 0  ? rynNextLib
                          : context->type > 6 ? rynNextFile
                                              : diskIterator(context->type).next;
        for (const char *name = nullptr; next(context, &name) == 0;) {
            names.emplace_back(name);
        }
        return names;
    }
    [[nodiscard]] NameList sorted() const {
        NameList names = rest();
        std::sort(names.begin(), names.end());
        return names;
    }
};

/// The result of gathered() and other lists after a failure.
inline NameList failed(int code) {
    return {"failed with code " + std::to_string(code)};
}

/// The names of an iteration of `type`, sorted; failed() after a failure.
inline NameList gathered(const Project &project, int type, unsigned source = 3) {
    Iteration iteration;
    const int code = iteration.begin(project, type, source);
    return code == 0 ? iteration.sorted() : failed(code);
}

/// The path that an iterator reads, below one of the directories of the library.
inline std::string levelOf(int type) {
    const DiskIterator &iterator = diskIterator(type);
    return iterator.takesView ? "c/v/" : iterator.takesCell ? "c/" : "";
}

/// The names in a directory in the order of readdir().
inline NameList readingOrder(const std::string &directory) {
    NameList names;
    DIR *const stream = opendir(directory.c_str());
    EXPECT_NE(stream, nullptr) << directory;
    while (const dirent *entry = readdir(stream)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    closedir(stream);
    return names;
}

} // namespace test

#endif
