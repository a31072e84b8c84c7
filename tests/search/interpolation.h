#ifndef VEK_TESTS_SEARCH_INTERPOLATION_H
#define VEK_TESTS_SEARCH_INTERPOLATION_H

#include "search/vek_interp.h"
#include "tests/support/sandbox.h"

#include <string>
#include <vector>

namespace test {

/// What one call is given beside its text.
struct Options {
    std::uint32_t flags = 0;
    const char *fileName = nullptr;
    std::uint32_t line = VEK_INTERP_NO_LINE;
    std::size_t outSize = 200000;
    std::size_t errorSize = 10000;
};

/// The results of one call.
struct Interpolated {
    int status;
    std::string out;
    int code;
    int position;
    std::size_t needed;
    std::string message;
};

inline constexpr std::size_t kNeededUntouched = 987654321;

inline Interpolated interpolate(const std::string &text, const Options &options = {}) {
    // Buffers of exactly the sizes named, so that the sanitizers see every byte beyond them; one of no bytes
    // still has an address.
    std::vector<char> out(options.outSize, '#');
    out.reserve(1);
    std::vector<char> message(options.errorSize, '\0');
    vekInterpArgs args = {};
    args.flags = options.flags;
    args.fileName = options.fileName;
    args.line = options.line;
    args.errorBuffer = message.data();
    args.errorBufferSize = message.size();
    args.errorPosition = 4711;
    args.errorCode = 4711;
    args.neededSize = kNeededUntouched;
    const int status = vekInterpolate(text.c_str(), out.data(), out.size(), &args, sizeof args);
    return {status,          out.empty() ? "" : out.data(),        args.errorCode, args.errorPosition,
            args.neededSize, message.empty() ? "" : message.data()};
}

/// Makes `root` (relative to the sandbox) an installation.
inline void makeInstallation(Sandbox &box, const std::string &root) {
    box.file(root + "/tools/bin/vek_root", "", 0755);
}

} // namespace test

#endif
