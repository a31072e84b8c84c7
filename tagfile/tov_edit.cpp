// Adding and clearing an entry. An edit opens and locks the file, reads it through that descriptor, changes an object of
// its own, writes the file, releases the lock, and only then makes its reports: a handler may edit the same file, or
// empty the cache.

#include "tagfile/tov.h"

#include "common/base/owned.h"
#include "common/text/ascii.h"
#include "common/text/owned_strlist.h"
#include "tagfile/tag_path.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_edit.h"
#include "tagfile/tovi_edited_file.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"
#include "tagfile/tovi_write.h"

#include <cstdlib>
#include <string_view>
#include <utility>

namespace tov {

namespace {

// ---- changes of an object

/// Documented: the entries of the given name stay, all others go; if there are no others, nothing changes. Users' files
/// depend on this selection.
/// @return false if memory is exhausted
bool keepOnly(VekinfoObj &obj, const char *name) {
    VekinfoObj kept = {};
    tovInitVekinfoObj(&kept);
    bool hasOthers = false;
    bool isDone = true;
    for (int i = 0; isDone && obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        if (vek::equalNoCase(obj.names[i], name)) {
            isDone = addApplicationEntry(kept, obj.names[i], obj.values[i]);
        } else {
            hasOthers = true;
        }
    }
    if (isDone && hasOthers) {
        swapEntries(obj, kept);
    }
    toviClearInfoObj(&kept);
    return isDone;
}

/// Replaces the last `count` application entries of an object by those of another one.
/// @return false if memory is exhausted
bool replaceLastEntries(VekinfoObj &obj, int count, const VekinfoObj &added) {
    for (int at = vekGetStrlistSize(obj.names) - 1; count > 0 && at >= 0; --at, --count) {
        std::free(std::exchange(obj.names[at], nullptr));
        std::free(std::exchange(obj.values[at], nullptr));
    }
    for (int i = 0; added.names != nullptr && added.names[i] != nullptr; ++i) {
        if (!addApplicationEntry(obj, added.names[i], added.values[i])) {
            return false;
        }
    }
    return true;
}

/// The entry of tovAddEntry().
class Addition {
  public:
    explicit Addition(const Keywords &keywords) : keywords_(keywords) {}

    /// @return false if memory is exhausted
    [[nodiscard]] bool make(const char *name, const char *value) {
        keyword_ = keywords_.find(name);
        const bool hasValue = keyword_ == nullptr || keyword_->wordCount > 1;
        name_ = vek::copyText(name);
        value_ = vek::copyText(value);
        words_ = {hasValue ? 2 : 1, {name_.get(), value_.get()}};
        return name_ && value_ && findError();
    }

    [[nodiscard]] bool isKeyword() const { return keyword_ != nullptr; }

    /// Whether the keyword does not allow the value, or the parser would reject the line.
    [[nodiscard]] bool isRejected() const { return error_.isError(); }

    /// @param lineCount  the number of lines of the file, which the report names
    [[nodiscard]] Report error(std::uint32_t lineCount) const {
        Report report = error_;
        report.line = static_cast<int>(lineCount);
        return report;
    }

    /// @return false if memory is exhausted
    [[nodiscard]] bool applyTo(VekinfoObj &obj) const {
        return !applyWords(keywords_, words_, obj).isError();
    }

  private:
    /// Composes the addition alone: the writer omits and reports what the parser would reject.
    [[nodiscard]] bool findError() {
        VekinfoObj trial = {};
        tovInitVekinfoObj(&trial);
        vek::ComposedText text;
        Reports rejected;
        error_ = applyWords(keywords_, words_, trial);
        if (!error_.isError()) {
            composeSettings(keywords_, trial, text, rejected);
            error_ = rejected.first();
        }
        toviClearInfoObj(&trial);
        return error_.code != TOV_MEMORY_ERROR && text.isWhole();
    }

    const Keywords &keywords_;
    const Keyword *keyword_ = nullptr;
    vek::OwnedText name_;
    vek::OwnedText value_;
    Words words_;
    Report error_;
};

// ---- one edit of one file

/// Clears an entry, or adds one. The reports are made after the object is destroyed, which releases the lock.
class Edit {
  public:
    /// @param name      the entry; for an addition, its name
    /// @param addition  null to clear the entry
    Edit(TagCache &cache, const Keywords &keywords, const char *path, const char *name,
         const Addition *addition, Reports &reports)
        : cache_(cache), keywords_(keywords), path_(path), name_(name), addition_(addition),
          reports_(reports), file_(path) {}

