#include "common/platform/veki_real_path.h"

#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_path.h"
#include "common/text/ascii.h"

#include <array>
#include <string_view>

/// Stores the first field of `line` in `field`, and moves `line` to the next field. After the last field, sets `line`
/// to null. Fields are separated by exactly one blank or tab, so a field can be empty.
/// @return true; false if `line` is null, because there are no more fields
static bool nextField(const char *&line, std::string_view &field) {
    if (line == nullptr) {
        return false;
    }
    const char *end = line;
    while (*end != '\0' && *end != '\n' && !vek::isBlank(*end)) {
        ++end;
    }
    field = {line, static_cast<std::size_t>(end - line)};
    line = vek::isBlank(*end) ? end + 1 : nullptr;
    return true;
}

char *vekiGetRealPath(const char *nameAsInvoked, const char *tableFile) {
    if (nameAsInvoked == nullptr || tableFile == nullptr) {
        return nullptr;
    }
    const vek::OwnedDescriptor table = vek::openForReading(tableFile);
    if (!table.valid()) {
        return nullptr;
    }
    const std::string_view name(nameAsInvoked);
    const std::size_t base = name.rfind('/') + 1; // 0 if there is no "/", because npos + 1 is 0
    const std::string_view command(name.data() + base, name.size() - base);

    constexpr int kNameField = 1;
    constexpr int kPathField = 5;
    vek::LineReader lines(table.get());
    vek::LineBuffer buffer;
    while (lines.next(buffer)) {
        const char *line = buffer.data();
        std::string_view field;
        for (int number = kNameField; nextField(line, field); ++number) {
            // Documented: an empty first field never matches. If `nameAsInvoked` ends with "/", the command is empty
            // and is therefore never found.
            if (number == kNameField && (field.empty() || field != command)) {
                break;
            }
            if (number == kPathField) {
                return vek::copyOrReport(field);
            }
        }
    }
    return nullptr;
}
