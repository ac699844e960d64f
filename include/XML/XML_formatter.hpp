/// \file
/// Value text: format strings, scanner, printer and formatters.
///
/// Example: three values read from one text, then written back:
///
/// \code
/// using namespace Tessel;
/// const Format::format_info hex("v=0x%X;");              // prefix "v=0x", hex digits, suffix ";"
/// const Format::format_info fixed("%.2d");               // decimal, two fraction digits
/// const Formatter<time_t> stamp(Format::YYDDMM_HHMMSS);  // UTC, as "24-02-29 13:05:09"
/// xmlNodePtr node = xmlNewText(BAD_CAST "v=0x1F; 12.34 24-02-29 13:05:09");
/// Format::Scanner scanner(node);                         // holds its own copy of the node's text
/// unsigned int code;
/// double price;
/// time_t when;
/// bool ok = scanner.Scan(code, hex) && scanner.Scan(price, fixed) && stamp.Read(scanner, when);
/// // ok: code 31, price 12.34, when 1709211909; scanner.More() is false
/// Format::Printer printer(0);                            // 100 bytes to start with
/// printer.Print(code, hex).Print(" ").Print(price, fixed).Print(" ");
/// stamp.Write(printer, when);  // (const char*)printer: "v=0x1F; 12.34 24-02-29 13:05:09"
/// xmlFreeNode(node);
/// \endcode
///
/// A format string is digested once into a format_info; the scanner turns text
/// into values and the printer turns values into text under it, and the
/// per-type formatters are built on them.
///
/// Format strings resemble printf's but are the library's own: an optional
/// literal prefix ("%%" is one percent sign), then "%", an optional "0" flag,
/// width digits, "." and precision digits, and one of the letters d (decimal),
/// x (hexadecimal), b (hexadecimal, blocks dumped byte by byte) or s (blocks
/// are text), in either case; everything after the conversion is a literal
/// suffix. Widths are always filled with "0" when printing, and are digit
/// limits when scanning.
///
/// Choices made where the behaviour is otherwise open:
/// - format_info::Dump() of a format_info built from a null string shows its
///   format as (null), without quotes, so that it is told apart from "".
/// - Scanner::Consume() moves the cursor to the end of the text, so that More()
///   is false afterwards.
/// - Scanner::Reset(position) returns the cursor as it was before the call, so
///   that a caller can look ahead and come back.
/// - Scanner(xmlTextReaderPtr) on a CDATA node, for which the reader's string
///   reading gives nothing, takes the node's value instead.
/// - Printer::Reset() empties the text and keeps the buffer.
/// - Printer::Print of a double that is not finite writes "nan", "inf" or
///   "-inf" between the prefix and the suffix, without width fill. The scanner
///   does not read these back ("Bad character").
/// - Formatter(const char*) and Formatter(const xmlChar*) are the stock
///   formatter with that format string; Formatter(const Value_hash<T>&) and
///   Formatter(TIME_MODE) are described at Value_names and Time below. A
///   Formatter<bool> reads and writes the words of Bool_hash by default.
///   Formatters of std::vector, std::array (List) and std::optional
///   (Optional) take the arguments of a formatter of their item type.
/// - Integers: long keeps the limits of 12 decimal and 8 hexadecimal digits
///   whatever its width, and wraps like the narrower types. long long and
///   unsigned long long (Tessel::int64, Tessel::uint64) read every value of
///   their range; a decimal value beyond it, or more than 64 bits, is an
///   error ("Value out of range: ..."), never a wrap. Hexadecimal text gives a
///   long long its bits, so "FFFFFFFFFFFFFFFF" reads as -1, as "%X" writes it.
/// - A std::string takes the whole rest of the text, white space removed at
///   both ends; the format's prefix and suffix must surround it and are taken
///   off ("id-%s" reads " id-42 " as "42"). It is written verbatim between
///   them. Only strings without white space at their ends read back as
///   written.
#ifndef TESSEL_XML_FORMATTER_HPP
#define TESSEL_XML_FORMATTER_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_string.hpp"
#include "XML/XML_value_entry.hpp"
#include "shared/endian.hpp"

