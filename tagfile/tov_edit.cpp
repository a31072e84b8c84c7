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

/// Tests whether the parser would reject an entry with these words. For this test, adds the entry to an empty object
/// and composes the text of a tag file from the object: composeSettings() reports each line that the parser would
/// reject.
/// @return kNoError if the parser would accept the entry; otherwise the syntax error, or kNoMemory
Report findSyntaxError(const Keywords &keywords, const Words &words) {
    VekinfoObj trial = {};
    tovInitVekinfoObj(&trial);
    vek::ComposedText text;
    Reports rejected;
    Report error = applyWords(keywords, words, trial);
    if (!error.isError()) {
        composeSettings(keywords, trial, text, rejected);
        error = text.isWhole() ? rejected.first() : kNoMemory;
    }
    clearInfoObj(&trial);
    return error;
}

/// One edit of one tag file: clears an entry, or clears it and adds it with a new value. The object owns the open and
/// locked file; the destructor closes it and releases the lock. The edit only collects error reports, so that the
/// caller can pass them to the error handler after the object is destroyed.
class Edit {
  public:
    /// @param path     the path of the tag file
    /// @param name     the name of the entry to clear, or to clear and add
    /// @param value    the value of the entry to add; null to only clear the entry
    /// @param reports  receives the errors of the edit
    Edit(TagCache &cache, const Keywords &keywords, const char *path, char *name, char *value,
         Reports &reports)
        : cache_(cache), keywords_(keywords), keyword_(keywords.find(name)), path_(path), name_(name),
          isAddition_(value != nullptr), reports_(reports), file_(path) {
        const bool hasValue = keyword_ == nullptr || keyword_->wordCount > 1;
        words_ = {hasValue ? 2 : 1, {name, value}};
    }

    /// Performs the edit. @return 1 for success; 0 if the edit failed
    int run() {
        if (isAddition_) {
            syntaxError_ = findSyntaxError(keywords_, words_);
        }
        if (syntaxError_.code == TOV_MEMORY_ERROR) {
            reports_.add(kNoMemory);
            return 0;
        }
        *cache_.lastObject = nullptr; // as findOrRead() does; finish() sets it if it updates the cache
        if (syntaxError_.isError() && keyword_ == nullptr) {
            // Do not change the file. Documented: an addition reads the file twice. If the file cannot be read, the
            // error is therefore reported twice.
            const bool isRead = !readThroughCache().isError() || !readThroughCache().isError();
            syntaxError_.line = isRead ? static_cast<int>(obj_->line) : 0;
            reports_.add(syntaxError_);
            return 1; // success: an application entry that the parser would reject is only reported
        }
        const Opening opening = isAddition_ ? Opening::CreateIfMissing : Opening::Existing;
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
        const bool isDone = isAddition_ ? add() : clear();
        if (!isDone) {
            file_.removeIfNew();
        }
        return isDone ? 1 : 0;
    }

  private:
    bool clear() {
        if (const Report report = read(); report.isError()) {
            return report.code != TOV_MEMORY_ERROR; // Documented: success if the file cannot be read.
        }
        isRead_ = true;
        return clearEntry() ? finish(write()) : failWithoutMemory();
    }

    bool add() {
        // Documented: an addition is a clear followed by an add, and both of them read the file. If the file cannot be
        // read or has a syntax error, the error is therefore reported twice: after an error, read() is called again.
        if (!file_.isNew()) {
            const Report first = read();
            const Report last = first.isError() ? read() : first;
            if (last.code == TOV_MEMORY_ERROR) {
                return false; // the file may be valid: it must not be replaced
            }
            isRead_ = !last.isError();
        }
        if (!isRead_) { // the new content will contain only the added entry
            dropFromCache(cache_, path_);
            obj_ = makeEmptyInfoObj(path_);
        }
        if (!obj_ || (isRead_ && !clearEntry())) {
            return failWithoutMemory();
        }
        // Documented: the clear writes the file, then the add writes it, and each failed write is reported. Here one
        // write() does both, so that no reader finds the file without the entry. Only if this write() fails, write() is
        // called a second time, to report the second failure.
        if (syntaxError_.isError()) {
            const bool isWritten = isRead_ && write();
            syntaxError_.line = static_cast<int>(obj_->line);
            reports_.add(syntaxError_);
            return finish(isWritten || write());
        }
        if (applyWords(keywords_, words_, *obj_).isError()) {
            return failWithoutMemory();
        }
        return finish(write() || (isRead_ && write()));
    }

