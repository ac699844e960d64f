#include "shared/endian.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

template <class T>
std::string bytes_of(const T& field) {
    return std::string(reinterpret_cast<const char*>(field.bytes), sizeof field.bytes);
}

template <class T>
T holding(const char* bytes) {
    T value;
    std::memcpy(value.bytes, bytes, sizeof value.bytes);
    return value;
}

}  // namespace

TEST(Endian, BytesAreMostSignificantFirstWithFixedWidths) {
    BE_ushort us;
    BE_24bit b24;
    BE_long bl;
    EXPECT_EQ(bytes_of(us = 0x1234) + bytes_of(b24 = 0x12345678UL) + bytes_of(bl = -1L),
              "\x12\x34"
              "\x34\x56\x78"
              "\xFF\xFF\xFF\xFF");
    EXPECT_EQ(static_cast<unsigned long>(b24), 0x345678UL);  // bits 24-31 were dropped
    EXPECT_EQ(static_cast<long>(bl), -1L);
    EXPECT_EQ(static_cast<short>(holding<BE_short>("\xFF\xFE")), -2);
    EXPECT_EQ(static_cast<unsigned short>(holding<BE_ushort>("\xFF\xFE")), 65534);
    EXPECT_EQ(static_cast<unsigned long>(holding<BE_24bit>("\xFF\xFF\xFF")), 0xFFFFFFUL);
    EXPECT_EQ(static_cast<long>(holding<BE_long>("\x80\0\0\0")), -2147483647L - 1);
    EXPECT_EQ(static_cast<unsigned long>(holding<BE_ulong>("\xDE\xAD\xBE\xEF")), 0xDEADBEEFUL);
    if constexpr (sizeof(long) > 4) {  // four-byte fields keep 32 bits where long is wider
        BE_ulong ul;
        EXPECT_EQ(static_cast<unsigned long>(ul = static_cast<unsigned long>(0x123456789ULL)), 0x23456789UL);
        EXPECT_EQ(static_cast<long>(bl = static_cast<long>(0x1FFFFFFFELL)), -2L);
    }
    PACKED_STRUCT Record {
        BE_short a;
        BE_24bit b;
        BE_ulong c;
    };
    EXPECT_EQ(sizeof(Record), 9u);
    EXPECT_EQ(offsetof(Record, c), 5u);
}
