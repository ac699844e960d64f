// Value text: format string digests, the scanner and the printer.
#include "XML/XML_formatter.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace Tessel {

void xmlString::Deref() {
    if (core && --core->refcount <= 0) delete core;
    core = nullptr;
}

namespace Format {

namespace {

// Digit values of all bytes, 0xFF for bytes that are no hexadecimal digit. A
// lookup instead of comparisons keeps the digit loops free of branches that
// depend on the digits.
struct Digit_table {
    unsigned char value[256];
    constexpr Digit_table() : value() {
        for (int c = 0; c < 256; ++c) value[c] = 0xFF;
        for (int d = 0; d < 10; ++d) value['0' + d] = static_cast<unsigned char>(d);
        for (int d = 0; d < 6; ++d) {
            value['A' + d] = static_cast<unsigned char>(10 + d);
            value['a' + d] = static_cast<unsigned char>(10 + d);
        }
    }
};
constexpr Digit_table digits;

bool digit_value(xmlChar c, unsigned int radix, int& value) {
    unsigned int digit = digits.value[c];
    if (digit >= radix) return false;
    value = static_cast<int>(digit);
    return true;
}

// The two digits of every number below radix^2, in upper case: the digit
// routines produce two digits per division.
template <unsigned int Radix>
struct Digit_pairs {
    char text[2 * Radix * Radix];
    constexpr Digit_pairs() : text() {
        const char digit[] = "0123456789ABCDEF";
        for (unsigned int v = 0; v < Radix * Radix; ++v) {
            text[2 * v] = digit[v / Radix];
            text[2 * v + 1] = digit[v % Radix];
        }
    }
};
template <unsigned int Radix>
constexpr Digit_pairs<Radix> digit_pairs;

// Writes the digits of value so that the last one is just before end, at least
// one digit; returns where the first one is.
template <unsigned int Radix, class T>
__attribute__((always_inline)) inline xmlChar* digits_before(xmlChar* end, T number) {
    using Wide = std::conditional_t<(sizeof(T) < sizeof(unsigned int)), unsigned int, T>;
    constexpr unsigned int square = Radix * Radix;
    const char* pairs = digit_pairs<Radix>.text;
    Wide value = number;
    for (; value >= square; value /= square) {
        end -= 2;
        std::memcpy(end, pairs + 2 * (value % square), 2);
    }
    if (value >= Radix) {
        end -= 2;
        std::memcpy(end, pairs + 2 * value, 2);
    } else {
        *--end = static_cast<xmlChar>(pairs[2 * value + 1]);
    }
    return end;
}

// isspace, without the library call for the common characters.
bool is_space(xmlChar c) {
    if (c == ' ') return true;
    if ((c > ' ' && c < 0x7F) || c == 0) return false;
    return std::isspace(c) != 0;
}

__attribute__((noinline)) xmlChar* skip_any_space(xmlChar* p) {
    while (is_space(*p)) ++p;
    return p;
}

// Steps over white space: blanks inline, anything else that may be white space
// out of line, so that a numeric read makes no call on its common path.
inline xmlChar* skip_space(xmlChar* p) {
    while (*p == ' ') ++p;
    if (__builtin_expect(*p < ' ' || *p >= 0x7F, 0) && *p) p = skip_any_space(p);
    return p;
}

// a + b, or SIZE_MAX when the sum does not fit (the allocation then fails).
size_t add(size_t a, size_t b) { return a > SIZE_MAX - b ? SIZE_MAX : a + b; }

// Reads the decimal digits at p into number, capped at format_info::max_width;
// returns the first character after them.
const char* capped_number(const char* p, unsigned int& number) {
    int digit;
    for (; dec_to_value(*p, digit); ++p) number = std::min(number * 10 + digit, format_info::max_width);
    return p;
}

}  // namespace

bool hex_to_value(char c, int& value) { return digit_value(static_cast<xmlChar>(c), 16, value); }
bool dec_to_value(char c, int& value) { return digit_value(static_cast<xmlChar>(c), 10, value); }

// ---- format_info -------------------------------------------------------------

const format_info format_info::invalid("INVALID(%d)");

format_info::format_info(const char* fmt)
    : format(nullptr),
      prefix(nullptr),
      prefix_len(0),
      zero_pad(false),
      width(0),
      prec(0),
      hex(false),
      suffix(nullptr),
      suffix_len(0),
      suffix_is_whitespace(false),
      dump_size(NONE) {
    Prechew(fmt);
}

format_info::format_info(const xmlChar* fmt) : format_info(reinterpret_cast<const char*>(fmt)) {}

format_info::~format_info() { delete[] prefix; }

void format_info::Prechew(const char* fmt) {
    if (!fmt) return;
    format = fmt;
    const char* p = fmt;

    size_t count = 0;
    for (; *p && !(p[0] == '%' && p[1] != '%'); p += (*p == '%') ? 2 : 1) ++count;
    if (count) {
        char* text = new char[count + 1];
        for (size_t i = 0, j = 0; i < count; ++i, ++j) {
            text[i] = fmt[j];
            if (fmt[j] == '%') ++j;
        }
        text[count] = '\0';
        prefix = text;
        prefix_len = count;
    }

    if (*p == '%') {
        ++p;
        if (*p == '0') {
            zero_pad = true;
            ++p;
        }
        p = capped_number(p, width);
        if (*p == '.') p = capped_number(p + 1, prec);
        switch (*p) {
            case 'B':
            case 'b':
                hex = true;
                dump_size = BYTE;
                ++p;
                break;
            case 'D':
            case 'd': ++p; break;
            case 'S':
            case 's':
                dump_size = CHARS;
                ++p;
                break;
            case 'X':
            case 'x':
                hex = true;
                ++p;
                break;
            default: break;
        }
    }

    if (*p) {
        suffix = p;
        suffix_len = std::strlen(p);
        suffix_is_whitespace = true;
        for (const char* s = p; *s; ++s)
            if (!is_space(static_cast<xmlChar>(*s))) suffix_is_whitespace = false;
    }
}

void format_info::Dump() const {
    fflush(stdout);
    if (format)
        fprintf(stderr, "Format_info(%p) - \"%s\"\n", static_cast<const void*>(this), format);
    else
        fprintf(stderr, "Format_info(%p) - (null)\n", static_cast<const void*>(this));
    fprintf(stderr, " prefix = \"%s\" %d chars\n", prefix ? prefix : "", static_cast<int>(prefix_len));
    if (zero_pad) fprintf(stderr, " zero pad\n");
    fprintf(stderr, " width %d, prec %d\n", static_cast<int>(width), static_cast<int>(prec));
    if (hex) fprintf(stderr, " hex\n");
    fprintf(stderr, " suffix = \"%s\" %d chars\n", suffix ? suffix : "", static_cast<int>(suffix_len));
}

// ---- Scanner -----------------------------------------------------------------

// A text node's or a CDATA node's own text is copied without libxml2 making a
// copy first (its string reading gives nothing for CDATA); the text of other
// nodes is collected by libxml2.
Scanner::Scanner(xmlTextReaderPtr reader) : buff(nullptr), ptr(nullptr), error_msg(nullptr), borrowed(false) {
    const xmlNode* node = xmlTextReaderCurrentNode(reader);
    if (node && (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE))
        Copy(node->content);
    else
        buff = ptr = xmlTextReaderReadString(reader);
}

Scanner::Scanner(xmlNodePtr node)
    : buff(xmlNodeGetContent(node)), ptr(buff), error_msg(nullptr), borrowed(false) {}

// An attribute value of one text node, as most are, is copied directly.
Scanner::Scanner(xmlAttrPtr attr) : buff(nullptr), ptr(nullptr), error_msg(nullptr), borrowed(false) {
    const xmlNode* text = attr ? attr->children : nullptr;
    if (text && !text->next && text->type == XML_TEXT_NODE)
        Copy(text->content);
    else
        buff = ptr = xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(attr));
}

