#include "shared/endian.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace {

// The bytes a field stores for value, in hexadecimal, and what it reads back.
template <class T, class V>
std::string stored(V value) {
    T field;
    field = value;
    std::string text;
    char hex[3];
    for (unsigned char byte : field.bytes) text.append(hex, std::snprintf(hex, sizeof hex, "%02X", byte));
    return text + "=" + std::to_string(static_cast<V>(field));
}

}  // namespace

TEST(Endian, BytesAreMostSignificantFirstWithFixedWidths) {
    const std::pair<std::string, std::string> cases[] = {
        {stored<BE_ushort, unsigned>(0xFFFE), "FFFE=65534"},
        {stored<BE_short, int>(-2), "FFFE=-2"},
        {stored<BE_24bit, unsigned long>(0x12345678), "345678=3430008"},  // bits 24-31 are dropped
        {stored<BE_24bit, unsigned long>(0xFFFFFF), "FFFFFF=16777215"},
        {stored<BE_long, long>(-1), "FFFFFFFF=-1"},
        {stored<BE_long, long>(-2147483647L - 1), "80000000=-2147483648"},
        {stored<BE_ulong, unsigned long>(0xDEADBEEF), "DEADBEEF=3735928559"},
        // Four-byte fields keep 32 bits where long is wider.
        {stored<BE_ulong, unsigned long>(static_cast<unsigned long>(0x123456789ULL)), "23456789=591751049"},
        {stored<BE_long, long>(static_cast<long>(0x1FFFFFFFELL)), "FFFFFFFE=-2"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
    PACKED_STRUCT Record {
        BE_short a;
        BE_24bit b;
        BE_ulong c;
    };
    EXPECT_EQ(sizeof(Record), 9u);
    EXPECT_EQ(offsetof(Record, c), 5u);
}
