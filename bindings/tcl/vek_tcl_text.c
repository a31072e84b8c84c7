/// Text between Tcl and the library. File names, values and messages of the library are bytes; Tcl has characters.
///
/// Bytes become characters by the encoding of the system, as in Tcl's own file commands. A byte that is no
/// character in it, such as one of a Latin-1 name in a UTF-8 environment, becomes the surrogate U+DC00 + byte, and
/// such a surrogate becomes the byte again, so that every name survives the round trip. For UTF-8 this is done
/// here, because Tcl 8.6 reads an invalid byte as the Latin-1 character of that number.

#include "vek_tcl.h"

#include <string.h>
#include <vek/vek_strlist.h>

typedef unsigned char Byte;

/// The surrogates for the bytes 0x80 to 0xFF are 0xED, then these two bytes, in the UTF-8 of Tcl.
enum { ESCAPE_SIZE = 3 };

static bool isContinuation(Byte byte) {
    return (byte & 0xC0U) == 0x80U;
}

static bool isHighSurrogate(const Byte *text, size_t size) {
    return size >= 3 && text[0] == 0xEDU && text[1] >= 0xA0U && text[1] <= 0xAFU && isContinuation(text[2]);
}

static bool isLowSurrogate(const Byte *text, size_t size) {
    return size >= 3 && text[0] == 0xEDU && text[1] >= 0xB0U && isContinuation(text[2]);
}

/// U+DC80 to U+DCFF.
static bool isEscape(const Byte *text, size_t size) {
    return isLowSurrogate(text, size) && (text[1] == 0xB2U || text[1] == 0xB3U);
}

static void appendByte(Tcl_DString *text, Byte byte) {
    const char character = (char)byte;
    Tcl_DStringAppend(text, &character, 1);
}

static void appendEscape(Tcl_DString *text, Byte byte) {
    appendByte(text, 0xEDU);
    appendByte(text, (Byte)(0xB0U | ((unsigned)byte >> 6U)));
    appendByte(text, (Byte)(0x80U | (byte & 0x3FU)));
}

// ---- UTF-8

/// @return the size of the well-formed character (Unicode, table 3-7) at the front of `text`, or 0
static size_t characterSize(const Byte *text, size_t size) {
    const Byte first = text[0];
    if (first < 0x80U) {
        return 1;
    }
    const size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    if (first < 0xC2U || first > 0xF4U || size < length) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
    }
    const bool isOverlong = (first == 0xE0U && text[1] < 0xA0U) || (first == 0xF0U && text[1] < 0x90U);
    const bool isSurrogate = first == 0xEDU && text[1] >= 0xA0U;
    const bool isTooLarge = first == 0xF4U && text[1] >= 0x90U;
    return isOverlong || isSurrogate || isTooLarge ? 0 : length;
}

static void decodeUtf8(const Byte *bytes, size_t size, Tcl_DString *text) {
    while (size > 0) {
        const size_t length = characterSize(bytes, size);
        if (length == 0) {
            appendEscape(text, *bytes);
        } else {
            Tcl_DStringAppend(text, (const char *)bytes, (Tcl_Size)length);
        }
        const size_t step = length == 0 ? 1 : length;
        bytes += step;
        size -= step;
    }
}

/// The character outside the basic plane that two surrogates make.
static void appendPair(Tcl_DString *bytes, const Byte *pair) {
    const unsigned high = ((pair[1] & 0x0FU) << 6U) | (pair[2] & 0x3FU);
    const unsigned low = ((pair[4] & 0x0FU) << 6U) | (pair[5] & 0x3FU);
    const unsigned character = 0x10000U + (high << 10U) + low;
    appendByte(bytes, (Byte)(0xF0U | (character >> 18U)));
    appendByte(bytes, (Byte)(0x80U | ((character >> 12U) & 0x3FU)));
    appendByte(bytes, (Byte)(0x80U | ((character >> 6U) & 0x3FU)));
    appendByte(bytes, (Byte)(0x80U | (character & 0x3FU)));
}

/// @return false if `text` has a surrogate that is neither half of a character nor a byte
static bool encodeUtf8(const Byte *text, size_t size, Tcl_DString *bytes) {
    while (size > 0) {
        size_t step = characterSize(text, size);
        if (step != 0) {
            Tcl_DStringAppend(bytes, (const char *)text, (Tcl_Size)step);
        } else if (isHighSurrogate(text, size) && isLowSurrogate(text + 3, size - 3)) {
            appendPair(bytes, text);
            step = 6;
        } else if (isEscape(text, size)) {
            appendByte(bytes, (Byte)(((unsigned)text[1] << 6U) | (text[2] & 0x3FU)));
            step = ESCAPE_SIZE;
        } else {
            return false;
        }
        text += step;
        size -= step;
    }
    return true;
}

// ---- any other encoding

static bool isSame(const Tcl_DString *left, const char *right, size_t size) {
    return (size_t)Tcl_DStringLength(left) == size && memcmp(Tcl_DStringValue(left), right, size) == 0;
}

