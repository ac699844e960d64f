/// \file
/// Input sources and error records.
///
/// Example: a file whose error records are collected rather than printed, read
/// on past errors:
///
/// \code
/// struct Collecting_file : Tessel::Input_file {
///     using Input_file::Input_file;
///     std::vector<std::string> records;
///     void Error_handler(const Tessel::Error_info& info) override {  // info's strings die on return
///         records.push_back(std::string(info.severity_string) + ": " + (info.msg ? info.msg : "(null)"));
///     }
/// };
/// const Tessel::Info<void> log_element("/log"), rec_element("/log/rec");
///
/// // log.xml, on one line: <!DOCTYPE log [<!ELEMENT log (rec*)> <!ELEMENT rec (#PCDATA)>]>
/// //                       <log><rec>x</rec><rec/></log>
/// Collecting_file input("log.xml");
/// input.abort_on_error = false;  // the default, true, makes the first error stop the parse
/// bool ok = input.Process();     // true; the second <rec> is read; records holds one record:
/// // "VALIDITY_ERROR: Bad TEXT/CDATA for rec: \"x\":No text allowed for void:0 items read"
/// \endcode
///
/// An input source (Input_data) wraps one libxml2 streaming reader with what the
/// parse engine needs around it: the reader set-up, the error callback that
/// turns every libxml2 diagnostic into an Error_info record, a one-shot request
/// to skip the current subtree, an error flag polled after every read, the
/// engine's switches abort_on_error and log_processing, and an optional output
/// file for the records. Input_file opens a file by name and reads from it.
///
/// Error records as XML. With an output file associated (Associate_output,
/// XML_stream.hpp), the default handler also writes each record there as an
/// `<Error>` element (its children Severity, Text, Location with URI, Line,
/// Column and, when known, XPath, then Parent_Node and Node with NodeType, Name
/// and Line when there is such a node), provided the file's filters admit
/// error_filter (0x80000000) on some channel. Without an output file no element
/// is built.
///
/// Reader set-up. The reader is created with the options XML_PARSE_RECOVER,
/// XML_PARSE_DTDLOAD, XML_PARSE_DTDVALID, XML_PARSE_NOBLANKS,
/// XML_PARSE_BIG_LINES and XML_PARSE_NONET (reader_options). Without XML_PARSE_BIG_LINES libxml2
/// keeps node lines in 16 bits, so every node and error past line 65535 would
/// be reported at line 65535; with it, records carry the real lines (past 65535
/// libxml2 takes an element's line from its first child, and an empty element's
/// from a neighbouring sibling). The parser properties default attributes,
/// validation, entity substitution and DTD loading are then turned on, in that
/// order, and the error handler is installed.
///
/// Validation. A document is validated against its DTD. A document without a
/// DTD therefore fails at its first read: libxml2 reports the validity error
/// "Validation failed: no DTD found !" at the line of the first element, with no
/// current node, and Next_node returns false (followed by the "Read error on
/// input" record), so such a document is not read at all unless a RelaxNG
/// schema is given.
///
/// RelaxNG. Set_RelaxNG(name) stores the schema's file name and, if the reader
/// has not read anything yet, re-applies the reader set-up, whose last step
/// loads the schema. When libxml2 accepts the schema, the schema replaces the
/// DTD: DTD loading and DTD validation are turned off, so a document without a
/// DTD is read and checked against the schema alone (an internal subset is
/// still parsed, for its entities). A schema that cannot be loaded or parsed is
/// reported by libxml2 through the error handler during the call (Error_state()
/// is then true) and the source keeps validating against the DTD.
/// Set_RelaxNG(nullptr) drops a schema set earlier and restores DTD validation.
/// Call it before the first Next_node: once reading has started it changes
/// nothing in the reader. A document that breaks the schema makes the read that
/// reaches the offending element fail with a VALIDITY_ERROR record whose node
/// is that element (name, line and path); libxml2 gives no locator for these,
/// so the record carries the element's line (the parser's position may be
/// ahead). (libxml2 2.9 routes schema errors to the handler only when the
/// handler is installed before the schema is loaded, as it is here.)
///
/// Expand() reads the current node's whole subtree into memory, so that it can
/// be inspected through xmlTextReaderCurrentNode(). Like Next_node it clears the
/// error state first; it returns true when the subtree is available and no
/// diagnostic arrived while reading it. Next_node afterwards walks into the
/// subtree as usual (or past it after Skip_node). With log_processing set it
/// traces "xmlTextReaderExpand". Without a reader it returns false.
///
/// Error records. Every diagnostic goes through the variadic Error_handler (or
/// Error_handler_entry for libxml2's own, whose already formatted messages are
/// taken as literal text and never cut), which fills an Error_info and passes
/// it to the virtual Error_handler(const Error_info&). The default handler
/// prints the record on standard error; a derived class overrides it to handle
/// records itself. All strings of a record are borrowed and die when the
/// handler returns. The reader frees the nodes it has passed, so a record's
/// path has no position among earlier siblings ("/log/rec", not
/// "/log/rec[2]"). Null strings are printed as "(null)"; node type codes
/// without an entry in node_types (18 and above) and unknown severities are
/// named "UNKNOWN".
///
/// Diagnostics that libxml2 raises while the reader is being freed (a document
/// left unfinished fails its last validity checks then) are dropped: the
/// source's handler can no longer receive them.
///
/// Input sources are used by one thread at a time and are not copied.
///
/// Hostile input. Documents come from outside (equipment, partners, users), and
/// a document can name other resources: an external parsed entity pointing at
/// file:///etc/passwd would hand that file's content to the application (or to
/// an error record), one naming an http:// URL would make the parse reach the
/// network and stall on a server that never answers, and a few kilobytes of
/// entity declarations can expand to gigabytes. Each source therefore reads
/// under an Input_policy (the member policy), safe by default:
/// - The document's own external DTD (the DOCTYPE's system identifier) is
///   loaded from the local file system, as `<!DOCTYPE log SYSTEM "log.dtd">`
///   needs.
/// - Every other external resource (external parsed entities in content or
///   attribute values, parameter entities naming other files) is refused unless
///   policy.allow_external is set or the file lies in one of
///   policy.allowed_directories (after links and ".." are resolved). Each
///   refusal is an ERROR record "External entity refused: " followed by the
///   URI, at the parser's position; it makes the document Malformed(), so the
///   parse ends and returns false.
/// - Nothing is ever fetched from the network (any URI with a scheme other than
///   file:) unless policy.allow_network is set; the reader also runs with
///   XML_PARSE_NONET.
/// - An allowed external entity that cannot be read is the ERROR record
///   "External entity failed to load: " followed by the URI, never dropped in
///   silence (libxml2 itself reports a DTD or parameter entity that fails).
/// - Entity references may add at most policy.expansion_budget bytes (10 MB by
///   default) or policy.expansion_ratio (10) times the bytes of input read so
///   far, whichever is larger. Each reference the document makes to an
///   internal entity, in content, in an attribute value or in an attribute's
///   default, counts the size of the entity's text with every entity it
///   references expanded in turn. Past the budget the parse stops with the
///   ERROR record "Entity expansion budget exceeded: N bytes added to M bytes
///   of input". The text of external entities, which only the policy lets in,
///   is not counted, nor is a default attribute value copied into each element
///   that omits the attribute. libxml2's own limits (entity loops, 10 MB text
///   nodes and attribute values, depth 256) hold as before.
///
/// Set the policy before the first Next_node. One entity loader, installed with
/// xmlSetExternalEntityLoader when the first source is made, serves every
/// source on every thread: it finds the source a request comes from by the
/// request's parser context, and hands requests from parsers that are not
/// Tessel sources (an application's own, or a RelaxNG schema's) to the loader
/// that was installed before it. An application that installs its own loader
/// afterwards has it called for the loads a policy allows; the next source made
/// puts Tessel's loader back in front.
///
/// The expansion budget needs the reader's parser context, which libxml2 does
/// not expose: Input_data(fd, name) learns it by first reading a one-line
/// document whose DTD the loader intercepts, then resetting the reader onto
/// fd. A reader adopted through Input_data(reader) is read under the loading
/// rules but without the expansion budget.
///
/// Allocation failure. std::bad_alloc thrown while libxml2 is calling back into
/// the source (an error handler, the loader) is held, the parse is stopped, and
/// the exception is rethrown from the Next_node, Expand or Set_RelaxNG call
/// that was running, so it never unwinds through libxml2.
#ifndef TESSEL_XML_INPUT_STREAM_HPP
#define TESSEL_XML_INPUT_STREAM_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_filters.hpp"