#include <array>
#include <cctype>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace Tessel {
namespace Format {

///@{
/// Digit values of characters: true and value set for a digit of the radix,
/// false and value untouched otherwise.
bool hex_to_value(char c, int& value);
bool dec_to_value(char c, int& value);
///@}

/// A format string digested once into the pieces the scanner and the printer
/// use on every value. The format string is borrowed and must outlive this
/// object; the unescaped prefix is owned, so a format_info is not copyable.
///
/// Widths and precisions are capped at max_width: larger numbers in a format
/// string are taken as max_width, for printing and scanning alike, so that no
/// format string can make one value cost more than a few thousand bytes or
/// steps.
struct format_info {
    /// The cap on widths and precisions.
    static constexpr unsigned int max_width = 4096;

    ///@{
    /// The digest of fmt; a null fmt is an empty format (no prefix, no
    /// conversion, no suffix).
    format_info(const char* fmt);
    format_info(const xmlChar* fmt);
    ///@}
    ~format_info();
    format_info(const format_info&) = delete;
    format_info& operator=(const format_info&) = delete;

    /// Digests fmt into the fields below; the constructors call it. A null fmt
    /// changes nothing.
    void Prechew(const char* fmt);
    /// Bytes the printer reserves for the fixed parts of one item.
    size_t Estimate() const { return suffix_len + prefix_len + width; }
    /// Describes the digest on standard error.
    void Dump() const;

    /// The format string; null for a null one.
    const char* format;
    /// The literal prefix, "%%" unescaped; null when there is none.
    const char* prefix;
    /// The length of the prefix.
    size_t prefix_len;
    /// True when the conversion has the "0" flag.
    bool zero_pad;
    /// The width; 0 when none is given.
    unsigned int width;
    /// The precision; 0 when none is given.
    unsigned int prec;
    /// True for hexadecimal conversions (x and b).
    bool hex;
    /// The literal suffix, borrowed from the format string; null when there is none.
    const char* suffix;
    /// The length of the suffix.
    size_t suffix_len;
    /// True when the suffix is white space only.
    bool suffix_is_whitespace;
    /// How blocks are treated: NONE as numbers, BYTE byte by byte (b), CHARS
    /// as text (s).
    enum { NONE = 0, BYTE = 1, CHARS = 2 } dump_size;