/// Tcl writes "?" for a character that the encoding lacks, which would be another file: so what was written must
/// read as the same text.
static bool encodeRun(const char *text, size_t size, Tcl_DString *bytes) {
    Tcl_DString external;
    Tcl_DString back;
    Tcl_UtfToExternalDString(NULL, text, (Tcl_Size)size, &external);
    Tcl_ExternalToUtfDString(NULL, Tcl_DStringValue(&external), Tcl_DStringLength(&external), &back);
    const bool isFaithful = isSame(&back, text, size);
    Tcl_DStringAppend(bytes, Tcl_DStringValue(&external), Tcl_DStringLength(&external));
    Tcl_DStringFree(&back);
    Tcl_DStringFree(&external);
    return isFaithful;
}

/// The runs between escapes go through the encoding.
static bool encodeOther(const Byte *text, size_t size, Tcl_DString *bytes) {
    while (size > 0) {
        size_t run = 0;
        while (run < size && !isEscape(text + run, size - run)) {
            ++run;
        }
        if (run > 0 && !encodeRun((const char *)text, run, bytes)) {
            return false;
        }
        text += run;
        size -= run;
        if (size > 0) {
            appendByte(bytes, (Byte)(((unsigned)text[1] << 6U) | (text[2] & 0x3FU)));
            text += ESCAPE_SIZE;
            size -= ESCAPE_SIZE;
        }
    }
    return true;
}

/// A text that does not survive the way through the encoding keeps its ASCII characters; the other bytes are
/// escaped.
static void decodeOther(const Byte *bytes, size_t size, Tcl_DString *text) {
    Tcl_DString decoded;
    Tcl_DString back;
    Tcl_ExternalToUtfDString(NULL, (const char *)bytes, (Tcl_Size)size, &decoded);
    Tcl_DStringInit(&back);
    const bool isFaithful =
        encodeOther((const Byte *)Tcl_DStringValue(&decoded), (size_t)Tcl_DStringLength(&decoded), &back) &&
        isSame(&back, (const char *)bytes, size);
    if (isFaithful) {
        Tcl_DStringAppend(text, Tcl_DStringValue(&decoded), Tcl_DStringLength(&decoded));
    }
    Tcl_DStringFree(&back);
    Tcl_DStringFree(&decoded);
    for (; !isFaithful && size > 0; ++bytes, --size) {
        if (*bytes < 0x80U) {
            appendByte(text, *bytes);
        } else {
            appendEscape(text, *bytes);
        }
    }
}

// ---- both

static bool isSystemUtf8(void) {
    return strcmp(Tcl_GetEncodingName(NULL), "utf-8") == 0;
}

Tcl_Obj *vekTclCharacters(const char *bytes) {
    Tcl_DString text;
    Tcl_DStringInit(&text);
    const size_t size = bytes == NULL ? 0 : strlen(bytes);
    if (isSystemUtf8()) {
        decodeUtf8((const Byte *)bytes, size, &text);
    } else if (size > 0) {
        decodeOther((const Byte *)bytes, size, &text);
    }
    Tcl_Obj *characters = Tcl_NewStringObj(Tcl_DStringValue(&text), Tcl_DStringLength(&text));
    Tcl_DStringFree(&text);
    return characters;
}

int vekTclBytes(Tcl_Interp *interp, Tcl_Obj *text, Tcl_DString *bytes) {
    Tcl_Size length = 0;
    const char *characters = Tcl_GetStringFromObj(text, &length);
    const size_t size = (size_t)length;
    // Tcl writes NUL as the two bytes of an overlong character.
    for (size_t i = 0; i + 1 < size; ++i) {
        if (memcmp(characters + i, "\xC0\x80", 2) == 0) {
            return vekTclFailValue(interp, "NUL", Tcl_NewStringObj("text with a NUL character", -1));
        }
    }
    const bool isEncoded = isSystemUtf8() ? encodeUtf8((const Byte *)characters, size, bytes)
                                          : encodeOther((const Byte *)characters, size, bytes);
    const bool hasNul = strlen(Tcl_DStringValue(bytes)) != (size_t)Tcl_DStringLength(bytes);
    if (!isEncoded || hasNul) {
        return vekTclFailValue(interp, "ENCODING",
                               Tcl_ObjPrintf("\"%s\" cannot be written in the system encoding, %s",
                                             characters, Tcl_GetEncodingName(NULL)));
    }
    return TCL_OK;
}

char **vekTclAddText(char **list, const char *text, int *count, int *size) {
    char **grown = vekFastAddToStrlist(list, text, count, size);
    if (grown == NULL) {
        Tcl_Panic("vek: unable to allocate a list of %d strings", *count + 1);
    }
    return grown;
}

Tcl_Obj *vekTclTakeList(char **list) {
    Tcl_Obj *result = Tcl_NewListObj(0, NULL);
    for (char **text = list; text != NULL && *text != NULL; ++text) {
        vekTclAppend(result, vekTclCharacters(*text));
    }
    vekFreeStrlist(list);
    return result;
}

void vekTclAppend(Tcl_Obj *list, Tcl_Obj *element) {
    Tcl_ListObjAppendElement(NULL, list, element);
}

void vekTclPut(Tcl_Obj *dict, const char *key, Tcl_Obj *value) {
    Tcl_DictObjPut(NULL, dict, Tcl_NewStringObj(key, -1), value);
}
