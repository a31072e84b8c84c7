#ifndef TAGFILE_TAG_READING_H
#define TAGFILE_TAG_READING_H

/// A tag file that is read before it is needed, by any thread. The cache of the process is changed only when the thread
/// that uses the layer takes the reading.

#include "tagfile/tov.h"

#include <cstdint>
#include <memory>

namespace tov {

/// One reading of one tag file.
class TagReading {
  public:
    /// Reads and parses the tag file `tagPath` as tovGetVekinfoAtLoc() does, but uses no process-wide state and reports no
    /// error. Any thread may call this function.
    /// @param element  the entry to search
    void read(const char *tagPath, const char *element);

    /// @return true if the file was read without an error, or does not exist. Otherwise take() reads it again
    [[nodiscard]] bool isUsable() const { return isUsable_; }

    /// @return true if reading failed because descriptors or memory were exhausted
    [[nodiscard]] bool isShort() const { return isShort_; }

    /// @return the namespace of the file, a TOV_NAMESPACE_... value, if it defines the entry; otherwise 0
    [[nodiscard]] std::uint32_t nameSpace() const { return found_ && obj_ ? obj_->nameSpace : 0; }

    /// Does the same as tovGetVekinfoAtLoc() with the arguments of read(), but adds the file to the cache as it was read.
    /// A file that is in the cache already is not replaced.
    /// Must be called at most once, by the thread that uses the tag layer.
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
