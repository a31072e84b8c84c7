#include "fuzz/support/input.h"

#include <utility>

namespace fuzz {

std::string expandRepetitions(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t kStep = 16;
    constexpr std::size_t kLongest = 10000;
    std::string text;
    text.reserve(size);
    for (std::size_t i = 0; i < size && text.size() < kLongest; ++i) {
        if (data[i] == static_cast<std::uint8_t>(kRepeat) && size - i > 2) {
            text.append(data[i + 2] * kStep, static_cast<char>(data[i + 1]));
            i += 2;
        } else {
            text.push_back(static_cast<char>(data[i]));
        }
    }
    return text;
}

unsigned Input::byte() {
    if (rest_.empty()) {
        return 0;
    }
    const auto value = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return value;
}

std::string_view Input::rest() {
    return std::exchange(rest_, {});
}

std::string_view Input::upTo(char end) {
    const std::size_t at = rest_.find(end);
    const std::string_view taken = rest_.substr(0, at);
    rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + 1);
    return taken;
}

} // namespace fuzz
