// The hash of strings and bytes.

#include "common/containers/vek_string_hash.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// A model of the hash: byte by byte, one table row for each documented step.
class Reference {
  public:
    static std::uint32_t of(std::string_view bytes, bool aligned) {
        Reference reference;
        std::size_t at = 0;
        for (; bytes.size() - at >= 24; at += 24) {
            for (std::size_t i = 0; i < 24; ++i) {
                reference.add(i / 8, 8 * (i % 8), valueOf(bytes[at + i], aligned));
            }
            reference.mix();
        }
        reference.add(C, 0, bytes.size());
        for (std::size_t i = 0; at + i < bytes.size(); ++i) {
            // From byte 16 on, one byte higher: the lowest byte of the third word is the length.
            const std::size_t shift = i < 16 ? 8 * (i % 8) : 8 * (i - 15);
            reference.add(i / 8, shift, valueOf(bytes[at + i], false));
        }
        reference.mix();
        return static_cast<std::uint32_t>(reference.words_[C] & 0xFFFFFFFFU);
    }

  private:
    enum Word : std::uint8_t { A, B, C };
    enum Direction : std::uint8_t { Left, Right };
    struct Step {
        Word changed, minus, minusToo, shifted;
        Direction direction;
        unsigned distance;
    };

    static std::uint64_t valueOf(char byte, bool isUnsigned) {
        const auto value = static_cast<std::int64_t>(static_cast<unsigned char>(byte));
        return static_cast<std::uint64_t>(!isUnsigned && value >= 0x80 ? value - 256 : value);
    }

    void add(std::size_t word, std::size_t shift, std::uint64_t value) { words_[word] += value << shift; }

    void mix() {
        static constexpr std::array<Step, 12> steps = {{{A, B, C, C, Right, 43},
                                                        {B, C, A, A, Left, 9},
                                                        {C, A, B, B, Right, 8},
                                                        {A, B, C, C, Right, 38},
                                                        {B, C, A, A, Left, 23},
                                                        {C, A, B, B, Right, 5},
                                                        {A, B, C, C, Right, 35},
                                                        {B, C, A, A, Left, 49},
                                                        {C, A, B, B, Right, 11},
                                                        {A, B, C, C, Right, 12},
                                                        {B, C, A, A, Left, 18},
                                                        {C, A, B, B, Right, 22}}};
        for (const Step &step : steps) {
            std::uint64_t &word = words_[step.changed];
            word -= words_[step.minus];
            word -= words_[step.minusToo];
            const std::uint64_t other = words_[step.shifted];
            word ^= step.direction == Left ? other << step.distance : other >> step.distance;
        }
    }

    std::array<std::uint64_t, 3> words_ = {0, 0, 0x9e3779b97f4a7c13};
};

/// Bytes at a chosen distance from a multiple of 8, with other bytes around them.
class Placed {
  public:
    Placed(std::string_view bytes, std::size_t offset) : size_(bytes.size()), offset_(offset) {
        room_.assign(bytes.size() / 8 + 4, 0x5A5A5A5A5A5A5A5A);
        std::memcpy(begin(), bytes.data(), bytes.size());
    }
    [[nodiscard]] std::uint64_t hash() { return vekHashStringLen(begin(), size_); }

  private:
    char *begin() { return reinterpret_cast<char *>(room_.data()) + offset_; }

    std::vector<std::uint64_t> room_;
    std::size_t size_, offset_;
};

std::string asciiText(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text += static_cast<char>(' ' + (i * 37 + length) % 95);
    }
    return text;
}

/// Bytes without a pattern, about half of them above 0x7F; the same ones in every run.
std::string binaryBytes(std::size_t length, std::uint64_t seed) {
    std::uint64_t state = seed * 2 + length * 4096 + 1;
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        bytes += static_cast<char>(state >> 56U);
    }
    return bytes;
}

struct Known {
    std::string_view bytes;
    std::uint32_t aligned, unaligned;
};

// Computed with a separate program from the documented steps.
constexpr std::array<Known, 11> kKnown = {{
    {"", 0x938575bf, 0x938575bf},
    {"a", 0xd88633ac, 0xd88633ac},
    {"abc", 0xfea87243, 0xfea87243},
    {"/proj/lib/vekinfo.tag", 0xa1cb253d, 0xa1cb253d},
    {"abcdefghijklmnopqrstuvw", 0xe7ef90e4, 0xe7ef90e4},
    {"abcdefghijklmnopqrstuvwx", 0x9125e179, 0x9125e179},
    {"abcdefghijklmnopqrstuvwxy", 0x77f9b9d4, 0x77f9b9d4},
    {"/projects/design/libraries/analog/amplifier/schematic/vekinfo.tag", 0xccd34e62, 0xccd34e62},
    {"\xe9", 0x2ce76673, 0x2ce76673},
    {"caf\xe9", 0xeec292e4, 0xeec292e4},
    {"01234567890123456789\xe9\xe8\xff\x80", 0xdb620fc3, 0x4b365969},
}};

} // namespace

TEST(VekHashString, HasTheDocumentedValues) {
    for (const Known &known : kKnown) {
        EXPECT_EQ(Placed(known.bytes, 0).hash(), known.aligned) << known.bytes;
        EXPECT_EQ(Placed(known.bytes, 3).hash(), known.unaligned) << known.bytes;
    }
}

TEST(VekHashString, AgreesWithAModelForEveryLength) {
    for (std::size_t length = 0; length <= 72; ++length) {
        const std::string text = asciiText(length);
        EXPECT_EQ(Placed(text, 0).hash(), Reference::of(text, true)) << length;
    }
}