    /// "INVALID(%d)": the text of a value that has no name in a value table.
    static const format_info invalid;
};

/// The text of one element or attribute with a cursor. The scanner holds its
/// own copy of the text: a short one in the scanner itself, a longer one
/// allocated. Each Scan reads one value at the cursor and leaves the cursor
/// after what it consumed. A failure
/// returns false, leaves the target untouched and records a message that
/// Error_msg() returns until the next failure. The scanner never reads past the
/// end of its text. It is never copied (a copy would share the text).
class Scanner {
public:
    /// Over a copy of the text of the reader's current node (for a CDATA
    /// node, its value).
    Scanner(xmlTextReaderPtr reader);
    /// Over a copy of the node's content.
    Scanner(xmlNodePtr node);
    /// Over a copy of the attribute's value.
    Scanner(xmlAttrPtr attr);
    /// Over a copy of text (null reads as no text).
    explicit Scanner(const xmlChar* text);
    /// The tag of the borrowing constructor.
    struct Borrow {};
    /// Over text itself, which must stay unchanged while the scanner lives:
    /// the parse engine reads a node's text in place. The scanner copies the
    /// text the first time it needs to write into it (Save, BiteOffString).
    Scanner(const xmlChar* text, Borrow)
        : buff(const_cast<xmlChar*>(text)), ptr(buff), error_msg(nullptr), borrowed(text != nullptr) {}
    /// Inline, like the borrowing constructor: the engine makes a scanner for
    /// every text and attribute.
    ~Scanner() {
        if (!borrowed && buff != small) xmlFree(buff);
        delete[] error_msg;
    }
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    /// The message of the last failure; null before any.
    const char* Error_msg() const { return error_msg; }
    /// Records a printf-style message, cut at strlen(format) + 100 bytes; the
    /// previous message may be one of the arguments. Always returns false.
    bool Error(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Cuts the next word off the text: from the cursor to the next white space,
    /// which is overwritten with NUL and stepped over. Null for an empty word.
    const xmlChar* BiteOffString();

    ///@{
    /// Reads one number at the cursor under fi (see the file's description for
    /// the limits of each type); on failure false, with a message, and value
    /// untouched.
    bool Scan(char& value, const format_info& fi);
    bool Scan(short& value, const format_info& fi);
    bool Scan(int& value, const format_info& fi);
    bool Scan(long& value, const format_info& fi);
    bool Scan(long long& value, const format_info& fi);
    bool Scan(unsigned char& value, const format_info& fi);
    bool Scan(unsigned short& value, const format_info& fi);
    bool Scan(unsigned int& value, const format_info& fi);
    bool Scan(unsigned long& value, const format_info& fi);
    bool Scan(unsigned long long& value, const format_info& fi);
    bool Scan(double& value, const format_info& fi);
    ///@}
    /// The rest of the text, white space removed at both ends and everything
    /// between kept; the format's literal prefix and suffix must surround it
    /// and are not part of the value. Consumes the text, so an element's text
    /// reads as one string.
    bool Scan(std::string& value, const format_info& fi);
    ///@{
    /// Reads the number of a big-endian field at the cursor under fi, as the
    /// native integer of its size.
    bool Scan(BE_ushort& value, const format_info& fi);
    bool Scan(BE_ulong& value, const format_info& fi);
    bool Scan(BE_short& value, const format_info& fi);
    bool Scan(BE_long& value, const format_info& fi);
    bool Scan(BE_24bit& value, const format_info& fi);
    ///@}
    /// Any other type (a structure or array of bytes): with a block treatment
    /// in the format ("%02B", "%s") its storage is read as a block of
    /// sizeof(T) bytes; otherwise its first bytes are read as an unsigned int.
    /// Numbers without an overload above (bool, ...), enumerations, pointers
    /// and types that own memory (containers) are refused at compile time:
    /// copying a number's bytes into them would leave part of the old value,
    /// forge a pointer or corrupt the owner.
    template <class T>
    bool Scan(T& value, const format_info& fi);

    /// Reads "INVALID(n)"; the result is meaningful only when ok is true.
    unsigned int Invalid(bool& ok);
    /// True when non-white text remains at the cursor. Inline for the common
    /// cases, the end of the text or a printable character at the cursor.
    bool More() const {
        if (!ptr || !*ptr) return false;
        return (*ptr > ' ' && *ptr < 0x7F) || More_after_space();
    }
    /// Moves the cursor to the end of the text.
    void Consume();

    ///@{
    /// The text from the cursor on.
    operator const xmlChar*() const { return ptr; }
    operator const char*() const { return reinterpret_cast<const char*>(ptr); }
    ///@}
    /// The cursor, to come back to with Reset; a borrowed text is copied
    /// first, so that the scanner may write into it.
    xmlChar* Save() {
        if (borrowed) Own();
        return ptr;
    }
    /// Makes position (from Save() on this scanner) the cursor; returns the
    /// cursor as it was.
    xmlChar* Reset(xmlChar* position);

private:
    bool More_after_space() const;
    bool Prefix(const format_info& fi);
    bool Suffix(const format_info& fi);
    bool Scan(void* block, size_t size, const format_info& fi);

    /// Digits of an unsigned integer, or of a double's magnitude.
    template <class T>
    bool Read(T& value, const format_info& fi);
    template <class T>
    bool Read_signed(T& value, const format_info& fi);
    template <class T>
    bool Read_unsigned(T& value, const format_info& fi);
    /// Makes buff a copy of text (null for null).
    void Copy(const xmlChar* text);
    /// Replaces borrowed text with a copy, keeping the cursor's place.
    void Own();

    xmlChar* buff;
    xmlChar* ptr;
    char* error_msg;
    /// The copy of a short text, which most element texts and attribute
    /// values are: no allocation for them.
    xmlChar small[48];
    /// True while buff is the caller's text rather than the scanner's copy.
    bool borrowed;
};

template <class T>
bool Scanner::Scan(T& value, const format_info& fi) {
    static_assert(!std::is_arithmetic_v<T> && !std::is_enum_v<T> && !std::is_pointer_v<T> &&
                      std::is_trivially_copyable_v<T>,
                  "no scanner overload for this type: use a type the scanner reads, or a formatter "
                  "with a value table for enumerations");
    if (fi.dump_size != format_info::NONE) return Scan(static_cast<void*>(&value), sizeof(T), fi);
    unsigned int number;
    if (!Scan(number, fi)) return false;
    std::memcpy(static_cast<void*>(&value), &number, sizeof(T) < sizeof number ? sizeof(T) : sizeof number);
    return true;
}

/// A text being built in memory, one formatted value after another. At least
/// one byte stays free after the text so that the terminator always fits. The
/// buffer grows linearly, by what each step asks for plus one byte. Copying a
/// printer shares its buffer; printers are never copied.
class Printer : public xmlString {
public:
    /// A buffer of size bytes, 100 when size is 0.
    explicit Printer(size_t size);