Scanner::Scanner(const xmlChar* text) : buff(nullptr), ptr(nullptr), error_msg(nullptr), borrowed(false) {
    Copy(text);
}

// The text stays borrowed until the copy is made: a copy that cannot be
// allocated leaves nothing for the destructor to free.
void Scanner::Own() {
    const size_t offset = static_cast<size_t>(ptr - buff);
    Copy(buff);
    borrowed = false;
    ptr = buff + offset;
}

void Scanner::Copy(const xmlChar* text) {
    if (!text) return;
    const size_t length = std::strlen(reinterpret_cast<const char*>(text));
    if (length < sizeof small) {
        std::memcpy(small, text, length + 1);
        buff = small;
    } else {
        buff = xmlStrndup(text, static_cast<int>(length));
        if (!buff) throw std::bad_alloc();
    }
    ptr = buff;
}

bool Scanner::Error(const char* format, ...) {
    size_t size = std::strlen(format) + 100;
    char* message = new char[size];
    va_list args;
    va_start(args, format);
    vsnprintf(message, size, format, args);
    va_end(args);
    delete[] error_msg;
    error_msg = message;
    return false;
}

const xmlChar* Scanner::BiteOffString() {
    if (!buff) return nullptr;
    if (borrowed) Own();
    xmlChar* word = ptr;
    while (*ptr && !is_space(*ptr)) ++ptr;
    xmlChar* end = ptr;
    if (*ptr) *ptr++ = '\0';
    return end == word ? nullptr : word;
}

