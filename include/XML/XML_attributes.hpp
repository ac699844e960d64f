/// \file
/// Attribute tables: the attributes of an element, by name for reading and in
/// row order for writing.
///
/// Example: a `<rec id="42" kind="hot">` read into a Rec:
///
/// \code
/// enum Kind { cold, hot };
/// struct Rec { long id; Kind kind; };
/// const Tessel::Value_entry<Kind> kind_names[] = {{"cold", cold}, {"hot", hot}};
/// const Tessel::Value_hash<Kind> kinds(kind_names);
///
/// const Tessel::Attrib::Entry<Rec> id_attr(
///     "id", Tessel::Get_Access<Rec, long>(Tessel::Access::GetSet(&Rec::id)));
/// const Tessel::Attrib::Entry<Rec> kind_attr(
///     "kind", Tessel::Get_Access<Rec, Kind>(Tessel::Access::GetSet(&Rec::kind), kinds));
/// const Tessel::Attrib::Attrib_Table<Rec> rec_attr_rows[] = {{id_attr}, {kind_attr}};
/// const Tessel::Attrib::Attrib_Hash<Rec> rec_attrs(rec_attr_rows);
/// // Info<Rec> rec_info("/rec", rec_attrs) then reads id and kind of every <rec>.
/// \endcode
///
/// An entry (Attrib::Entry<T>) names one attribute and holds the accessor that
/// reads it into, and writes it from, the whole item. Rows (Attrib_Table<T>)
/// are aggregates that refer to static entries; Attrib_Hash<T> gathers a row
/// array. Its name-keyed table is filled on first use (safe from several
/// threads at once); writing walks the rows, in row order, all attributes of
/// one element sharing one printer. Entries and rows are borrowed: they are
/// static objects that outlive the table.
///
/// An application may write its own entry classes: a class derived from
/// Table_entry<T> (how to write and register the attribute) and Hash_entry<T>
/// (how to read it), registering itself with Register<T> in its Add.
#ifndef TESSEL_XML_ATTRIBUTES_HPP
#define TESSEL_XML_ATTRIBUTES_HPP

#include "XML/XML_accessor.hpp"
#include "XML/XML_defines.hpp"
#include "XML/XML_formatter.hpp"
#include "XML/XML_hash.hpp"

namespace Tessel {
namespace Attrib {

/// How an attribute is read: what the name-keyed table stores.
template <class T>
class Hash_entry {
public:
    virtual ~Hash_entry() {}
    /// Reads the attribute's value into item; false with the reason left in
    /// scanner.
    virtual bool Read(Format::Scanner& scanner, T& item) const = 0;
};

/// Receives the entries of a table's rows under their attribute names.
template <class T>
class Register {
public:
    /// Stores entry under the attribute name name.
    virtual void Register_entry(const Hash_entry<T>& entry, const xmlChar* name) const = 0;

protected:
    ~Register() {}
};

/// How an attribute is written, and under which name it is read.
template <class T>
class Table_entry {
public:
    virtual ~Table_entry() {}
    /// Prints the attribute's value from item with printer and puts it on node.
    virtual void Log(xmlNode* node, const T& item, Format::Printer& printer) const = 0;
    /// Registers the entry that reads this attribute with reg, under its name.
    virtual void Add(const Register<T>& reg) const = 0;
};

/// One attribute: its name and the accessor that reads and writes it from and
/// to the whole item. The name is borrowed.
template <class T>
class Entry : public Table_entry<T>, public Hash_entry<T> {
public:
    /// The attribute name (UTF-8) and the accessor of its value.
    Entry(const char* name, Accessor<T> value) : name(reinterpret_cast<const xmlChar*>(name)), value(value) {}
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    bool Read(Format::Scanner& scanner, T& item) const override { return value.Read(scanner, item); }
    /// An empty std::optional member writes no attribute.
    void Log(xmlNode* node, const T& item, Format::Printer& printer) const override {
        if (!value.Present(item)) return;
        printer.Reset();
        value.Write(printer, item);
        xmlNewProp(node, name, printer);
    }
    void Add(const Register<T>& reg) const override { reg.Register_entry(*this, name); }

private:
    const xmlChar* name;
    const Accessor<T> value;
};

/// One row of an attribute array: a static entry.
template <class T>
struct Attrib_Table {
    /// The entry, borrowed.
    const Table_entry<T>& entry;

    /// Writes the entry's attribute from item onto node (Table_entry::Log).
    void Log(xmlNode* node, const T& item, Format::Printer& printer) const { entry.Log(node, item, printer); }
    /// Registers the entry with reg (Table_entry::Add).
    void Add(const Register<T>& reg) const { entry.Add(reg); }
};

/// The attribute table of one element type, over a static row array.
template <class T>
class Attrib_Hash {
    /// The name-keyed table, filled from the rows on first use.
    class Entries : public Hash<Hash_entry<T>>, private Register<T> {
    public:
        Entries(const Attrib_Table<T>* rows, size_t count)
            : Hash<Hash_entry<T>>(static_cast<unsigned int>(count)), rows(rows) {}
        void Init() const override {
            Hash<Hash_entry<T>>::Init();
            if (!this->hash) return;
            for (size_t i = 0; i < this->Count(); ++i) rows[i].Add(*this);
        }

    private:
        void Register_entry(const Hash_entry<T>& entry, const xmlChar* name) const override {
            this->Add(entry, name);
        }
        const Attrib_Table<T>* rows;
    };

public:
    /// A table over rows, which are borrowed and must outlive it.
    template <size_t N>
    explicit Attrib_Hash(const Attrib_Table<T> (&rows)[N]) : hash(rows, N), table(rows), count(N) {}
    Attrib_Hash(const Attrib_Hash&) = delete;
    Attrib_Hash& operator=(const Attrib_Hash&) = delete;

    /// Adds every attribute to node, in row order, sharing printer.
    void Log(xmlNode* node, const T& item, Format::Printer& printer) const {
        for (size_t i = 0; i < count; ++i) table[i].Log(node, item, printer);
    }

    /// Looked up by attribute name: hash.Lookup(name).
    const Entries hash;
    /// The rows, in order.
    const Attrib_Table<T>* table;
    /// The number of rows.
    const size_t count;
};

}  // namespace Attrib
}  // namespace Tessel

#endif