    ///@{
    /// Terminates the text (without counting the NUL) and returns it.
    operator const xmlChar*();
    operator const char*();
    ///@}

    ///@{
    /// Appends value under fi: prefix, the number (zero-filled to the width,
    /// with the precision of fi for a double), suffix. Returns the printer.
    Printer& Print(const char& value, const format_info& fi);
    Printer& Print(const unsigned char& value, const format_info& fi);
    Printer& Print(const short& value, const format_info& fi);
    Printer& Print(const unsigned short& value, const format_info& fi);
    Printer& Print(const int& value, const format_info& fi);
    Printer& Print(const unsigned int& value, const format_info& fi);
    Printer& Print(const long& value, const format_info& fi);
    Printer& Print(const unsigned long& value, const format_info& fi);
    Printer& Print(const long long& value, const format_info& fi);
    Printer& Print(const unsigned long long& value, const format_info& fi);
    Printer& Print(const double& value, const format_info& fi);
    ///@}
    /// The text between the format's prefix and suffix, as it stands.
    Printer& Print(const std::string& value, const format_info& fi);
    ///@{
    /// Appends the number of a big-endian field under fi, as the native
    /// integer of its size.
    Printer& Print(const BE_short& value, const format_info& fi);
    Printer& Print(const BE_long& value, const format_info& fi);
    Printer& Print(const BE_ushort& value, const format_info& fi);
    Printer& Print(const BE_24bit& value, const format_info& fi);
    Printer& Print(const BE_ulong& value, const format_info& fi);
    ///@}
    /// A block of bytes: as text up to its first NUL (at most size - 1 bytes)
    /// under a "%s" format, otherwise each byte with the full format.
    Printer& Print(const void* block, size_t size, const format_info& fi);
    ///@{
    /// The text itself, "<NULL>" for null; the format is not applied.
    Printer& Print(const char* text, const format_info& fi);
    Printer& Print(const char* text);
    Printer& Print(const xmlChar* text);
    ///@}
    /// "INVALID(" + decimal value + ")".
    Printer& Invalid(unsigned long value);

    /// Adds the text to node; text that is not UTF-8 is reported on standard
    /// error and added all the same.
    void Add_content(xmlNodePtr node);
    /// Empties the text, keeping the buffer.
    void Reset();

private:
    size_t Space() const { return Len() - index; }
    xmlChar* Ptr() { return Buf() + index; }
    void Grow(size_t n) __attribute__((cold));
    void String(const char* s, size_t n);
    void Insert(char c) { Buf()[index++] = static_cast<xmlChar>(c); }
    void Insert(xmlChar c) { Buf()[index++] = c; }
    void Intro(const format_info& fi);
    void Reserve(size_t needed, size_t request);

    template <class T>
    Printer& Print_integer(T value, const format_info& fi);
    template <class T>
    void Format_hex(T value, const format_info& fi);
    template <class T>
    void Format_decimal(T value, const format_info& fi);
    template <class T>
    void Format_unsigned(T value, const format_info& fi);
    template <class T>
    void Put_decimal(T magnitude, size_t written, const format_info& fi);
    void Put_zeros(size_t written, const format_info& fi);
    void Put_non_finite(double value);

    /// Value-table formatters look at the end of the text to separate words.
    template <class T>
    friend class Value_names;

    size_t index;
};

// ---- Formatters ----------------------------------------------------------------

/// Converts values of one type to and from text.
template <class T>
class Base {
public:
    Base() {}
    /// Reads value from the text at the scanner's cursor; false, with the
    /// reason left in scanner and value untouched, when the text does not fit.
    virtual bool Read(Scanner& scanner, T& value) const = 0;
    /// Appends value as text to printer.
    virtual void Write(Printer& printer, const T& value) const = 0;
    virtual ~Base() {}
    /// Separates consecutive values written into one text; nothing by default.
    virtual void Space_if_needed(Printer&) const {}
};

/// The stock formatter: a format string applied with Scan and Print. The
/// default format is "%d", and two hex digits per byte for the big-endian
/// field types.
template <class T>
class String : public Base<T> {
public:
    /// The default format of T.
    String();
    ///@{
    /// The format string format, borrowed.
    explicit String(const char* format) : fmt(format) {}
    explicit String(const xmlChar* format) : fmt(format) {}
    ///@}
    bool Read(Scanner& scanner, T& value) const override { return scanner.Scan(value, fmt); }
    void Write(Printer& printer, const T& value) const override { printer.Print(value, fmt); }
    ~String() override {}