unsigned int Scanner::Invalid(bool& ok) {
    unsigned int value = 0;
    ok = Scan(value, format_info::invalid);
    return value;
}

bool Scanner::More_after_space() const { return *skip_space(ptr); }

void Scanner::Consume() {
    if (ptr) ptr += std::strlen(reinterpret_cast<const char*>(ptr));
}

xmlChar* Scanner::Reset(xmlChar* position) {
    xmlChar* previous = ptr;
    ptr = position;
    return previous;
}

// The steps of a numeric read are inline so that each read compiles into one
// function; they work on a local copy of the cursor, which the compiler can
// keep in a register (the text bytes could otherwise alias it).
inline bool Scanner::Prefix(const format_info& fi) {
    if (!ptr || !*ptr) return Error("No prefix found");
    xmlChar* start = ptr;
    xmlChar* p = skip_space(ptr);
    ptr = p;
    if (!*p) return Error("No prefix found");
    if (!fi.prefix) return true;
    for (const char* want = fi.prefix; *want; ++want, ++p) {
        if (*p != static_cast<xmlChar>(*want)) {
            ptr = p;
            return Error("Prefix mismatch: want \"%s\", had \"%s\"", fi.prefix,
                         reinterpret_cast<const char*>(start));
        }
    }
    ptr = p;
    return true;
}

inline bool Scanner::Suffix(const format_info& fi) {
    if (!fi.suffix) return true;
    if (fi.suffix_is_whitespace) {
        ptr = skip_space(ptr);
        return true;
    }
    xmlChar* start = ptr;
    xmlChar* p = ptr;
    for (size_t i = 0; i < fi.suffix_len; ++i, ++p) {
        if (*p != static_cast<xmlChar>(fi.suffix[i])) {
            ptr = p;
            return Error("suffix mismatch: had \"%s\", want \"%s\"", reinterpret_cast<const char*>(start),
                         fi.suffix);
        }
    }
    ptr = p;
    return true;
}

namespace {

// The most digits a read takes without a width: 2/3, 4/6 and 8/12
// hexadecimal/decimal digits for one-byte, two-byte and wider types, whatever
// the width of long; long long takes every digit of its range (16/20), which
// is checked rather than wrapped.
template <class T>
constexpr unsigned int digit_limit(unsigned int radix) {
    if (sizeof(T) == 1) return radix == 16 ? 2 : 3;
    if (sizeof(T) == 2) return radix == 16 ? 4 : 6;
    if (!std::is_same_v<T, unsigned long long>) return radix == 16 ? 8 : 12;
    return radix == 16 ? 16 : 20;
}

// The largest magnitude a decimal text may give a signed 64-bit value.
constexpr unsigned long long signed_limit(bool negative) {
    return static_cast<unsigned long long>(std::numeric_limits<long long>::max()) + (negative ? 1 : 0);
}

}  // namespace