    /// Parses the file into `obj_`. If the file is not a regular file or could not be opened for writing, sets `obj_`
    /// to a copy of the cached object. Adds an error of reading or parsing to the reports.
    ///
    /// The application entries of a regular file are not copied into `obj_`, to save memory: there may be millions of
    /// them. write() copies the entries that are kept, line by line, from the old content to the new text.
    Report read() {
        if (!file_.isRegular()) {
            return readThroughCache();
        }
        const ContentRead content = file_.readContent();
        obj_ = makeEmptyInfoObj(path_);
        Report report = content == ContentRead::Failed ? kCannotRead : kNoMemory;
        if (content == ContentRead::Done && obj_) {
            hasOtherEntries_ = false;
            vek::LineReader lines(file_.content());
            report = forEachLine(lines, *obj_, [this](const Words &words) {
                if (keywords_.find(words.name()) != nullptr) {
                    return applyWords(keywords_, words, *obj_);
                }
                hasOtherEntries_ = hasOtherEntries_ || !vek::equalNoCase(words.name(), name_);
                return kNoError;
            });
        }
        if (report.isError()) {
            reports_.add(report);
        }
        if (report.isError() && report.code != TOV_MEMORY_ERROR) {
            dropFromCache(cache_, path_); // a file that cannot be parsed is never in the cache
        }
        return report;
    }

    /// Sets `obj_` to a copy of the cached object of the file. If the file is not in the cache, parses it into the
    /// cache first. Adds an error to the reports, but not if the file is missing.
    Report readThroughCache() {
        const CacheSearch search = findOrRead(cache_, path_, nullptr);
        Report report = search.report;
        if (!report.isError()) {
            VekinfoObj *copy = nullptr;
            tovMakeVekinfoObj(&copy, search.object);
            obj_.reset(copy);
            report = obj_ ? kNoError : kNoMemory;
        }
        if (report.isError() && report.text != nullptr) {
            reports_.add(report);
        }
        return report;
    }

    /// Clears the entry `name_` in `obj_`. Documented: clearing an application entry keeps all entries with this name
    /// and removes all application entries with other names, because existing files depend on this behaviour.
    /// @return false if memory is exhausted
    bool clearEntry() {
        if (keyword_ != nullptr) {
            keyword_->clear(*obj_);
            return true;
        }
        omitsOtherEntries_ = hasOtherEntries_; // for the entries that are only in the content of the file
        VekinfoObj kept = {};
        tovInitVekinfoObj(&kept);
        bool hasOthers = false;
        bool isDone = true;
        for (int i = 0; isDone && obj_->names != nullptr && obj_->names[i] != nullptr; ++i) {
            if (vek::equalNoCase(obj_->names[i], name_)) {
                isDone = addApplicationEntry(kept, obj_->names[i], obj_->values[i]);
            } else {
                hasOthers = true;
            }
        }
        if (isDone && hasOthers) {
            swapEntries(*obj_, kept);
        }
        clearInfoObj(&kept);
        return isDone;
    }

