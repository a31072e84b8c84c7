#ifndef TAGFILE_TAG_READING_H
#define TAGFILE_TAG_READING_H

/// Reading of a tag file before it is needed, in any thread. The tag cache of the process is not thread-safe: the
/// result is added to the cache later, by take(), which only one thread may call.

#include "tagfile/tov.h"

#include <cstdint>
#include <memory>

namespace tov {

/// One reading of one tag file.
class TagReading {
  public:
    /// Reads and parses the tag file `tagPath` as tovGetVekinfoAtLoc() does, but uses no process-wide state and reports
    /// no error. Any thread may call this function.
    /// @param element  the name of the entry to search for
    void read(const char *tagPath, const char *element);

    /// @return true if the file was read without an error, or does not exist. Otherwise take() reads it again
    [[nodiscard]] bool isUsable() const { return isUsable_; }

    /// @return true if the file does not exist
    [[nodiscard]] bool isMissing() const { return isUsable_ && !obj_; }

    /// @return true if reading failed because descriptors or memory were exhausted
    [[nodiscard]] bool isShort() const { return isShort_; }

    /// @return the namespace of the file, a TOV_NAMESPACE_... value; 0 if the file does not define the entry that was
    ///         passed to read()
    [[nodiscard]] std::uint32_t nameSpace() const { return found_ && obj_ ? obj_->nameSpace : 0; }

    /// Returns the same result as tovGetVekinfoAtLoc(). If isUsable() returns true and the file is not in the tag cache
    /// yet, adds the result of read() to the cache and does not read the file again; otherwise calls
    /// tovGetVekinfoAtLoc(). Must be called at most once, with the arguments of read(), by the only thread that uses
    /// the tag cache.
    /// @param out, found  as for tovGetVekinfoAtLoc(), but not null
    int take(const char *tagPath, const char *element, VekinfoObj *out, int *found);

  private:
    struct Destroy {
        void operator()(VekinfoObj *obj) const;
    };

    std::unique_ptr<VekinfoObj, Destroy> obj_; ///< null if the file does not exist or could not be read
    bool found_ = false;                       ///< whether the file defines the entry
    bool isUsable_ = false;
    bool isShort_ = false;
};

} // namespace tov

#endif
