/// \file
/// Name/value tables for enumeration-like values, and the library's own tables.
///
/// Example: names for an enumeration, looked up both ways and used by a
/// formatter:
///
/// \code
/// enum Colour : int { red, green, blue };
/// const Tessel::Value_entry<Colour> colour_rows[] = {
///     {"red", red}, {"green", green}, {"verde", green}, {"blue", blue}};
/// const Tessel::Value_hash<Colour> colours(colour_rows);
///
/// Colour c = red;
/// bool found = colours.Lookup(BAD_CAST "verde", c);  // true: c is green ("pink": false, c kept)
/// const xmlChar* name = colours.Lookup(green);       // "green", the first row with that value
/// const Tessel::Formatter<Colour> words(colours);    // values as their names
/// Tessel::Format::Printer text(0);
/// words.Write(text, blue);
/// words.Write(text, Colour(7));  // (const char*)text: "blue INVALID(7)"; words.Read reads both back
/// bool b = false;
/// found = Tessel::Bool_hash.Lookup(BAD_CAST "good", b);  // true: b is true
/// \endcode
///
/// The library's own static tables (defined in the registry's source, in this
/// order):
/// - bool_values / Bool_hash: "true", "good", "1" -> true;
///   "false", "bad", "0" -> false
/// - XML_attr_table / XML_attr_hash: names of attributes the parse engine
///   skips without reading ("xmlns")
#ifndef TESSEL_XML_VALUE_ENTRY_HPP
#define TESSEL_XML_VALUE_ENTRY_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_hash.hpp"

namespace Tessel {

/// One row of a value table.
template <class T>
struct Value_entry {
    /// The name, UTF-8.
    const char* name;
    /// The value the name stands for.
    T value;

    /// The key of the row in the table: its name.
    const char* Name() const { return name; }
};

/// A value table over a static array of rows; the libxml2 table behind it is
/// created on the first lookup by name.
template <class T>
class Value_hash {
public:
    /// A table over rows, which are borrowed and must outlive it.
    template <size_t N>
    explicit Value_hash(const Value_entry<T> (&rows)[N]) : hash(rows) {}
    Value_hash(const Value_hash&) = delete;
    Value_hash& operator=(const Value_hash&) = delete;

    /// Creates and fills the table now rather than at the first lookup.
    void Init_if_needed() const { hash.Init_if_needed(); }

    /// Stores the value of the row named name and returns true; returns false
    /// and leaves value untouched when no row has that name.
    bool Lookup(const xmlChar* name, T& value) const {
        const Value_entry<T>* row = hash.Lookup(name);
        if (!row) return false;
        value = row->value;
        return true;
    }

    /// The name of the first row, in array order, whose value equals value,
    /// or null. Array order makes the canonical name of a value the one
    /// written first (for bool_values: "true" and "false").
    const xmlChar* Lookup(T value) const {
        for (unsigned int i = 0; i < hash.Count(); ++i)
            if (hash[i]->value == value) return reinterpret_cast<const xmlChar*>(hash[i]->name);
        return nullptr;
    }

private:
    const Hash_table<Value_entry<T>> hash;
};

/// One row of a table of attribute names.
struct XML_attr {
    /// The attribute's name, UTF-8.
    const char* name;

    /// The key of the row in the table: its name.
    const char* Name() const { return name; }
};

/// The words of a bool: "true", "good", "1" -> true; "false", "bad", "0" -> false.
extern const Value_entry<bool> bool_values[6];
/// The value table over bool_values, the default of a Formatter<bool>.
extern const Value_hash<bool> Bool_hash;
/// Names of attributes the parse engine skips without reading ("xmlns").
extern const XML_attr XML_attr_table[1];
/// The table over XML_attr_table.
extern const Hash_table<XML_attr> XML_attr_hash;

}  // namespace Tessel

#endif