// Digits of an unsigned integer type, accumulated modulo 2^bits of the type;
// for unsigned long long a value beyond 64 bits is an error instead.
template <class T>
inline bool Scanner::Read(T& value, const format_info& fi) {
    static_assert(std::is_unsigned_v<T>, "integers are accumulated unsigned");
    xmlChar* p = ptr;
    unsigned int radix = fi.hex ? 16 : 10;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        p += 2;
        radix = 16;
    }
    const unsigned int limit = fi.width ? fi.width : digit_limit<T>(radix);
    int digit;
    if (!digit_value(*p, radix, digit)) {
        ptr = *p ? p + 1 : p;
        return *p ? Error("Bad character '%c'", *p) : Error("Empty value");
    }
    T accumulated = 0;
    unsigned int taken = 0;
    do {
        if constexpr (std::is_same_v<T, unsigned long long>) {
            if (__builtin_mul_overflow(accumulated, radix, &accumulated) ||
                __builtin_add_overflow(accumulated, static_cast<unsigned int>(digit), &accumulated)) {
                ptr = p;
                return Error("Value out of range: more than 64 bits");
            }
        } else {
            accumulated = static_cast<T>(accumulated * radix + static_cast<unsigned int>(digit));
        }
        ++p;
        ++taken;
    } while (taken < limit && digit_value(*p, radix, digit));
    ptr = p;
    value = accumulated;
    return true;
}

// Decimal digits of a double: no exponent, no "0x"; the limit counts the
// decimal point.
template <>
bool Scanner::Read<double>(double& value, const format_info& fi) {
    xmlChar* p = ptr;
    unsigned int limit = fi.width ? fi.width : 30;
    int digit;
    if (*p != '.' && !digit_value(*p, 10, digit)) {
        ptr = *p ? p + 1 : p;
        return *p ? Error("Bad character '%c'", *p) : Error("Empty value");
    }
    double accumulated = 0;
    unsigned int taken = 0;
    for (; taken < limit && digit_value(*p, 10, digit); ++p, ++taken) accumulated = accumulated * 10 + digit;
    if (taken < limit && *p == '.') {
        ++p;
        ++taken;
        double scale = 0.1;
        for (; taken < limit && digit_value(*p, 10, digit); ++p, ++taken) {
            accumulated += digit * scale;
            scale *= 0.1;
        }
    }
    ptr = p;
    value = accumulated;
    return true;
}

namespace {

// The magnitude a signed read accumulates, and its negation.
template <class T>
using magnitude_t =
    typename std::conditional_t<std::is_integral_v<T>, std::make_unsigned<T>, std::enable_if<true, T>>::type;

template <class T>
T apply_sign(magnitude_t<T> magnitude, bool negative) {
    if constexpr (std::is_integral_v<T>) {
        // Negated in the unsigned type: wraps instead of overflowing.
        return static_cast<T>(negative ? magnitude_t<T>(0) - magnitude : magnitude);
    } else {
        return negative ? -magnitude : magnitude;
    }
}

}  // namespace

template <class T>
bool Scanner::Read_signed(T& value, const format_info& fi) {
    if (!Prefix(fi)) return false;
    bool negative = false;
    if (*ptr == '+') {
        ++ptr;
    } else if (*ptr == '-') {
        ++ptr;
        negative = true;
    }
    const bool hex = fi.hex || (ptr[0] == '0' && (ptr[1] == 'x' || ptr[1] == 'X'));
    magnitude_t<T> magnitude{};
    if (!Read(magnitude, fi)) return false;
    // Hexadecimal gives the bits of the value, so any 64 bits are in range.
    if constexpr (std::is_same_v<T, long long>)
        if (!hex && magnitude > signed_limit(negative))
            return Error("Value out of range: beyond a signed 64-bit integer");
    if (!Suffix(fi)) return false;
    value = apply_sign<T>(magnitude, negative);
    return true;
}

template <class T>
bool Scanner::Read_unsigned(T& value, const format_info& fi) {
    T number{};
    if (!Prefix(fi) || !Read(number, fi) || !Suffix(fi)) return false;
    value = number;
    return true;
}

bool Scanner::Scan(char& value, const format_info& fi) { return Read_signed(value, fi); }
bool Scanner::Scan(short& value, const format_info& fi) { return Read_signed(value, fi); }
bool Scanner::Scan(int& value, const format_info& fi) { return Read_signed(value, fi); }
bool Scanner::Scan(long& value, const format_info& fi) { return Read_signed(value, fi); }
bool Scanner::Scan(long long& value, const format_info& fi) { return Read_signed(value, fi); }
bool Scanner::Scan(unsigned char& value, const format_info& fi) { return Read_unsigned(value, fi); }
bool Scanner::Scan(unsigned short& value, const format_info& fi) { return Read_unsigned(value, fi); }
bool Scanner::Scan(unsigned int& value, const format_info& fi) { return Read_unsigned(value, fi); }
bool Scanner::Scan(unsigned long& value, const format_info& fi) { return Read_unsigned(value, fi); }
bool Scanner::Scan(unsigned long long& value, const format_info& fi) { return Read_unsigned(value, fi); }
bool Scanner::Scan(double& value, const format_info& fi) { return Read_signed(value, fi); }