    /// @return 1, or 0 if the edit failed
    int run() {
        *cache_.lastObject = nullptr; // as at the start of every reading
        if (addition_ != nullptr && addition_->isRejected() && !addition_->isKeyword()) {
            return reject();
        }
        const Opening opening = addition_ == nullptr ? Opening::Existing : Opening::CreateIfMissing;
        switch (file_.open(opening, Deadline(kEditWaitMs))) {
        case Opened::Missing:
            dropFromCache(cache_, path_);
            return 1; // nothing to clear is a success
        case Opened::TimedOut:
            reports_.add(kCannotWrite);
            return 0;
        default: // a file that cannot be written is read and reported without a lock
            break;
        }
        const bool isDone = addition_ == nullptr ? clear() : add();
        if (!isDone) {
            file_.removeIfNew();
        }
        return isDone ? 1 : 0;
    }

  private:
    bool clear() {
        const Report report = read();
        if (report.isError()) {
            return report.code !=
                   TOV_MEMORY_ERROR; // Documented: a file that cannot be read counts as success.
        }
        if (!clearSetting()) {
            return failWithoutMemory();
        }
        return finish(write());
    }

    bool add() {
        // Documented: clearing and adding each read the file, and each reports what is wrong with it.
        isRead_ = !file_.isNew() && (!read().isError() || !read().isError());
        if (lastRead_.code == TOV_MEMORY_ERROR) {
            return false; // the file may well be good
        }
        if (!isRead_ && !startAnew()) {
            return failWithoutMemory();
        }
        if (isRead_ && !clearSetting()) {
            return failWithoutMemory();
        }
        // Documented: clearing writes the file, then adding does, and each reports its own failure. The file is in
        // fact written once: one write that succeeds is enough, and the file need not lack the entry in between.
        bool isWritten = false;
        if (addition_->isRejected()) {
            isWritten = isRead_ && write();
            reports_.add(addition_->error(obj_->line));
            isWritten = isWritten || write();
        } else if (!addition_->applyTo(*obj_)) {
            return failWithoutMemory();
        } else {
            isWritten = write() || (isRead_ && write());
        }
        return finish(isWritten);
    }

    /// Reports an addition that is rejected. The file is unchanged.
    int reject() {
        const bool isRead = !readThroughCache().isError() || !readThroughCache().isError();
        reports_.add(addition_->error(isRead ? obj_->line : 0));
        return 1;
    }

    // ---- reading
    //
    // The application entries of a regular file are not copied into the object: there may be millions of them, and the
    // edit only omits some and appends one. They are composed from the content, line by line.

    /// Reads the file into an object of the edit's own. An error is added to the reports.
    Report read() { return file_.isRegular() ? readContent() : readThroughCache(); }

    Report readContent() {
        const Report report = parseContent();
        if (report.isError() && report.code != TOV_MEMORY_ERROR) {
            dropFromCache(cache_, path_); // as after a first reading that fails
        }
        return noteRead(report);
    }

    Report parseContent() {
        const ContentRead result = file_.readContent();
        if (result != ContentRead::Done) {
            return result == ContentRead::NoMemory ? kNoMemory : kCannotRead;
        }
        obj_ = makeEmptyInfoObj(path_);
        if (!obj_) {
            return kNoMemory;
        }
        hasOtherEntries_ = false;
        vek::LineReader lines(file_.content());
        return forEachLine(lines, *obj_, [this](const Words &words) {
            if (keywords_.find(words.name()) != nullptr) {
                return applyWords(keywords_, words, *obj_);
            }
            hasOtherEntries_ = hasOtherEntries_ || !vek::equalNoCase(words.name(), name_);
            return kNoError;
        });
    }

    Report readThroughCache() {
        VekinfoObj *cached = nullptr;
        bool found = false;
        Report report = findOrRead(cache_, path_, nullptr, cached, found);
        if (!report.isError()) {
            VekinfoObj *copy = nullptr;
            tovMakeVekinfoObj(&copy, cached);
            obj_.reset(copy);
            report = obj_ ? kNoError : kNoMemory;
        }
        return noteRead(report);
    }

    Report noteRead(const Report &report) {
        lastRead_ = report;
        if (report.isError() && report.text != nullptr) {
            reports_.add(report);
        }
        return report;
    }

    /// For a file that does not exist or cannot be read: the edit writes what it adds, and nothing else.
    bool startAnew() {
        dropFromCache(cache_, path_);
        obj_ = makeEmptyInfoObj(path_);
        return obj_ != nullptr;
    }

    // ---- writing

    /// Clears the entry in what is to be written. @return false if memory is exhausted
    bool clearSetting() {
        const Keyword *keyword = keywords_.find(name_);
        if (keyword != nullptr) {
            keyword->clear(*obj_);
            return true;
        }
        omitsOtherEntries_ = hasOtherEntries_; // as keepOnly() for the entries of the file
        return keepOnly(*obj_, name_);
    }