TEST(VekHashString, HashesAsciiTextTheSameAtEveryAddress) {
    for (std::size_t length = 0; length <= 72; ++length) {
        const std::string text = asciiText(length);
        for (std::size_t offset = 0; offset < 9; ++offset) {
            EXPECT_EQ(Placed(text, offset).hash(), Reference::of(text, false)) << length << " at " << offset;
        }
    }
}

TEST(VekHashString, HashesTheEmptyStringWithOneMix) {
    EXPECT_EQ(vekHashString(""), 0x938575bfU);
    EXPECT_EQ(vekHashStringLen("ignored", 0), 0x938575bfU);
}

TEST(VekHashString, TreatsATailByteAbove0x7FAsNegative) {
    // Computed with -23 for the byte; 233 gives another value.
    EXPECT_EQ(vekHashString("\xe9"), 0x2ce76673U);
    // At every offset of the tail and every alignment, with and without a block before it.
    for (const std::size_t before : {0U, 24U}) {
        for (std::size_t position = 0; position < 23; ++position) {
            std::string bytes = asciiText(before + position) + '\x80';
            EXPECT_EQ(Placed(bytes, 0).hash(), Reference::of(bytes, false)) << before << " + " << position;
            EXPECT_EQ(Placed(bytes, 5).hash(), Reference::of(bytes, false)) << before << " + " << position;
            bytes.resize(before + 23, '\xff');
            EXPECT_EQ(Placed(bytes, 0).hash(), Reference::of(bytes, false)) << before << " + " << position;
        }
    }
}

TEST(VekHashString, TreatsBlockBytesAbove0x7FAsNegativeUnlessAligned) {
    for (std::size_t position = 0; position < 24; ++position) {
        std::string bytes = asciiText(24);
        bytes[position] = '\xe9';
        const std::uint64_t aligned = Placed(bytes, 0).hash();
        EXPECT_EQ(aligned, Reference::of(bytes, true)) << position;
        for (std::size_t offset = 1; offset < 8; ++offset) {
            const std::uint64_t unaligned = Placed(bytes, offset).hash();
            EXPECT_EQ(unaligned, Reference::of(bytes, false)) << position << " at " << offset;
            // A negative byte subtracts 1 from the next byte; the highest byte has no next one.
            EXPECT_EQ(unaligned == aligned, position % 8 == 7) << position << " at " << offset;
        }
        EXPECT_EQ(Placed(bytes, 8).hash(), aligned) << position;
    }
}

TEST(VekHashString, HashesBinaryInputOfEveryLengthAndAlignment) {
    for (std::size_t length = 0; length <= 72; ++length) {
        const std::string bytes = binaryBytes(length, 6);
        for (std::size_t offset = 0; offset < 8; ++offset) {
            EXPECT_EQ(Placed(bytes, offset).hash(), Reference::of(bytes, offset == 0))
                << length << " at " << offset;
        }
    }
}

TEST(VekHashString, HashesNulBytes) {
    const std::string bytes("a\0b\0\0", 5);
    EXPECT_EQ(vekHashStringLen(bytes.data(), bytes.size()), Reference::of(bytes, false));
    EXPECT_NE(vekHashStringLen(bytes.data(), 4), vekHashStringLen(bytes.data(), 5));
    EXPECT_NE(vekHashStringLen(bytes.data(), 5), vekHashString(bytes.c_str()));
}

TEST(VekHashString, ReadsNothingAfterTheInput) {
    // Reading one byte more would change the value, and the address sanitizer would report it.
    for (std::size_t length = 0; length <= 50; ++length) {
        const std::string text = asciiText(length);
        const std::vector<char> exact(text.begin(), text.end());
        EXPECT_EQ(vekHashStringLen(exact.data(), length), Reference::of(text, true)) << length;
        EXPECT_EQ(vekHashStringLen((text + "x").data(), length), Reference::of(text, true)) << length;
    }
}

TEST(VekHashString, HashesTheLengthOfTheWholeInput) {
    // Zeros add nothing: these inputs differ in their length only.
    const std::string zeros(96, '\0');
    for (std::size_t length = 1; length <= zeros.size(); ++length) {
        EXPECT_EQ(vekHashStringLen(zeros.data(), length), Reference::of(zeros.substr(0, length), true));
        EXPECT_NE(vekHashStringLen(zeros.data(), length), vekHashStringLen(zeros.data(), length - 1))
            << length;
    }
}

TEST(VekHashString, ReturnsTheSameFromAllThreeFunctions) {
    for (const Known &known : kKnown) {
        const std::string text(known.bytes);
        EXPECT_EQ(vekHashString(text.c_str()), vekHashStringLen(text.c_str(), text.size())) << text;
        EXPECT_EQ(vekHashString32(text.c_str()), vekHashString(text.c_str())) << text;
    }
}

TEST(VekHashString, HasAtMost32Bits) {
    for (std::size_t i = 0; i < 2000; ++i) {
        const std::string bytes = binaryBytes(i % 80, i);
        EXPECT_EQ(vekHashStringLen(bytes.data(), bytes.size()) >> 32U, 0U);
    }
}

TEST(VekHashString, HashesNullAsNothing) {
    EXPECT_EQ(vekHashString(nullptr), vekHashString(""));
    EXPECT_EQ(vekHashString32(nullptr), vekHashString32(""));
    EXPECT_EQ(vekHashStringLen(nullptr, 5), vekHashString(""));
}