bool Scanner::Scan(std::string& value, const format_info& fi) {
    const char* start = ptr ? reinterpret_cast<const char*>(ptr) : "";
    while (is_space(static_cast<xmlChar>(*start))) ++start;
    const char* end = start + std::strlen(start);
    while (end > start && is_space(static_cast<xmlChar>(end[-1]))) --end;
    const size_t length = static_cast<size_t>(end - start);
    if (fi.prefix_len && (fi.prefix_len > length || std::memcmp(start, fi.prefix, fi.prefix_len) != 0))
        return Error("Prefix mismatch: want \"%s\", had \"%s\"", fi.prefix, start);
    start += fi.prefix_len;
    if (fi.suffix && !fi.suffix_is_whitespace) {
        if (fi.suffix_len > static_cast<size_t>(end - start) ||
            std::memcmp(end - fi.suffix_len, fi.suffix, fi.suffix_len) != 0)
            return Error("suffix mismatch: had \"%s\", want \"%s\"", start, fi.suffix);
        end -= fi.suffix_len;
    }
    value.assign(start, end);
    Consume();
    return true;
}

namespace {

// The big-endian fields are read as their native type and assigned only on
// success.
template <class Native, class Field>
bool scan_field(Scanner& scanner, Field& value, const format_info& fi) {
    Native number = 0;
    if (!scanner.Scan(number, fi)) return false;
    value = number;
    return true;
}

}  // namespace

bool Scanner::Scan(BE_ushort& value, const format_info& fi) {
    return scan_field<unsigned short>(*this, value, fi);
}
bool Scanner::Scan(BE_ulong& value, const format_info& fi) {
    return scan_field<unsigned int>(*this, value, fi);
}
bool Scanner::Scan(BE_short& value, const format_info& fi) { return scan_field<short>(*this, value, fi); }
bool Scanner::Scan(BE_long& value, const format_info& fi) { return scan_field<int>(*this, value, fi); }
bool Scanner::Scan(BE_24bit& value, const format_info& fi) {
    return scan_field<unsigned int>(*this, value, fi);
}

bool Scanner::Scan(void* block, size_t size, const format_info& fi) {
    unsigned char* target = static_cast<unsigned char*>(block);
    if (fi.dump_size == format_info::CHARS) {
        if (!size) return true;
        size_t copied = 0;
        for (; ptr && *ptr && copied < size - 1; ++copied) target[copied] = *ptr++;
        target[copied] = '\0';
        return true;
    }
    xmlChar* data = ptr;
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
    for (size_t i = 0; i < size; ++i) {
        xmlChar* item = ptr;
        if (!Scan(bytes[i], fi))
            return Error("Cannot read byte %d of %d: %s:Data \"%s\",Item \"%s\"", static_cast<int>(i),
                         static_cast<int>(size), error_msg, data ? reinterpret_cast<const char*>(data) : "",
                         item ? reinterpret_cast<const char*>(item) : "");
    }
    if (size) std::memcpy(target, bytes.get(), size);
    return true;
}

// ---- Printer -----------------------------------------------------------------

Printer::Printer(size_t size) : xmlString(size ? size : 100), index(0) {}

Printer::operator const xmlChar*() {
    Buf()[index] = '\0';
    return Buf();
}

Printer::operator const char*() { return reinterpret_cast<const char*>(static_cast<const xmlChar*>(*this)); }

void Printer::Grow(size_t n) {
    if (n >= SIZE_MAX - Len()) throw std::bad_alloc();
    Need(Len() + n);
}

// The steps of printing a value are inline so that each Print compiles into
// one function.
inline void Printer::Reserve(size_t needed, size_t request) {
    if (Space() < needed) Grow(request);
}

inline void Printer::String(const char* s, size_t n) {
    if (!n || !s) return;
    if (Space() <= n) Grow(n);
    std::memcpy(Ptr(), s, n);
    index += n;
}