#include <libxml/parser.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace Tessel {

class Input_data;
class Output_file;

/// The parse engine: reads input to its end through the registered descriptors.
bool Process(Input_data& input);

///@{
/// Names of the severities 0 (none) to 4, and of the node types 0 to 17.
extern const char* const severities[5];
extern const char* const node_types[18];
///@}

/// One diagnostic met while reading.
struct Error_info {
    /// A node the record refers to.
    struct Node_info {
        /// True when there is such a node; the other fields are then filled.
        bool valid;
        /// The node's line in the document.
        long node_line;
        /// The node's name; "UNKNOWN" when there is no node.
        const char* node_name;
        /// The node's libxml2 type code.
        int node_type;
        /// The name of the type code (node_types); "UNKNOWN" when there is no node.
        const char* node_type_string;
    };

    /// libxml2's severity of the diagnostic.
    xmlParserSeverities severity;
    /// The name of the severity (severities).
    const char* severity_string;
    /// The message.
    const char* msg;
    /// The URI of the document.
    const char* uri;
    /// The line the diagnostic was raised at: libxml2's for its own records;
    /// for records without a locator (the library's own and schema errors),
    /// the current node's line, or the parser's line when there is no node.
    /// libxml2 counts in an int: a count that wrapped past 2^31 reads INT_MAX.
    long line;
    /// The parser's column, for a record with neither locator nor current
    /// node; 0 otherwise.
    long col;
    /// The path of the current node, when there is one.
    const char* xpath;
    /// True when xpath is set.
    bool xpath_valid;
    /// The reader's current node.
    Node_info node;
    /// The parent of the current node.
    Node_info parent;
};

