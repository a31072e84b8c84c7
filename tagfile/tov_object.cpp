#include "tagfile/tovi_object.h"

#include "common/text/vek_strlist.h"
#include "tagfile/tovi_report.h"

#include <cstdlib>
#include <utility>

namespace {

/// Copies the string list `from`, a null-terminated array of strings. If `from` is null, the copy is null.
/// @param size  receives the number of pointers in the copy, including the final null
/// @return false if memory is exhausted
bool copyList(char **from, char ***to, int32_t *size) {
    *to = vekCopyStrlist(from);
    *size = *to == nullptr ? 0 : vekGetStrlistSize(*to) + 1;
    return *to != nullptr || from == nullptr;
}

bool copyString(const char *from, char **to) {
    *to = vekCopyString(from);
    return *to != nullptr || from == nullptr;
}

} // namespace

void tovInitVekinfoObj(VekinfoObj *obj) {
    *obj = {};
    obj->library = TOV_UNSET;
    obj->libcheck = TOV_UNSET;
}

tov::OwnedInfoObj tov::makeEmptyInfoObj(const char *path) {
    OwnedInfoObj obj(static_cast<VekinfoObj *>(std::malloc(sizeof(VekinfoObj))));
    if (!obj) {
        return nullptr;
    }
    tovInitVekinfoObj(obj.get());
    if (!copyString(path, &obj->path)) {
        return nullptr;
    }
    return obj;
}

int tovMakeVekinfoObj(VekinfoObj **out, const VekinfoObj *src) {
    *out = nullptr;
    tov::OwnedInfoObj copy = tov::makeEmptyInfoObj();
    if (!copy) {
        return TOV_OK;
    }
    copy->line = src->line;
    copy->library = src->library;
    copy->libcheck = src->libcheck;
    copy->nameSpace = src->nameSpace;
    if (copyString(src->path, &copy->path) && copyString(src->dmtype, &copy->dmtype) &&
        copyList(src->names, &copy->names, &copy->namesSize) &&
        copyList(src->values, &copy->values, &copy->valuesSize)) {
        *out = copy.release();
    }
    return TOV_OK;
}

void tov::swapEntries(VekinfoObj &a, VekinfoObj &b) {
    std::swap(a.names, b.names);
    std::swap(a.namesSize, b.namesSize);
    std::swap(a.values, b.values);
    std::swap(a.valuesSize, b.valuesSize);
}

void tov::clearInfoObj(VekinfoObj *obj) {
    std::free(obj->path);
    std::free(obj->dmtype);
    vekFreeStrlist(obj->names);
    vekFreeStrlist(obj->values);
    tovInitVekinfoObj(obj);
}

void tovDestroyInfoObj(VekinfoObj *obj) {
    if (obj != nullptr) {
        tov::clearInfoObj(obj);
        std::free(obj);
    }
}

int tov::reportNoMemory() {
    return makeReport(kNoMemory, nullptr, nullptr);
}