inline void Printer::Intro(const format_info& fi) {
    size_t estimate = fi.Estimate();
    if (Space() <= estimate) Grow(add(estimate, 20));
    String(fi.prefix, fi.prefix_len);
}

// Fills the width with '0' up to written characters.
inline void Printer::Put_zeros(size_t written, const format_info& fi) {
    if (written >= fi.width) return;
    size_t n = fi.width - written;
    std::memset(Ptr(), '0', n);
    index += n;
}

template <class T>
inline void Printer::Format_hex(T value, const format_info& fi) {
    static_assert(std::is_unsigned_v<T>, "hex prints the unsigned bits");
    // The number of hex digits, at least 1.
    unsigned int n = (std::numeric_limits<unsigned long long>::digits + 3 - __builtin_clzll(value | 1u)) / 4;
    size_t total = fi.width > n ? fi.width : n;
    // One more byte than the digits, so that the terminator still fits.
    Reserve(add(total, 1), add(total, 20));
    xmlChar* out = Ptr();
    // A plain loop: the fill is mostly empty, where a library call would cost
    // more than the digits.
    for (xmlChar* zero = out; zero < out + (total - n); ++zero) *zero = '0';
    digits_before<16>(out + total, value);
    index += total;
}

// Digits are produced least significant first in the spare room at the far end
// of the buffer, then copied forward after the zero fill.
template <class T>
inline void Printer::Put_decimal(T magnitude, size_t written, const format_info& fi) {
    xmlChar* end = Buf() + Len();
    xmlChar* first = digits_before<10>(end, magnitude);
    size_t count = static_cast<size_t>(end - first);
    Put_zeros(written + count, fi);
    std::memcpy(Ptr(), first, count);
    index += count;
}

template <class T>
inline void Printer::Format_decimal(T value, const format_info& fi) {
    using U = std::make_unsigned_t<T>;
    Reserve(add(fi.width, 50), add(fi.width, 50));
    U magnitude = static_cast<U>(value);
    if (value < 0) {
        Insert('-');
        magnitude = static_cast<U>(U(0) - magnitude);
    }
    Put_decimal(magnitude, value < 0 ? 1 : 0, fi);
}

template <class T>
inline void Printer::Format_unsigned(T value, const format_info& fi) {
    Reserve(add(fi.width, 50), add(fi.width, 50));
    Put_decimal(value, 0, fi);
}

// Forced inline into every Print overload: a call here would cost about as
// much as the digits of a short number.
template <class T>
__attribute__((always_inline)) inline Printer& Printer::Print_integer(T value, const format_info& fi) {
    Intro(fi);
    if (fi.hex)
        Format_hex(static_cast<std::make_unsigned_t<T>>(value), fi);
    else if constexpr (std::is_signed_v<T>)
        Format_decimal(value, fi);
    else
        Format_unsigned(value, fi);
    String(fi.suffix, fi.suffix_len);
    return *this;
}

Printer& Printer::Print(const char& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const unsigned char& value, const format_info& fi) {
    return Print_integer(value, fi);
}
Printer& Printer::Print(const short& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const unsigned short& value, const format_info& fi) {
    return Print_integer(value, fi);
}
Printer& Printer::Print(const int& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const unsigned int& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const long& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const unsigned long& value, const format_info& fi) {
    return Print_integer(value, fi);
}
Printer& Printer::Print(const long long& value, const format_info& fi) { return Print_integer(value, fi); }
Printer& Printer::Print(const unsigned long long& value, const format_info& fi) {
    return Print_integer(value, fi);
}
Printer& Printer::Print(const std::string& value, const format_info& fi) {
    Intro(fi);
    String(value.data(), value.size());
    String(fi.suffix, fi.suffix_len);
    return *this;
}

void Printer::Put_non_finite(double value) {
    if (std::isnan(value))
        String("nan", 3);
    else if (value < 0)
        String("-inf", 4);
    else
        String("inf", 3);
}

namespace {

// A finite double has at most 309 integer digits.
constexpr size_t integer_digits_max = 320;

// The exact decimal digits of whole, a non-negative integral double, most
// significant first; returns their number.
size_t integer_digits(double whole, char (&out)[integer_digits_max]) {
    if (whole < 0x1p64) {
        xmlChar* end = reinterpret_cast<xmlChar*>(out + integer_digits_max);
        xmlChar* first = digits_before<10>(end, static_cast<unsigned long long>(whole));
        const size_t count = static_cast<size_t>(end - first);
        std::memmove(out, first, count);
        return count;
    }
    return static_cast<size_t>(
        std::to_chars(out, out + integer_digits_max, whole, std::chars_format::fixed, 0).ptr - out);
}

}  // namespace

