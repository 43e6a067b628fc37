#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/SoString.h"
#include "objects/SoVector.h"

namespace Vexil {
namespace {

using namespace std::string_literals;
using Units = std::vector<unsigned short>;

std::string bytes(const SoString& text) {
    EXPECT_LE(text.length + 1, text.capacity);
    EXPECT_EQ(text.capacity % 128, 0);
    EXPECT_EQ(text.data[text.length], '\0');
    return {text.data, static_cast<std::size_t>(text.length)};
}

TEST(SoString, GrowsInStepsOf128) {
    const std::string text(300, 'x');
    const std::pair<long, int> rows[] = {{0, 128}, {127, 128}, {128, 256}, {255, 256}, {256, 384}};
    for (const auto& [length, capacity] : rows) {
        EXPECT_EQ(SoString(text.data(), length).capacity, capacity) << length;
        SoString appended;
        appended.append(text.data(), length);
        EXPECT_EQ(appended.capacity, capacity) << length;
        EXPECT_EQ(bytes(appended), text.substr(0, static_cast<std::size_t>(length)));
    }
}

// Text from inside the string itself must survive the growth of its buffer.
TEST(SoString, TakesItsOwnText) {
    SoString text(std::string(100, 'a').c_str(), -1);
    text << text;
    EXPECT_EQ(bytes(text), std::string(200, 'a'));
    const char* buffer = text.data;
    text.assign("0123456789", -1);
    EXPECT_EQ(text.assign(text.data + 3, 4), buffer);  // what fits keeps the buffer
    EXPECT_EQ(text.capacity, 256);
    const SoString& alias = text;
    text = alias;
    EXPECT_EQ(bytes(text), "3456");
}

TEST(SoString, AppendsWhatTheOperatorsSay) {
    SoString text;
    text << 'c' << "text" << SoString("a\0b", 3) << -1L << 7UL << 2.5 << -1e15 << 42L
         << static_cast<const char*>(nullptr) << "";
    EXPECT_EQ(bytes(text), "ctexta\0b429496729572-100000000000000042"s);
    SoString largest;
    largest << 1.7976931348623157e308;
    EXPECT_EQ(largest.length, 309);
}

TEST(SoString, ShrinksComparesAndMapsBytes) {
    SoString text("\303\204bC", -1);
    EXPECT_EQ(bytes(text.uppercase()), "\303\204BC");
    EXPECT_EQ(bytes(SoString("A\0B", 3).lowercase()), "a\0B"s);
    text.shrink(-1);
    text.shrink(5);
    EXPECT_EQ(text.length, 4);
    text.shrink(2);
    EXPECT_EQ(text.compare("\xC3\x84"), 0);
    EXPECT_GT(text.compare(nullptr), 0);
    EXPECT_FALSE(SoString("a\0b", 3) == SoString("a\0c", 3));
    EXPECT_FALSE(SoString("a", 1) == SoString("ab", 2));
}

// The first and the last code point beyond UTF-16, and the first of two bytes.
TEST(SoString, EncodesEveryLength) {
    const std::pair<unsigned long, std::string> rows[] = {{0x80, "\xC2\x80"},
                                                          {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
                                                          {0x200000, "\xF8\x88\x80\x80\x80"},
                                                          {0x7FFFFFFE, "\xFD\xBF\xBF\xBF\xBF\xBE"},
                                                          {0x7FFFFFFF, "\xEF\xBF\xBD"}};
    for (const auto& [codePoint, encoded] : rows) {
        unsigned char out[6];
        const unsigned long count = EncodeUTF8(codePoint, out);
        EXPECT_EQ(std::string(out, out + count), encoded) << codePoint;
    }
}

TEST(SoString, ReadsUtf16) {
    struct {
        Units units;  // exactly as large as what may be read
        long length;
        std::string text;
    } const rows[] = {
        {{0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00, 0}, -1, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {{0xD800, 0}, -1, "\xED\xA0\x80"},  // a surrogate alone
        {{0xDC00, 0x2E, 0}, -1, "\xED\xB0\x80."},
        {{0x41, 0xD83D, 0xDE00, 0}, 2, "A\xED\xA0\xBD"},  // a pair cut by the length
        {{0x41, 0, 0x20AC, 0}, 3, "A\0\xE2\x82\xAC"s},
        {{0x41, 0}, 0, ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(bytes(SoString(row.units.data(), row.length)), row.text);
    EXPECT_EQ(bytes(SoString(static_cast<const unsigned short*>(nullptr), 5)), "");
}

// Measuring stops at the first zero and writing does not, or the other way round: the buffer has to
// hold both.
TEST(SoString, HasRoomWhereMeasuringAndWritingDisagree) {
    Units units(400, 0x20AC);
    units[1] = 0;
    units.back() = 0;
    EXPECT_EQ(SoString(units.data(), 399).length, 3 + 1 + 397 * 3);

    Units tooMany(70'000, 0x41);
    tooMany.back() = 0;
    const SoString counted(tooMany.data(), -1);
    EXPECT_EQ(counted.length, 65'536);
    EXPECT_GE(counted.capacity, 70'000);
}

TEST(SoString, WritesUtf16) {
    struct {
        const char* name;
        std::string text;
        unsigned long max;
        Units units;
        bool terminated;
    } const rows[] = {
        {"fits but for the terminator", "ab", 2, {'a', 'b'}, false},
        {"no room", "ab", 0, {}, false},
        {"pair counts once", "\xF0\x9F\x98\x80", 2, {0xD83D, 0xDE00, 0}, true},
        {"beyond the largest", "\xF4\x90\x80\x80", 3, {0xFFFD, 0}, true},
        {"five bytes", "\xF8\x88\x80\x80\x80", 9, {0xFFFD, 0}, true},
        {"stray byte fills the output", "a\x80z", 3, {'a', 0xFFFD, 0xFFFD}, false},
        {"continuation not checked", "\xC3\x29", 9, {0x69, 0}, true},
        {"surrogate", "\xED\xA0\x80", 9, {0xD800, 0}, true},
        {"a sum of zero ends it", "\xC0\x80z", 9, {0}, true},
        {"cut off after two bytes", "a\xE2\x82", 9, {'a', 0x2000, 0}, true},
    };
    for (const auto& row : rows) {
        const SoString text(row.text.data(), static_cast<long>(row.text.size()));
        Units out(2 * row.max, 0x7777);
        const auto* end = text.convertToUtf16(out.data(), row.max);
        out.resize(row.units.size());
        EXPECT_EQ(out, row.units) << row.name;
        EXPECT_EQ(end, row.terminated ? &out.back() : nullptr) << row.name;
    }
}

TEST(SoVector, GrowsBy32AndNeverShrinks) {
    SoVector<int> numbers;
    std::vector<int> values(100);
    EXPECT_EQ(numbers.capacity, 32);
    for (auto& value : values)
        numbers.append(&value);
    numbers.append(&values[50]);
    EXPECT_EQ(numbers.removeAt(-1), nullptr);
    EXPECT_EQ(numbers.removeAt(101), nullptr);
    EXPECT_EQ(numbers.removeAt(0), &values[0]);
    numbers.remove(&values[50]);  // the first of two
    numbers.remove(&values[0]);
    EXPECT_EQ(numbers.count, 99);
    EXPECT_EQ(numbers.at(49), &values[51]);
    EXPECT_EQ(numbers.at(98), &values[50]);
    EXPECT_EQ(numbers.capacity, 128);
}

}  // namespace
}  // namespace Vexil