/// What an input source may load besides its own bytes, and how much entity
/// expansion may add to them (see the file's description). The defaults are
/// the safe ones.
struct Input_policy {
    /// Reads external entities from anywhere on the local file system.
    bool allow_external = false;
    /// Directories from which external entities may be read when
    /// allow_external is clear.
    std::vector<std::string> allowed_directories;
    /// Lets external resources, the DTD included, come from the network.
    bool allow_network = false;
    /// Bytes entity expansion may add to any input.
    size_t expansion_budget = 10 * 1024 * 1024;
    /// Times the input read so far that entity expansion may add, when that is
    /// more than expansion_budget.
    size_t expansion_ratio = 10;
};

/// An input source: one libxml2 streaming reader and what the parse engine
/// needs around it; see the file's description.
class Input_data {
public:
    /// The options the reader is created with (see the header comment).
    static const int reader_options = XML_PARSE_RECOVER | XML_PARSE_DTDLOAD | XML_PARSE_DTDVALID |
                                      XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES | XML_PARSE_NONET;

    /// Adopts a reader created by the caller; the source frees it. Its loads
    /// follow the policy, but it has no expansion budget.
    explicit Input_data(xmlTextReaderPtr reader);
    /// Reads from fd, which stays open; name becomes the document's URI.
    Input_data(int fd, const char* name);
    Input_data(const Input_data&) = delete;
    Input_data& operator=(const Input_data&) = delete;
    virtual ~Input_data();
    /// Receives every error record; the default prints it on standard error.
    virtual void Error_handler(const Error_info& info);

    /// Sets the output file that receives error records; null stops them.
    void Associate_output(Output_file* file) { output = file; }
    /// Moves to the next node; false at the end of input or on error. Defined
    /// here so that the parse engine's loop runs it without a call.
    bool Next_node() {
        if (log_processing) Trace(skip_flag ? "xmlTextReaderNext" : "xmlTextReaderRead");
        error_state = false;
        const int result = skip_flag ? xmlTextReaderNext(reader) : xmlTextReaderRead(reader);
        skip_flag = false;
        if (result < 0 || error_state) return Read_failed(result);
        return result > 0;
    }
    /// Makes the next Next_node step over the current node's subtree.
    void Skip_node() { skip_flag = true; }
    /// True when a diagnostic arrived during the last Next_node or Expand.
    bool Error_state() const { return error_state; }
    /// True once the document has shown itself not well-formed: libxml2 reported
    /// an error of severity ERROR (truncated or malformed markup, an undefined
    /// entity, an external entity that cannot be loaded) or the reader gave up.
    /// The parse engine then returns false whatever abort_on_error says.
    bool Malformed() const { return malformed; }
    /// The reader.
    operator xmlTextReaderPtr() { return reader; }
    /// Parses the whole input from `root` (Tessel::Process); true unless an
    /// error stopped the parse.
    bool Process() { return Tessel::Process(*this); }