    /// The digested format.
    const format_info fmt;
};

template <class T>
String<T>::String() : fmt("%d") {}
template <>
String<BE_ushort>::String();
template <>
String<BE_short>::String();
template <>
String<BE_ulong>::String();
template <>
String<BE_long>::String();
template <>
String<BE_24bit>::String();
/// A string's default format is "%s": no prefix, no suffix.
template <>
String<std::string>::String();

/// A const char* is only written (as the text itself): reading would need
/// storage for the text that outlives the scanner. Reading fails with
/// "Cannot read text into a const char*".
template <>
bool String<const char*>::Read(Scanner& scanner, const char*& value) const;

/// Enumeration-like values written as their names in a value table, one
/// white-space-delimited word each. Consecutive values in one text are
/// separated by a single space. A value without a name is written as
/// "INVALID(n)", with n its value taken as a 32-bit unsigned number, and read
/// back from that form; so every text written reads back to the same value for
/// types of up to 32 bits. A word that is neither a name nor that form is an
/// error: "Unknown name \"word\"".
template <class T>
class Value_names : public Base<T> {
public:
    /// Names from the table values, borrowed.
    explicit Value_names(const Value_hash<T>& values) : values(values) {}

    bool Read(Scanner& scanner, T& value) const override {
        xmlChar* start = scanner.Save();
        while (start && std::isspace(*start)) ++start;
        scanner.Reset(start);
        const xmlChar* word = scanner.BiteOffString();
        if (!word) return scanner.Error("No name found");
        if (values.Lookup(word, value)) return true;
        // The word is NUL-terminated now: "INVALID(n)" must fill all of it.
        xmlChar* after = scanner.Reset(const_cast<xmlChar*>(word));
        bool ok;
        unsigned int number = scanner.Invalid(ok);
        ok = ok && !*scanner.Save();
        scanner.Reset(after);
        if (!ok) return scanner.Error("Unknown name \"%s\"", reinterpret_cast<const char*>(word));
        value = static_cast<T>(number);
        return true;
    }

    void Write(Printer& printer, const T& value) const override {
        Space_if_needed(printer);
        const xmlChar* name = values.Lookup(value);
        if (name)
            printer.Print(name);
        else
            printer.Invalid(static_cast<unsigned int>(value));
    }

    /// One space when the text is not empty and does not end in white space.
    void Space_if_needed(Printer& printer) const override {
        if (printer.index && !std::isspace(printer.Buf()[printer.index - 1])) printer.Print(" ");
    }

private:
    const Value_hash<T>& values;
};

/// Which fields of a time a time formatter shows: bit 5 the year, 4 the month,
/// 3 the day, 2 the hour, 1 the minute, 0 the second.
enum TIME_MODE { HHMM = 6, HHMMSS = 7, YYMMDD = 56, YYDDMM_HHMMSS = 63 };

/// A time_t in UTC as text, with the fields of the mode, each of two digits:
/// the date as YY-MM-DD, the time as HH:MM or HH:MM:SS, date and time separated
/// by one space ("24-02-29 13:05:09" for YYDDMM_HHMMSS). Two-digit years are
/// read as 1969-2068. Reading fills the fields that are not shown from
/// 1970-01-01 00:00:00, so a time-only mode gives the seconds since midnight.
/// Fields out of range (month 13, minute 60, ...) are an error.
///@{
bool Read_time(Scanner& scanner, TIME_MODE mode, time_t& value);
void Write_time(Printer& printer, TIME_MODE mode, time_t value);
///@}

/// A time formatter: a value of T taken as a time_t, read and written by
/// Read_time and Write_time.
template <class T>
class Time : public Base<T> {
public:
    /// Shows the fields of mode.
    explicit Time(TIME_MODE mode) : mode(mode) {}