// Decimal with fi.prec fraction digits, rounded half away from zero.
Printer& Printer::Print(const double& value, const format_info& fi) {
    Intro(fi);
    if (!std::isfinite(value)) {
        Put_non_finite(value);
        String(fi.suffix, fi.suffix_len);
        return *this;
    }
    Reserve(add(fi.width, 50), add(fi.width, 50));
    size_t written = 0;
    double magnitude = value;
    if (value < 0) {
        Insert('-');
        written = 1;
        magnitude = -value;
    }
    // From 2^52 on every double is an integer, and adding the half would round
    // to an even neighbour instead: such values are printed as they are.
    double whole = magnitude;
    double fraction = 0;
    if (magnitude < 0x1p52) {
        double half = 0.5;
        for (unsigned int i = 0; i < fi.prec; ++i) half *= 0.1;
        fraction = std::modf(magnitude + half, &whole);
    }
    char digits[integer_digits_max];
    size_t count = integer_digits(whole, digits);

    size_t decimals = fi.prec ? add(fi.prec, 1) : 0;
    written += count + decimals;
    size_t zeros = fi.width > written ? fi.width - written : 0;
    size_t length = add(add(zeros, count), decimals);
    Reserve(add(length, 1), add(length, 1));
    Put_zeros(written, fi);
    std::memcpy(Ptr(), digits, count);
    index += count;
    if (fi.prec) {
        Insert('.');
        for (unsigned int i = 0; i < fi.prec; ++i) {
            double digit;
            fraction = std::modf(fraction * 10, &digit);
            Insert(static_cast<char>('0' + static_cast<int>(digit)));
        }
    }
    String(fi.suffix, fi.suffix_len);
    return *this;
}

// The big-endian fields print as their native value; the four-byte signed one
// shows its 32 bits in hexadecimal whatever the width of long.
Printer& Printer::Print(const BE_short& value, const format_info& fi) {
    return Print_integer(short(value), fi);
}
Printer& Printer::Print(const BE_long& value, const format_info& fi) {
    long number = value;
    if (fi.hex) return Print_integer(static_cast<unsigned long>(number) & 0xFFFFFFFFUL, fi);
    return Print_integer(number, fi);
}
Printer& Printer::Print(const BE_ushort& value, const format_info& fi) {
    return Print_integer(static_cast<unsigned short>(value), fi);
}
Printer& Printer::Print(const BE_24bit& value, const format_info& fi) {
    return Print_integer(static_cast<unsigned long>(value), fi);
}
Printer& Printer::Print(const BE_ulong& value, const format_info& fi) {
    return Print_integer(static_cast<unsigned long>(value), fi);
}

Printer& Printer::Print(const void* block, size_t size, const format_info& fi) {
    const unsigned char* bytes = static_cast<const unsigned char*>(block);
    if (fi.dump_size == format_info::CHARS) {
        if (!size) return *this;
        const void* nul = std::memchr(bytes, 0, size - 1);
        String(reinterpret_cast<const char*>(bytes),
               nul ? static_cast<size_t>(static_cast<const unsigned char*>(nul) - bytes) : size - 1);
        return *this;
    }
    for (size_t i = 0; i < size; ++i) Print(bytes[i], fi);
    return *this;
}

Printer& Printer::Print(const char* text, const format_info&) { return Print(text ? text : "<NULL>"); }

Printer& Printer::Print(const char* text) {
    if (text) String(text, std::strlen(text));
    return *this;
}

Printer& Printer::Print(const xmlChar* text) { return Print(reinterpret_cast<const char*>(text)); }

Printer& Printer::Invalid(unsigned long value) { return Print(value, format_info::invalid); }

void Printer::Add_content(xmlNodePtr node) {
    const xmlChar* text = *this;
    if (!xmlCheckUTF8(text)) {
        fflush(stdout);
        fprintf(stderr, "content err\n");
    }
    xmlNodeAddContent(node, text);
}

