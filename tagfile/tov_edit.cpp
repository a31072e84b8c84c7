// Edits of tag files: adding or clearing one entry. An edit opens and locks the file and parses it into an object that
// is not in the cache. It changes the object, writes the file and releases the lock. Errors are collected in a list.
// The error handler is called only after the lock is released, because the handler may edit the same file or empty the
// cache.

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

/// Removes the application entries of `obj` whose name is not `name`. Documented: clearing the application entry `name`
/// keeps all entries with this name and removes all others, because existing files depend on this behaviour.
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

/// Removes the last `count` application entries of `obj`, then appends copies of all application entries of `added`.
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

/// One entry that tovAddEntry() adds to a tag file. Owns copies of the name and the value, and stores an error if the
/// parser would reject the line of the entry.
class Addition {
  public:
    explicit Addition(const Keywords &keywords) : keywords_(keywords) {}

    /// Copies `name` and `value`, and tests whether the parser would accept the entry. @return false if memory is
    /// exhausted
    [[nodiscard]] bool make(const char *name, const char *value) {
        keyword_ = keywords_.find(name);
        const bool hasValue = keyword_ == nullptr || keyword_->wordCount > 1;
        name_ = vek::copyText(name);
        value_ = vek::copyText(value);
        words_ = {hasValue ? 2 : 1, {name_.get(), value_.get()}};
        return name_ && value_ && findError();
    }

    [[nodiscard]] bool isKeyword() const { return keyword_ != nullptr; }

    /// Returns true if the entry must not be written: the keyword does not allow the value, or the parser would reject
    /// the written line.
    [[nodiscard]] bool isRejected() const { return error_.isError(); }

    /// Returns the error report for an entry that must not be written; see isRejected().
    /// @param lineCount  the number of lines of the file, which the report contains as the line number of the error
    [[nodiscard]] Report error(std::uint32_t lineCount) const {
        Report report = error_;
        report.line = static_cast<int>(lineCount);
        return report;
    }

    /// Adds the entry to the settings in `obj`. @return false if memory is exhausted
    [[nodiscard]] bool applyTo(VekinfoObj &obj) const {
        return !applyWords(keywords_, words_, obj).isError();
    }

  private:
    /// Sets `error_` if the parser would reject the entry. For this test, adds the entry to an empty object and
    /// composes the text of a tag file from the object: composeSettings() reports each line that the parser would
    /// reject.
    /// @return false if memory is exhausted
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

/// One edit of one tag file: clears an entry, or clears it and adds it with a new value. The object owns the open and
/// locked file; the destructor closes it and releases the lock. The edit only collects error reports, so that the
/// caller can pass them to the error handler after the object is destroyed.
class Edit {
  public:
    /// @param path      the path of the tag file
    /// @param name      the name of the entry to clear, or to clear and add
    /// @param addition  the entry to add; null to only clear the entry
    /// @param reports   receives the errors of the edit
    Edit(TagCache &cache, const Keywords &keywords, const char *path, const char *name,
         const Addition *addition, Reports &reports)
        : cache_(cache), keywords_(keywords), path_(path), name_(name), addition_(addition),
          reports_(reports), file_(path) {}

    /// Performs the edit. @return 1 for success; 0 if the edit failed
    int run() {
        *cache_.lastObject = nullptr; // as findOrRead() does; finish() sets it if it updates the cache
        if (addition_ != nullptr && addition_->isRejected() && !addition_->isKeyword()) {
            return reject();
        }
        const Opening opening = addition_ == nullptr ? Opening::Existing : Opening::CreateIfMissing;
        switch (file_.open(opening, Deadline(kEditWaitMs))) {
        case Opened::Missing:
            dropFromCache(cache_, path_);
            return 1; // success: a missing file has no entry to clear
        case Opened::TimedOut:
            reports_.add(kCannotWrite);
            return 0;
        default: // if the file cannot be written, read it without a lock, so that its errors are reported as well
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
                   TOV_MEMORY_ERROR; // Documented: the result is success if the file cannot be read.
        }
        if (!clearSetting()) {
            return failWithoutMemory();
        }
        return finish(write());
    }

