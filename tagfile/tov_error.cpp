// Error codes of tag files: one table with a row for each code, the composition of a message, and the error handler.

#include "tagfile/tov.h"

#include "common/base/vek_error.h"
#include "common/text/composed_text.h"
#include "common/text/decimal.h"

#include <array>
#include <cstddef>

namespace {

/// The texts that tovGetErrorMsg() returns. The index is the TOV_ code.
constexpr std::array<const char *, TOV_INVALID_ERROR_NUMBER + 1> kMessages = {
    "no error",
    "internal error",
    "memory error",
    "system error",
    "no such directory",
    "library not defined",
    "no such file",
    "attribute not assigned",
    "access error",
    "syntax error",
    "invalid path",
    "error while processing path",
    "invalid environment variable",
    "buffer too small",
    "inconsistent information",
    "file exists",
    "invalid error number",
};

} // namespace

static struct { tovErrorHandler handler; } errorReporting;

const int ryn_to_tov_errorcode_map[32] = {
    /*  0 */ TOV_OK,
    /*  1 */ TOV_INTERNAL_ERROR,
    /*  2 */ TOV_MEMORY_ERROR,
    /*  3 */ TOV_SYSTEM_ERROR,
    /*  4 */ TOV_NO_SUCH_DIRECTORY,
    /*  5 */ TOV_LIBRARY_NOT_DEFINED,
    /*  6 */ TOV_INVALID_ERROR_NUMBER,
    /*  7 */ TOV_INVALID_ERROR_NUMBER,
    /*  8 */ TOV_NO_SUCH_FILE,
    /*  9 */ TOV_INVALID_ERROR_NUMBER,
    /* 10 */ TOV_INVALID_ERROR_NUMBER,
    /* 11 */ TOV_ACCESS_ERROR,
    /* 12 */ TOV_INVALID_ERROR_NUMBER,
    /* 13 */ TOV_INVALID_ERROR_NUMBER,
    /* 14 */ TOV_INVALID_ERROR_NUMBER,
    /* 15 */ TOV_INVALID_ERROR_NUMBER,
    /* 16 */ TOV_SYNTAX_ERROR,
    /* 17 */ TOV_INVALID_ERROR_NUMBER,
    /* 18 */ TOV_INVALID_ERROR_NUMBER,
    /* 19 */ TOV_INVALID_ERROR_NUMBER,
    /* 20 */ TOV_INVALID_PATH,
    /* 21 */ TOV_INVALID_ENVIRONMENT,
    /* 22 */ TOV_INVALID_ERROR_NUMBER,
    /* 23 */ TOV_BUFFER_TOO_SMALL,
    /* 24 */ TOV_INVALID_ERROR_NUMBER,
    /* 25 */ TOV_INVALID_ERROR_NUMBER,
    /* 26 */ TOV_INVALID_ERROR_NUMBER,
    /* 27 */ TOV_INVALID_ERROR_NUMBER,
    /* 28 */ TOV_INVALID_ERROR_NUMBER,
    /* 29 */ TOV_INVALID_ERROR_NUMBER,
    /* 30 */ TOV_INVALID_ERROR_NUMBER,
    /* 31 */ TOV_INVALID_ERROR_NUMBER,
};

const char *tovGetErrorMsg(int code) {
    const bool known = code >= 0 && code < TOV_INVALID_ERROR_NUMBER;
    return kMessages[static_cast<std::size_t>(known ? code : TOV_INVALID_ERROR_NUMBER)];
}

int tovPrintError(int code, const char *text, const char *where, int line) {
    if (errorReporting.handler != nullptr) {
        errorReporting.handler(code, text, where, line);
        return code;
    }
    vek::ComposedText message;
    message.append("Error (tov): '", tovGetErrorMsg(code), "' ", text == nullptr ? "" : text);
    if (where != nullptr && *where != '\0') {
        message.append(" : ", where);
        if (line != 0) {
            message.append(" line ", vek::Decimal(line));
        }
    }
    message.append(".\n");
    const char *composed = message.c_str();
    vekReportError(composed != nullptr ? composed : tovGetErrorMsg(code));
    return code;
}

tovErrorHandler tovRegisterErrorHandler(tovErrorHandler handler) {
    const tovErrorHandler previous = errorReporting.handler;
    errorReporting.handler = handler;
    return previous;
}
