/// \file
/// Big-endian integer fields for byte-oriented records (wire messages, file headers).
///
/// Example: a packed wire header of 9 bytes, filled and read the same way on any host:
///
/// \code
/// PACKED_STRUCT Header {
///     BE_ushort type;   // bytes 0-1
///     BE_24bit length;  // bytes 2-4
///     BE_long offset;   // bytes 5-8
/// };
///
/// Header h;                      // sizeof(Header) is 9, alignof(Header) 1
/// h.type = 0x0102;               // bytes 01 02
/// h.length = 0x030405;           // bytes 03 04 05
/// h.offset = -2;                 // bytes FF FF FF FE
/// long offset = h.offset;        // -2
/// unsigned short type = h.type;  // 0x0102
/// \endcode
///
/// Each type stores its number as a plain byte array, most significant byte
/// first, so it has alignment 1 and can sit at any offset of a packed record.
/// Assignment from and conversion to the native integer are independent of the
/// host's byte order.
///
/// The four-byte types keep exactly 32-bit semantics whatever the width of
/// long: assignment keeps the low 32 bits, BE_ulong converts to a value below
/// 2^32 and BE_long to a value in [-2^31, 2^31).
///
/// The types live in the global namespace: they describe application records
/// and are meant to be used there as plain field types.
#ifndef ENDIAN_HPP
#define ENDIAN_HPP

/// Begins a structure without padding between or after its members.
#define PACKED_STRUCT struct __attribute__((packed))
/// Begins a union without padding.
#define PACKED_UNION union __attribute__((packed))

// The byte order shared by the two four-byte fields; not part of the interface.
namespace Tessel {
namespace detail {
inline void Store32(unsigned char* bytes, unsigned long x) {
    bytes[0] = static_cast<unsigned char>(x >> 24);
    bytes[1] = static_cast<unsigned char>(x >> 16);
    bytes[2] = static_cast<unsigned char>(x >> 8);
    bytes[3] = static_cast<unsigned char>(x);
}
inline unsigned long Load32(const unsigned char* bytes) {
    return static_cast<unsigned long>(bytes[0]) << 24 | static_cast<unsigned long>(bytes[1]) << 16 |
           static_cast<unsigned long>(bytes[2]) << 8 | bytes[3];
}
}  // namespace detail
}  // namespace Tessel

/// An unsigned 16-bit field, stored big-endian.
struct BE_ushort {
    /// The number, most significant byte first.
    unsigned char bytes[2];

    /// Stores x.
    BE_ushort& operator=(unsigned short x) {
        bytes[0] = static_cast<unsigned char>(x >> 8);
        bytes[1] = static_cast<unsigned char>(x);
        return *this;
    }
    /// The number stored.
    operator unsigned short() const { return static_cast<unsigned short>(bytes[0] << 8 | bytes[1]); }
};

/// An unsigned 32-bit field, stored big-endian.
struct BE_ulong {
    /// The number, most significant byte first.
    unsigned char bytes[4];

    /// Stores the low 32 bits of x.
    BE_ulong& operator=(unsigned long x) {
        Tessel::detail::Store32(bytes, x);
        return *this;
    }
    /// The number stored, below 2^32.
    operator unsigned long() const { return Tessel::detail::Load32(bytes); }
};

/// A signed 16-bit field, stored big-endian in two's complement.
struct BE_short {
    /// The number, most significant byte first.
    unsigned char bytes[2];

    /// Stores x.
    BE_short& operator=(short x) {
        // The conversion to unsigned is the two's complement bit pattern.
        unsigned short u = static_cast<unsigned short>(x);
        bytes[0] = static_cast<unsigned char>(u >> 8);
        bytes[1] = static_cast<unsigned char>(u);
        return *this;
    }
    /// The number stored.
    operator short() const {
        int u = bytes[0] << 8 | bytes[1];
        return static_cast<short>(u >= 0x8000 ? u - 0x10000 : u);
    }
};

/// A signed 32-bit field, stored big-endian in two's complement.
struct BE_long {
    /// The number, most significant byte first.
    unsigned char bytes[4];

    /// Stores the low 32 bits of x.
    BE_long& operator=(long x) {
        Tessel::detail::Store32(bytes, static_cast<unsigned long>(x));
        return *this;
    }
    /// The number stored, in [-2^31, 2^31).
    operator long() const {
        const unsigned long u = Tessel::detail::Load32(bytes);
        // Sign-extend from bit 31 without relying on a 32-bit long.
        return (u & 0x80000000UL) ? -static_cast<long>(0xFFFFFFFFUL - u) - 1 : static_cast<long>(u);
    }
};

/// An unsigned 24-bit field, stored big-endian.
struct BE_24bit {
    /// The number, most significant byte first.
    unsigned char bytes[3];

    /// Stores the low 24 bits of x.
    BE_24bit& operator=(unsigned long x) {
        bytes[0] = static_cast<unsigned char>(x >> 16);
        bytes[1] = static_cast<unsigned char>(x >> 8);
        bytes[2] = static_cast<unsigned char>(x);
        return *this;
    }
    /// The number stored, below 2^24.
    operator unsigned long() const {
        return static_cast<unsigned long>(bytes[0]) << 16 | static_cast<unsigned long>(bytes[1]) << 8 |
               bytes[2];
    }
};

#endif