    /// Writes the settings in `obj_` to the file. The text is composed in the first call only, so `obj_` must not
    /// change between two calls of write(). @return false after a failure, which has been added to the reports
    bool write() {
        if (!isComposed_) {
            isComposed_ = true;
            composeKeywords(keywords_, *obj_, text_, reports_);
            if (isRead_ && file_.isRegular()) {
                vek::LineReader lines(file_.content());
                static_cast<void>(forEachLine(lines, *obj_, [this](const Words &words) {
                    const bool isKept = !omitsOtherEntries_ || vek::equalNoCase(words.name(), name_);
                    if (isKept && keywords_.find(words.name()) == nullptr) {
                        composeEntry(keywords_, words.name(), words.entryValue(), obj_->line, text_,
                                     reports_);
                    }
                    return kNoError;
                }));
            }
            const std::size_t begin = text_.size();
            composeEntries(keywords_, *obj_, text_, reports_);
            // Count the added application entries. One added entry can become several entries, because its value may
            // contain newlines.
            VekinfoObj unused = {};
            vek::LineReader added(std::string_view(text_.view().data() + begin, text_.size() - begin));
            static_cast<void>(forEachLine(added, unused, [this](const Words &words) {
                addedEntries_ += keywords_.find(words.name()) == nullptr ? 1 : 0;
                return kNoError;
            }));
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
    /// For a regular file, `obj_` lacks the application entries of the file. They are read from the written file, or
    /// from the old content if a failed write has restored it.
    /// @param isWritten  true if the file has been written
    /// @return `isWritten`
    bool finish(bool isWritten) {
        const bool isRegular = file_.isRegular();
        if (!isRead_ || (!isRegular && !isWritten)) {
            return isWritten; // there is no cached object, or it has not changed
        }
        bool isComplete = !isRegular;
        text_ = vek::ComposedText(); // free it: the text and the entries together would need twice the memory
        if (isRegular && isWritten) {
            OwnedInfoObj written = makeEmptyInfoObj();
            vek::LineReader lines(file_.descriptor());
            // Documented: in the cache, the added entry has exactly the value that the caller passed. In the file the
            // value can differ, for example in white space. replaceLastEntries() therefore replaces the entry that was
            // parsed from the file.
            isComplete = written && file_.rereadFromStart() &&
                         !parseLines(keywords_, lines, nullptr, *written).report.isError() &&
                         replaceLastEntries(*written, addedEntries_, *obj_);
            if (isComplete) {
                swapEntries(*obj_, *written);
            }
        } else if (isRegular) {
            isComplete = file_.isRestored() && !parseText(keywords_, path_, file_.content(), obj_).isError();
        }
        if (isComplete) {
            *cache_.lastObject = updateCache(cache_, std::move(obj_));
        } else {
            dropFromCache(cache_, path_);
        }
        return isWritten;
    }

    TagCache &cache_;
    const Keywords &keywords_;
    const Keyword *keyword_; ///< the row of the keyword `name_`; null for an application entry
    const char *path_;
    const char *name_;
    bool isAddition_;
    Words words_; ///< the words of the line of an added entry
    Report
        syntaxError_; ///< the error of the parser for an added entry that must not be written; otherwise kNoError
    Reports &reports_;
    EditedFile file_;
    OwnedInfoObj obj_;
    bool isRead_ = false;            ///< whether the file existed and has been read and parsed
    bool hasOtherEntries_ = false;   ///< whether the file has application entries of other names
    bool omitsOtherEntries_ = false; ///< whether write() leaves those entries out
    vek::ComposedText text_;
    int addedEntries_ = 0; ///< number of application entries at the end of `text_` that are not from the file
    bool isComposed_ = false;
};

} // namespace

int editEntry(const Keywords &keywords, const char *dir, const char *name, const char *value) {
    const vek::OwnedText path = tagFilePath(dir);
    const vek::OwnedText directory = dir == nullptr ? nullptr : vek::copyText(dir);
    const vek::OwnedText ownName = vek::copyText(name);
    const vek::OwnedText ownValue = value == nullptr ? nullptr : vek::copyText(value);
    Reports reports;
    int result = 0;
    if ((dir != nullptr && (!path || !directory)) || !ownName || (value != nullptr && !ownValue)) {
        reports.add(kNoMemory);
    } else {
        result = Edit(processCache(), keywords, path.get(), ownName.get(), ownValue.get(), reports).run();
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