    bool Read(Scanner& scanner, T& value) const override {
        time_t time;
        if (!Read_time(scanner, mode, time)) return false;
        value = static_cast<T>(time);
        return true;
    }
    void Write(Printer& printer, const T& value) const override {
        Write_time(printer, mode, static_cast<time_t>(value));
    }

private:
    TIME_MODE mode;
};

/// The type a formatter of T converts one at a time: the element type of a
/// list container (std::vector, std::array) or of a std::optional, else T.
template <class T>
struct Item_of {
    /// T itself.
    using type = T;
};
/// The item of a std::vector.
template <class M>
struct Item_of<std::vector<M>> {
    /// The element type.
    using type = M;
};
/// The item of a std::array.
template <class M, size_t N>
struct Item_of<std::array<M, N>> {
    /// The element type.
    using type = M;
};
/// The item of a std::optional.
template <class M>
struct Item_of<std::optional<M>> {
    /// The value type.
    using type = M;
};
/// The type a formatter of T converts one at a time (Item_of).
template <class T>
using item_t = typename Item_of<T>::type;

/// True for the list containers: std::vector and std::array.
template <class T>
constexpr bool is_list = false;
template <class M>
constexpr bool is_list<std::vector<M>> = true;
template <class M, size_t N>
constexpr bool is_list<std::array<M, N>> = true;

/// True for std::optional.
template <class T>
constexpr bool is_optional = false;
template <class M>
constexpr bool is_optional<std::optional<M>> = true;

/// False for an empty std::optional, which has nothing to write.
template <class T>
bool Engaged(const T& value) {
    if constexpr (is_optional<T>)
        return value.has_value();
    else
        return true;
}

/// Values read from the whole text of an element at once (Scanner::Scan of a
/// string, lists), rather than from each text node as it comes.
template <class T>
constexpr bool whole_text = is_list<T>;
template <>
inline constexpr bool whole_text<std::string> = true;
template <class M>
constexpr bool whole_text<std::optional<M>> = whole_text<M>;

/// The implementation a Formatter<T> built from args uses.
template <class T, class... Format_args>
Base<T>* Make(const Format_args&... args);

}  // namespace Format

/// The owning handle on one formatter. Format strings and value tables are
/// borrowed and must outlive the formatter. A formatter owns its
/// implementation and is not copyable.
template <class T>
class Formatter {
public:
    /// The default formatter of T: the default format of String for numbers,
    /// strings and big-endian fields, the words of Bool_hash for bool.
    Formatter() : ptr(Format::Make<T>()) {}
    ///@{
    /// The stock formatter with the format string format.
    Formatter(const char* format) : ptr(Format::Make<T>(format)) {}
    Formatter(const xmlChar* format) : ptr(Format::Make<T>(format)) {}
    ///@}
    /// Values as their names in values (Format::Value_names).
    Formatter(const Value_hash<Format::item_t<T>>& values) : ptr(Format::Make<T>(values)) {}
    /// Times with the fields of mode (Format::Time).
    Formatter(Format::TIME_MODE mode) : ptr(Format::Make<T>(mode)) {}
    ~Formatter() { delete ptr; }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    /// Reads value at the scanner's cursor; false, with the reason left in
    /// scanner and value untouched, when the text does not fit.
    bool Read(Format::Scanner& scanner, T& value) const { return ptr->Read(scanner, value); }
    /// Appends value as text to printer.
    void Write(Format::Printer& printer, const T& value) const { ptr->Write(printer, value); }
    /// Separates the next value from one written before it, if the formatter needs it.
    void Space_if_needed(Format::Printer& printer) const { ptr->Space_if_needed(printer); }

private:
    Format::Base<T>* ptr;
};

namespace Format {

/// A white-space-separated list of items in one text, each item one word
/// read and written by a Formatter of the item type built from the same
/// arguments ("1 0 1 1" for a std::array<int, 4>). Written with one space
/// between items. A std::array must receive exactly its number of items; a
/// failed read leaves the container as it was.
template <class C>
class List : public Base<C> {
    using M = item_t<C>;

public:
    /// Items formatted as a Formatter of the item type built from args.
    template <class... Format_args>
    explicit List(const Format_args&... args) : item(args...) {}

