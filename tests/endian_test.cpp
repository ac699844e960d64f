#include "shared/endian.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

template <class T>
T holding(std::initializer_list<unsigned char> bytes) {
  T value;
  std::memcpy(&value, bytes.begin(), sizeof value);
  return value;
}

template <class T>
bool holds(const T& value, std::initializer_list<unsigned char> bytes) {
  return bytes.size() == sizeof value && std::memcmp(value.bytes, bytes.begin(), sizeof value) == 0;
}

}  // namespace

TEST(Endian, BytesAreMostSignificantFirstWithFixedWidths) {
  BE_ushort us;
  us = 0x1234;
  EXPECT_TRUE(holds(us, {0x12, 0x34}));
  BE_24bit b24;
  b24 = 0x12345678UL;  // bits 24-31 are dropped
  EXPECT_TRUE(holds(b24, {0x34, 0x56, 0x78}));
  EXPECT_EQ(static_cast<unsigned long>(b24), 0x345678UL);
  BE_long bl;
  bl = -1L;
  EXPECT_TRUE(holds(bl, {0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(static_cast<long>(bl), -1L);

  EXPECT_EQ(static_cast<short>(holding<BE_short>({0xFF, 0xFE})), -2);
  EXPECT_EQ(static_cast<unsigned short>(holding<BE_ushort>({0xFF, 0xFE})), 65534);
  EXPECT_EQ(static_cast<unsigned long>(holding<BE_24bit>({0xFF, 0xFF, 0xFF})), 0xFFFFFFUL);
  EXPECT_EQ(static_cast<long>(holding<BE_long>({0x80, 0, 0, 0})), -2147483647L - 1);
  EXPECT_EQ(static_cast<unsigned long>(holding<BE_ulong>({0xDE, 0xAD, 0xBE, 0xEF})), 0xDEADBEEFUL);

  // Four-byte fields keep 32 bits even where long is wider.
  if constexpr (sizeof(long) > 4) {
    BE_ulong ul;
    ul = static_cast<unsigned long>(0x123456789ULL);
    EXPECT_EQ(static_cast<unsigned long>(ul), 0x23456789UL);
    bl = static_cast<long>(0x1FFFFFFFELL);
    EXPECT_EQ(static_cast<long>(bl), -2L);
  }
}

TEST(Endian, PackedRecordsHaveNoGaps) {
  PACKED_STRUCT Record {
    BE_short a;
    BE_24bit b;
    BE_ulong c;
  };
  EXPECT_EQ(sizeof(Record), 9u);
  EXPECT_EQ(offsetof(Record, c), 5u);
  PACKED_UNION Either {
    BE_ulong whole;
    BE_24bit part;
  };
  EXPECT_EQ(sizeof(Either), 4u);
}
