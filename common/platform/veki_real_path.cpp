#include "common/platform/open_text.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_install_root.h"
#include "common/text/ascii.h"

#include <array>
#include <string_view>

/// Takes the next field off `line`. Each blank or tab separates, so that there are empty fields.
/// @return whether there was one more field
static bool takeField(const char *&line, std::string_view &field) {
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
    const vek::OwnedStream table = vek::openForReading(tableFile);
    if (!table) {
        return nullptr;
    }
    const std::string_view name(nameAsInvoked);
    const std::size_t base = name.rfind('/') + 1; // no "/": npos + 1 is 0
    const std::string_view command(name.data() + base, name.size() - base);

    constexpr int kNameField = 1;
    constexpr int kPathField = 5;
    std::array<char, VEK_PATH_SIZE> buffer;
    while (vek_fgets(buffer.data(), static_cast<int>(buffer.size()), table.get()) != nullptr) {
        const char *line = buffer.data();
        std::string_view field;
        for (int number = kNameField; takeField(line, field); ++number) {
            // An empty field matches nothing, not even a name that ends in "/".
            if (number == kNameField && (field.empty() || field != command)) {
                break;
            }
            if (number == kPathField) {
                return vek::copyReported(field);
            }
        }
    }
    return nullptr;
}