    void compose() {
        composeKeywords(keywords_, *obj_, text_, reports_);
        if (isRead_ && file_.isRegular()) {
            vek::LineReader lines(file_.content());
            static_cast<void>(forEachLine(lines, *obj_, [this](const Words &words) {
                const bool isKept = !omitsOtherEntries_ || vek::equalNoCase(words.name(), name_);
                if (isKept && keywords_.find(words.name()) == nullptr) {
                    composeEntry(keywords_, words.name(), words.entryValue(), obj_->line, text_, reports_);
                }
                return kNoError;
            }));
        }
        sizeBeforeAddition_ = text_.size();
        composeEntries(keywords_, *obj_, text_, reports_);
    }

    /// Writes the settings, which must not change afterwards. A failure is added to the reports.
    bool write() {
        if (!isComposed_) {
            compose();
            isComposed_ = true;
        }
        if (text_.isWhole() && file_.replace(text_.view())) {
            return true;
        }
        reports_.add(kCannotWrite);
        return false;
    }

    bool failWithoutMemory() {
        reports_.add(kNoMemory);
        return finish(false);
    }

    /// Makes the cache describe what is in the file now. @return `isWritten`
    bool finish(bool isWritten) {
        if (isRead_ && (isWritten ? hasNewObject() : hasOldObject())) {
            *cache_.lastObject = updateCache(cache_, std::move(obj_));
        }
        return isWritten;
    }

    /// After a write: completes the object with the entries of the file, if it is a regular one. They are read back,
    /// since the object and a text of a million entries together would need twice the memory.
    bool hasNewObject() {
        if (!file_.isRegular()) {
            return true;
        }
        const int added =
            countEntries({text_.view().data() + sizeBeforeAddition_, text_.size() - sizeBeforeAddition_});
        text_ = vek::ComposedText();
        OwnedInfoObj written = makeEmptyInfoObj();
        bool found = false;
        vek::LineReader lines(file_.descriptor());
        // Documented: the cache holds an added value as given, not as it is read again.
        const bool isRead = written && file_.rereadFromStart() &&
                            !parseLines(keywords_, lines, nullptr, *written, found).isError() &&
                            replaceLastEntries(*written, added, *obj_);
        return isRead ? (swapEntries(*obj_, *written), true) : hasNoObject();
    }

    /// After a failed write: parses the old content once more, if the edit works on a locked file.
    bool hasOldObject() {
        if (!file_.isRegular()) {
            return false; // the cache holds it
        }
        text_ = vek::ComposedText();
        const bool isParsed =
            file_.isRestored() && !parseText(keywords_, path_, file_.content(), obj_).isError();
        return isParsed || hasNoObject();
    }

    bool hasNoObject() {
        dropFromCache(cache_, path_);
        return false;
    }

    /// @return how many application entries a reader finds in `text`
    int countEntries(std::string_view text) const {
        VekinfoObj unused = {};
        int count = 0;
        vek::LineReader lines(text);
        static_cast<void>(forEachLine(lines, unused, [&](const Words &words) {
            count += keywords_.find(words.name()) == nullptr ? 1 : 0;
            return kNoError;
        }));
        return count;
    }

    TagCache &cache_;
    const Keywords &keywords_;
    const char *path_;
    const char *name_;
    const Addition *addition_;
    Reports &reports_;
    EditedFile file_;
    OwnedInfoObj obj_;
    Report lastRead_;
    bool isRead_ = true;
    bool hasOtherEntries_ = false;   ///< whether the file has application entries of other names
    bool omitsOtherEntries_ = false; ///< whether they are not written
    vek::ComposedText text_;
    std::size_t sizeBeforeAddition_ = 0;
    bool isComposed_ = false;
};

} // namespace

int editEntry(const Keywords &keywords, const char *dir, const char *name, const char *value) {
    const vek::OwnedText path = tagFilePath(dir);
    const vek::OwnedText directory = dir == nullptr ? nullptr : vek::copyText(dir);
    const vek::OwnedText ownName = vek::copyText(name);
    Addition addition(keywords);
    Reports reports;
    int result = 0;
    if ((dir != nullptr && (!path || !directory)) || !ownName ||
        (value != nullptr && !addition.make(name, value))) {
        reports.add(kNoMemory);
    } else {
        result = Edit(processCache(), keywords, path.get(), ownName.get(),
                      value == nullptr ? nullptr : &addition, reports)
                     .run();
    }
    reports.make(path.get(), directory.get());
    return result;
}

} // namespace tov

int tovRemoveEntry(const char *dir, const char *name) {
    return name == nullptr ? 1 : tov::editEntry(tov::kKeywords, dir, name, nullptr);
}

int tovAddEntry(const char *dir, const char *name, const char *value) {
    return tov::editEntry(tov::kKeywords, dir, name == nullptr ? "" : name, value == nullptr ? "" : value);
}

int tovSetPathDmType(const char *dir, const char *value) {
    return tovAddEntry(dir, tov::kDmtype, value);
}

int tovSetPathUnmanaged(const char *dir) {
    return tovSetPathDmType(dir, "none");
}

int tovClearPathUnmanaged(const char *dir) {
    return tovRemoveEntry(dir, tov::kDmtype);
}