    bool add() {
        // Documented: an addition is a clear followed by an add, and both of them read the file. If the file cannot be
        // read or has a syntax error, the error is therefore reported twice: after an error, read() is called again.
        isRead_ = !file_.isNew() && (!read().isError() || !read().isError());
        if (lastRead_.code == TOV_MEMORY_ERROR) {
            return false; // the file may be valid: it must not be replaced
        }
        if (!isRead_ && !startAnew()) {
            return failWithoutMemory();
        }
        if (isRead_ && !clearSetting()) {
            return failWithoutMemory();
        }
        // Documented: the clear writes the file, then the add writes it, and each failed write is reported. Here one
        // write() does both, so that no reader finds the file without the entry. Only if this write() fails, write() is
        // called a second time, to report the second failure.
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

    /// Handles an application entry that the parser would reject: adds errors of reading the file and the error of the
    /// entry to the reports, and does not change the file. Documented: an error of reading is reported twice, as in
    /// add(). Therefore readThroughCache() is called again after an error.
    /// @return 1 (success), because a rejected entry is only reported
    int reject() {
        const bool isRead = !readThroughCache().isError() || !readThroughCache().isError();
        reports_.add(addition_->error(isRead ? obj_->line : 0));
        return 1;
    }

    // ---- reading
    //
    // The application entries of a regular file are not copied into the object, to save memory: there may be millions
    // of them. The edit copies those that it keeps from the content to the new text, line by line.

    /// Parses the file into `obj_`. If the file is not a regular file or could not be opened for writing, sets `obj_`
    /// to a copy of the cached object. Adds an error of reading or parsing to the reports.
    Report read() { return file_.isRegular() ? readContent() : readThroughCache(); }

    Report readContent() {
        const Report report = parseContent();
        if (report.isError() && report.code != TOV_MEMORY_ERROR) {
            dropFromCache(cache_, path_); // a file that cannot be parsed is never in the cache
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

    /// Sets `obj_` to an empty object, because the file does not exist, cannot be read or has a syntax error. The edit
    /// then writes a file that contains only the added entry. @return false if memory is exhausted
    bool startAnew() {
        dropFromCache(cache_, path_);
        obj_ = makeEmptyInfoObj(path_);
        return obj_ != nullptr;
    }

    // ---- writing

    /// Clears the entry `name_`. A keyword is cleared in `obj_`. For an application entry, the entries with other names
    /// are removed instead (see keepOnly()): omitsOtherEntries_ is set, so that compose() leaves them out.
    /// @return false if memory is exhausted
    bool clearSetting() {
        const Keyword *keyword = keywords_.find(name_);
        if (keyword != nullptr) {
            keyword->clear(*obj_);
            return true;
        }
        omitsOtherEntries_ = hasOtherEntries_; // for entries of the file; keepOnly() removes those in `obj_`
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

    /// Writes the settings in `obj_` to the file. compose() is called in the first write() only, so `obj_` must not
    /// change between two calls of write(). @return false after a failure, which has been added to the reports
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

    /// Ends the edit: updates the cached object of the file, so that it contains the settings that the file has now.
    /// @param isWritten  true if the file has been written
    /// @return `isWritten`
    bool finish(bool isWritten) {
        if (isRead_ && (isWritten ? hasNewObject() : hasOldObject())) {
            *cache_.lastObject = updateCache(cache_, std::move(obj_));
        }
        return isWritten;
    }

    /// Called after a successful write. For a regular file, reads the application entries from the written file into
    /// `obj_`, so that `obj_` can be stored in the cache. The composed text is freed first, because the text and the
    /// entries together would need twice the memory.
    /// @return true if `obj_` contains all settings of the file; false if reading failed
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
        // Documented: in the cache, the added entry has exactly the value that the caller passed. In the file the value
        // can differ, for example in white space. replaceLastEntries() therefore replaces the entry that was parsed
        // from the file.
        const bool isRead = written && file_.rereadFromStart() &&
                            !parseLines(keywords_, lines, nullptr, *written, found).isError() &&
                            replaceLastEntries(*written, added, *obj_);
        return isRead ? (swapEntries(*obj_, *written), true) : hasNoObject();
    }

    /// Called after a failed write. If the old content of a regular file was written back, parses this content into
    /// `obj_`.
    /// @return true if `obj_` contains all settings of the file and may be stored in the cache
    bool hasOldObject() {
        if (!file_.isRegular()) {
            return false; // the cached object is unchanged
        }
        text_ = vek::ComposedText();
        const bool isParsed =
            file_.isRestored() && !parseText(keywords_, path_, file_.content(), obj_).isError();
        return isParsed || hasNoObject();
    }

    /// Removes the cached object of the file, because it may differ from the content of the file. @return always false
    bool hasNoObject() {
        dropFromCache(cache_, path_);
        return false;
    }

    /// Returns the number of application entries that the parser finds in `text`. One added entry can become several
    /// entries, because its value may contain newlines.
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
    bool omitsOtherEntries_ = false; ///< whether compose() leaves those entries out
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