    bool Read(Scanner& scanner, C& value) const override {
        C items{};
        size_t count = 0;
        // Numbers are read where they stand; other items (names, strings)
        // from their word alone, which needs a text the scanner may write.
        xmlChar* p = Skip_space(in_place ? const_cast<xmlChar*>(static_cast<const xmlChar*>(scanner))
                                         : scanner.Save());
        while (p && *p) {
            M* slot = Slot(items, count);
            if (!slot) return scanner.Error("Expected %zu items, found more", count);
            xmlChar* end = p;
            while (*end && !Is_space(*end)) ++end;
            if (!Read_item(scanner, p, end, *slot)) return false;
            ++count;
            p = Skip_space(end);
        }
        scanner.Reset(p);
        if constexpr (!is_vector)
            if (count != items.size())
                return scanner.Error("Expected %zu items, found %zu", items.size(), count);
        value = std::move(items);
        return true;
    }
    void Write(Printer& printer, const C& value) const override {
        bool first = true;
        for (const M& each : value) {
            if (!first) printer.Print(" ");
            item.Write(printer, each);
            first = false;
        }
    }

private:
    /// The white space of XML: space, tab, line feed and carriage return (and
    /// the two other characters isspace takes in the C locale).
    static bool Is_space(xmlChar c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    static xmlChar* Skip_space(xmlChar* p) {
        while (p && Is_space(*p)) ++p;
        return p;
    }
    /// Where item number count goes, or null when the container is full.
    static M* Slot(C& items, size_t count) {
        if constexpr (is_vector) {
            return &items.emplace_back();
        } else {
            return count < items.size() ? &items[count] : nullptr;
        }
    }
    /// Reads the word from word to end (exclusive) into slot. A word that is
    /// not read in place is NUL-terminated during the read and the text
    /// restored afterwards.
    bool Read_item(Scanner& scanner, xmlChar* word, xmlChar* end, M& slot) const {
        scanner.Reset(word);
        if constexpr (in_place) {
            return Filled(scanner, item.Read(scanner, slot), word, end);
        } else {
            const xmlChar saved = *end;
            *end = 0;
            const bool ok = Filled(scanner, item.Read(scanner, slot), word, end);
            *end = saved;
            return ok;
        }
    }
    /// Whether a read succeeded and took the whole word, recording why not.
    static bool Filled(Scanner& scanner, bool read, const xmlChar* word, const xmlChar* end) {
        const int length = static_cast<int>(end - word);
        const char* text = reinterpret_cast<const char*>(word);
        if (!read) return scanner.Error("Bad item \"%.*s\": %s", length, text, scanner.Error_msg());
        const xmlChar* at = scanner;
        if (at == end) return true;
        if (at > end) return scanner.Error("Bad item \"%.*s\": read beyond it", length, text);
        return scanner.Error("Bad item \"%.*s\": \"%.*s\" left over", length, text,
                             static_cast<int>(end - at), reinterpret_cast<const char*>(at));
    }

    static constexpr bool is_vector = std::is_same_v<C, std::vector<M>>;
    static constexpr bool in_place = std::is_arithmetic_v<M> && !std::is_same_v<M, bool>;
    const Formatter<M> item;
};

/// A std::optional: reading engages it with the value read (a failed read
/// leaves it as it was); writing writes nothing when it is empty.
template <class O>
class Optional : public Base<O> {
    using M = item_t<O>;

public:
    /// The value formatted as a Formatter of the value type built from args.
    template <class... Format_args>
    explicit Optional(const Format_args&... args) : item(args...) {}

    bool Read(Scanner& scanner, O& value) const override {
        M read{};
        if (!item.Read(scanner, read)) return false;
        value = std::move(read);
        return true;
    }
    void Write(Printer& printer, const O& value) const override {
        if (value) item.Write(printer, *value);
    }

private:
    const Formatter<M> item;
};

///@{
/// The stock implementations: a format string, a value table or a time mode;
/// bool reads and writes the words of Bool_hash by default.
template <class T>
Base<T>* Make_stock() {
    if constexpr (std::is_same_v<T, bool>)
        return new Value_names<bool>(Bool_hash);
    else
        return new String<T>;
}
template <class T>
Base<T>* Make_stock(const char* format) {
    return new String<T>(format);
}
template <class T>
Base<T>* Make_stock(const xmlChar* format) {
    return new String<T>(format);
}
template <class T>
Base<T>* Make_stock(const Value_hash<T>& values) {
    return new Value_names<T>(values);
}
template <class T>
Base<T>* Make_stock(TIME_MODE mode) {
    return new Time<T>(mode);
}
///@}

template <class T, class... Format_args>
Base<T>* Make(const Format_args&... args) {
    if constexpr (is_list<T>)
        return new List<T>(args...);
    else if constexpr (is_optional<T>)
        return new Optional<T>(args...);
    else
        return Make_stock<T>(args...);
}

}  // namespace Format
}  // namespace Tessel

#endif