    /// libxml2's error callback, installed on the reader: input is the source.
    /// An error of severity ERROR marks the document malformed.
    static void Error_handler_entry(void* input, const char* msg, xmlParserSeverities severity,
                                    xmlTextReaderLocatorPtr locator);
    /// A libxml2 structured error callback that hands error to the source
    /// input's Structured_error.
    static void Structured_error_entry(void* input, xmlErrorPtr error);
    /// Reports a message built from a printf format; it is cut at the length of
    /// the format plus 99 characters.
    void Error_handler(const char* format, xmlParserSeverities severity, xmlTextReaderLocatorPtr locator,
                       ...);
    /// Dumps every field of a libxml2 structured error on standard error.
    void Structured_error(xmlErrorPtr error);

    /// Reads the current node's whole subtree into memory (see the file's
    /// description); true when it is available and no diagnostic arrived.
    bool Expand();
    /// Validates against the RelaxNG schema in the file schema instead of the
    /// DTD; null restores DTD validation. Call it before the first read (see
    /// the file's description).
    void Set_RelaxNG(const char* schema);

private:
    struct Free_reader {
        void operator()(xmlTextReaderPtr adopted) const { xmlFreeTextReader(adopted); }
    };
    using Reader_holder = std::unique_ptr<xmlTextReader, Free_reader>;
    explicit Input_data(Reader_holder adopted);

    void Init();
    bool Reader_init();
    void Open(int fd, const char* name);
    bool Read_failed(int result);
    void Report(const char* msg, xmlParserSeverities severity, xmlTextReaderLocatorPtr locator,
                bool at_parser = false);
    void Log_error(const Error_info& info);
    void Trace(const char* call) const;
    void Hold_exception();
    void Rethrow_held();

    // The entity policy (defined with the loader).
    static xmlParserInputPtr Entity_loader_entry(const char* url, const char* id, xmlParserCtxtPtr ctxt);
    static xmlEntityPtr Get_entity_entry(void* ctxt, const xmlChar* name);
    static Input_data* Serving(xmlParserCtxtPtr ctxt, xmlExternalEntityLoader* next);
    void Serve();
    void Stop_serving();
    xmlParserInputPtr Load_external(const char* url, const char* id, xmlParserCtxtPtr ctxt,
                                    xmlExternalEntityLoader next);
    bool Is_document_dtd(xmlParserCtxtPtr ctxt);
    bool Allowed_file(const char* url, std::string& path) const;
    bool Within_budget(xmlParserCtxtPtr ctxt, size_t added);
    xmlParserInputPtr Refuse(const char* what, const char* url);

    bool error_state = false;
    bool skip_flag = false;
    const char* relax_schema = nullptr;
    bool malformed = false;
    // The reader's parser context, when this source made the reader.
    xmlParserCtxtPtr parser = nullptr;
    bool dtd_loaded = false;
    size_t expansion = 0;
    // Set when the source stopped the parser; libxml2's complaints about the
    // cut-off markup that follow are dropped.
    bool stopped = false;
    std::exception_ptr held;

public:
    /// The reader, freed with the source; null if it could not be created.
    xmlTextReaderPtr reader = nullptr;
    /// The source's own channel filters: 4 channels, all 0 to start with,
    /// linked into the chain like every list.
    FilterList filters{4};
    /// The output file that receives error records, or null (Associate_output).
    Output_file* output = nullptr;
    /// When set (the default), the first element-level error stops the parse;
    /// when clear, only the element in which it occurred is not finalized.
    bool abort_on_error = true;
    /// When set, every reader call and every node read is traced on standard
    /// error; clear by default.
    bool log_processing = false;
    /// 0 when the source is built; the library does not use it.
    int depth = 0;
    /// What the source may load and expand (see the file's description); set
    /// it before the first Next_node.
    Input_policy policy;
};

/// The descriptor and URI of an Input_file, built before its Input_data part.
class Input_file_data {
    friend class Input_file;

    explicit Input_file_data(const char* name);
    Input_file_data(const Input_file_data&) = delete;
    Input_file_data& operator=(const Input_file_data&) = delete;
    ~Input_file_data();

    int fd;
    char* uri_buffer;
};

/// Reads the named file; errors carry the URI "file://localhost/" + name.
class Input_file : private Input_file_data, public Input_data {
public:
    /// Opens the file name for reading.
    explicit Input_file(const char* name) : Input_file_data(name), Input_data(fd, uri_buffer) {}
    ~Input_file() override {}
};

}  // namespace Tessel

#endif
