#include "tagfile/tov.h"

#include "common/ascii.h"
#include "common/owned.h"
#include "common/owned_strlist.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"
#include "tagfile/tovi_path.h"
#include "tagfile/tovi_write.h"

#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

// ---- clearing an entry

void clearDmtype(VekinfoObj &obj) {
    std::free(obj.dmtype);
    obj.dmtype = nullptr;
}

struct KeywordClear {
    std::string_view name;
    void (*clear)(VekinfoObj &);
};

constexpr std::array<KeywordClear, 4> kKeywordClears = {{
    {"VEKLIBRARY", [](VekinfoObj &obj) { obj.library = 0; }},
    {"VEKLIBCHECK", [](VekinfoObj &obj) { obj.libcheck = 0; }},
    {"NAMESPACE", [](VekinfoObj &obj) { obj.nameSpace = TOV_NAMESPACE_UNSET; }},
    {"DMTYPE", clearDmtype},
}};

void replaceList(char **&list, int32_t &size, vek::StrlistBuilder &by) {
    vekFreeStrlist(list);
    size = by.size();
    list = by.take().release();
}

/// The entries of the given name are the ones that stay; the others go. A name that no other entry stands
/// beside changes nothing. Users' files depend on this selection.
bool keepOnly(VekinfoObj &obj, const char *name) {
    vek::StrlistBuilder names;
    vek::StrlistBuilder values;
    bool hasOthers = false;
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        if (!vek::equalNoCase(obj.names[i], name)) {
            hasOthers = true;
        } else if (!names.add(obj.names[i]) || !values.add(obj.values[i])) {
            return false;
        }
    }
    if (hasOthers) {
        replaceList(obj.names, obj.namesSize, names);
        replaceList(obj.values, obj.valuesSize, values);
    }
    return true;
}

/// @return false when memory is exhausted; the entries are then as they were
bool clearEntry(VekinfoObj &obj, const char *name) {
    for (const KeywordClear &keyword : kKeywordClears) {
        if (vek::equalNoCase(name, keyword.name)) {
            keyword.clear(obj);
            return true;
        }
    }
    return keepOnly(obj, name);
}

// ---- one edit of one file

/// The words of the line that adding an entry comes to.
class AddedLine {
  public:
    AddedLine(const char *name, const char *value)
        : name_(vek::copyText(name)),
          value_(vek::copyText(value)), words_{name_.get(), value_.get(), nullptr},
          count_(vek::equalNoCase(name, "VEKLIBRARY") ? 1 : 2) {}

    /// False when memory is exhausted.
    [[nodiscard]] bool isMade() const { return name_ && value_; }

    [[nodiscard]] bool isAllowed() { return toviIsAllowedLine(count_, words_.data()) != 0; }

    /// Puts the entry in. A value that the keyword does not allow is reported and left out, which is no failure.
    bool applyTo(VekinfoObj *obj, const char *tagPath) {
        return toviHandleInputLine(obj, tagPath, nullptr, nullptr, count_, words_.data()) != TOV_MEMORY_ERROR;
    }

  private:
    vek::OwnedText name_;
    vek::OwnedText value_;
    std::array<char *, TOVI_LINE_WORDS> words_;
    int count_;
};

/// Changes an object in place and writes its file. An edit that is not completed leaves the object as it was.
class Edit {
  public:
    Edit(const char *dir, VekinfoObj *obj) : dir_(dir), obj_(obj) {
        VekinfoObj *copy = nullptr;
        tovMakeVekinfoObj(&copy, obj);
        before_.reset(copy);
    }

    int remove(const char *name) {
        if (!before_ || !clearEntry(*obj_, name)) {
            return failWithoutMemory();
        }
        return write() ? 1 : undo();
    }

    /// @param isRead  whether `obj` is what the file says; else it could not be read, and there is nothing to clear
    int add(AddedLine &line, const char *name, const char *tagPath, bool isRead) {
        if (!before_ || (isRead && !clearEntry(*obj_, name))) {
            return failWithoutMemory();
        }
        // Clearing writes the file, then adding does, and each reports its own failure. One write that succeeds is
        // enough, as the last one decides: without a value to add it writes what clearing did, and with one the
        // file need not lack the entry in between.
        const bool isAllowed = line.isAllowed();
        const bool isCleared = isRead && !isAllowed && write();
        if (!line.applyTo(obj_, tagPath)) {
            return undo();
        }
        return isCleared || write() || (isRead && isAllowed && write()) ? 1 : undo();
    }

  private:
    bool write() { return updateInfoFile(dir_, obj_) != 0; }

    int failWithoutMemory() {
        toviReportNoMemory();
        return before_ ? undo() : 0;
    }

    int undo() {
        std::swap(*obj_, *before_);
        std::swap(obj_->next, before_->next);
        return 0;
    }

    const char *dir_;
    VekinfoObj *obj_;
    OwnedInfoObj before_;
};

/// Reads the file, or finds it in the cache; either way the last-object slot holds it.
int read(const char *tagPath) {
    VekinfoObj shallow = {};
    int found = 0;
    return tovGetVekinfoAtLoc(tagPath, nullptr, &shallow, &found);
}

int addToUnread(const char *dir, const char *tagPath, AddedLine &line, const char *name) {
    VekinfoObj fresh = {};
    tovInitVekinfoObj(&fresh);
    const int result = Edit(dir, &fresh).add(line, name, tagPath, false);
    toviClearInfoObj(&fresh);
    return result;
}

} // namespace

int tovRemoveEntry(const char *dir, const char *name) {
    const vek::OwnedText tagPath = toviTagFilePath(dir);
    if (dir != nullptr && !tagPath) {
        toviReportNoMemory();
        return 0;
    }
    if (name == nullptr || read(tagPath.get()) != TOV_OK) {
        return 1; // nothing to clear is a success
    }
    return Edit(dir, tempVekinfoFromHash).remove(name);
}

int tovAddEntry(const char *dir, const char *name, const char *value) {
    const vek::OwnedText tagPath = toviTagFilePath(dir);
    const char *givenName = name == nullptr ? "" : name;
    AddedLine line(givenName, value == nullptr ? "" : value);
    if ((dir != nullptr && !tagPath) || !line.isMade()) {
        toviReportNoMemory();
        return 0;
    }
    // Clearing and adding each read the file: what is wrong with it is reported twice.
    const int status = read(tagPath.get()) == TOV_OK ? TOV_OK : read(tagPath.get());
    if (status == TOV_OK) {
        return Edit(dir, tempVekinfoFromHash).add(line, givenName, tagPath.get(), true);
    }
    if (status == TOV_MEMORY_ERROR) {
        return 0; // the file may well be good
    }
    return addToUnread(dir, tagPath.get(), line, givenName);
}

int tovSetPathDmType(const char *dir, const char *value) {
    return tovAddEntry(dir, "DMTYPE", value);
}

int tovSetPathUnmanaged(const char *dir) {
    return tovSetPathDmType(dir, "none");
}

int tovClearPathUnmanaged(const char *dir) {
    return tovRemoveEntry(dir, "DMTYPE");
}