void Printer::Reset() { index = 0; }

}  // namespace Format
}  // namespace Tessel

// ---- Formatters ----------------------------------------------------------------

namespace Tessel {
namespace Format {

// Big-endian fields: two upper-case hex digits per byte.
template <>
String<BE_ushort>::String() : fmt("%04X") {}
template <>
String<BE_short>::String() : fmt("%04X") {}
template <>
String<BE_ulong>::String() : fmt("%08X") {}
template <>
String<BE_long>::String() : fmt("%08X") {}
template <>
String<BE_24bit>::String() : fmt("%06X") {}
template <>
String<std::string>::String() : fmt("%s") {}

template <>
bool String<const char*>::Read(Scanner& scanner, const char*&) const {
    return scanner.Error("Cannot read text into a const char*");
}

template class String<BE_ushort>;
template class String<BE_short>;
template class String<BE_ulong>;
template class String<BE_long>;
template class String<BE_24bit>;
template class String<std::string>;

namespace {

// The fields of a time in the order shown, with their mode bits. Stored
// values are those of struct tm: the year from 1900, the month from 0.
struct Time_field {
    unsigned int bit;
    int std::tm::*member;
    unsigned int low;   // smallest value in the text
    unsigned int high;  // largest value in the text
    bool date;
};

const Time_field time_fields[] = {
    {32, &std::tm::tm_year, 0, 99, true}, {16, &std::tm::tm_mon, 1, 12, true},
    {8, &std::tm::tm_mday, 1, 31, true},  {4, &std::tm::tm_hour, 0, 23, false},
    {2, &std::tm::tm_min, 0, 59, false},  {1, &std::tm::tm_sec, 0, 60, false},
};

const format_info two_digits("%02d");
const format_info date_digits("-%02d");
const format_info time_digits(":%02d");

// The text of a field from its struct tm value, and back.
unsigned int shown(const Time_field& field, const std::tm& tm) {
    int value = tm.*field.member;
    if (field.member == &std::tm::tm_year) return static_cast<unsigned int>((value % 100 + 100) % 100);
    if (field.member == &std::tm::tm_mon) return static_cast<unsigned int>(value + 1);
    return static_cast<unsigned int>(value);
}

int stored(const Time_field& field, unsigned int text) {
    int value = static_cast<int>(text);
    if (field.member == &std::tm::tm_year) return value < 69 ? value + 100 : value;
    if (field.member == &std::tm::tm_mon) return value - 1;
    return value;
}

// The format of a field: its separator from the previous field shown, if any.
// Between the date and the time the separator is white space, which every
// read skips and which is therefore written apart.
const format_info& field_format(const Time_field& field, const Time_field* previous) {
    if (!previous || previous->date != field.date) return two_digits;
    return field.date ? date_digits : time_digits;
}

}  // namespace

bool Read_time(Scanner& scanner, TIME_MODE mode, time_t& value) {
    std::tm tm = {};
    tm.tm_year = 70;
    tm.tm_mday = 1;
    const Time_field* previous = nullptr;
    for (const Time_field& field : time_fields) {
        if (!(mode & field.bit)) continue;
        unsigned int number;
        if (!scanner.Scan(number, field_format(field, previous))) return false;
        if (number < field.low || number > field.high)
            return scanner.Error("Time field out of range: %u", number);
        tm.*field.member = stored(field, number);
        previous = &field;
    }
    value = timegm(&tm);
    return true;
}

void Write_time(Printer& printer, TIME_MODE mode, time_t value) {
    std::tm tm = {};  // left at zero for a time beyond the years of struct tm
    gmtime_r(&value, &tm);
    const Time_field* previous = nullptr;
    for (const Time_field& field : time_fields) {
        if (!(mode & field.bit)) continue;
        if (previous && previous->date != field.date) printer.Print(" ");
        printer.Print(shown(field, tm), field_format(field, previous));
        previous = &field;
    }
}

}  // namespace Format

// The formatters of the library's own error record.
template class Formatter<long>;
template Formatter<const char*>::Formatter();
template Formatter<const char*>::~Formatter();
template bool Formatter<const char*>::Read(Format::Scanner&, const char*&) const;
template void Formatter<const char*>::Write(Format::Printer&, const char* const&) const;
template void Formatter<const char*>::Space_if_needed(Format::Printer&) const;

}  // namespace Tessel
