// Input sources over the streaming reader, and the error records they report.
#include "XML/XML_input_stream.hpp"

#include "XML/XML_stream.hpp"
#include "XML/XML_subelements.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

namespace Tessel {

const char* const severities[5] = {"", "VALIDITY_WARNING", "VALIDITY_ERROR", "WARNING", "ERROR"};

const char* const node_types[18] = {"NONE",
                                    "ELEMENT",
                                    "ATTRIBUTE",
                                    "TEXT",
                                    "CDATA",
                                    "ENTITY_REFERENCE",
                                    "ENTITY",
                                    "PROCESSING_INSTRUCTION",
                                    "COMMENT",
                                    "DOCUMENT",
                                    "DOCUMENT_TYPE",
                                    "DOCUMENT_FRAGMENT",
                                    "NOTATION",
                                    "WHITESPACE",
                                    "SIGNIFICANT_WHITESPACE",
                                    "END_ELEMENT",
                                    "END_ENTITY",
                                    "XML_DECLARATION"};

namespace {

const char unknown[] = "UNKNOWN";

// The entry of a name table, or "UNKNOWN" for a code outside it.
template <size_t N>
const char* Name_of(const char* const (&table)[N], int code) {
    return code >= 0 && static_cast<size_t>(code) < N ? table[code] : unknown;
}

const char* Printable(const char* text) { return text != nullptr ? text : "(null)"; }

struct Free_xml {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

// libxml2 counts lines and columns in an int, which wraps past 2^31: a count
// that has wrapped is shown as the largest an int holds.
long Clamped(int count) { return count < 0 ? INT_MAX : count; }

void Fill(Error_info::Node_info& info, xmlNodePtr node) {
    info.valid = true;
    info.node_line = xmlGetLineNo(node);
    info.node_name = reinterpret_cast<const char*>(node->name);
    info.node_type = node->type;
    info.node_type_string = Name_of(node_types, node->type);
}

void Print_node(const char* prefix, const Error_info::Node_info& info) {
    if (info.valid)
        fprintf(stderr, "%s%s \"%s\" at line %ld\n", prefix, info.node_type_string, Printable(info.node_name),
                info.node_line);
}

}  // namespace

// The public constructors delegate to the one that builds every member while
// the reader is still held by its parameter, then take it over: from then on
// the destructor runs, and frees the reader, if serving or the set-up throws.
Input_data::Input_data(xmlTextReaderPtr adopted) : Input_data(Reader_holder(adopted)) { Init(); }

Input_data::Input_data(int fd, const char* name) : Input_data(Reader_holder()) {
    Open(fd, name);
    Init();
}

Input_data::Input_data(Reader_holder adopted) { reader = adopted.release(); }

namespace {
void Ignore_error(void*, const char*, xmlParserSeverities, xmlTextReaderLocatorPtr) {}
}  // namespace

// libxml2 may still validate (and complain about an unfinished document) while
// the reader is freed. A derived class's handler is gone by then, and the
// record would be half a report: such diagnostics are dropped.
Input_data::~Input_data() {
    if (reader == nullptr) return;
    Stop_serving();
    xmlTextReaderSetErrorHandler(reader, Ignore_error, nullptr);
    xmlFreeTextReader(reader);
}

void Input_data::Init() {
    if (reader == nullptr) {
        error_state = true;
        return;
    }
    Serve();
    Reader_init();
    xmlTextReaderSetErrorHandler(reader, Error_handler_entry, this);
    if (parser != nullptr) parser->sax->getEntity = Get_entity_entry;
}

// The reader set-up; true when a RelaxNG schema was set and accepted.
bool Input_data::Reader_init() {
    xmlTextReaderSetParserProp(reader, XML_PARSER_DEFAULTATTRS, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_VALIDATE, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_SUBST_ENTITIES, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_LOADDTD, 1);
    if (relax_schema == nullptr || xmlTextReaderRelaxNGValidate(reader, relax_schema) != 0) return false;
    xmlTextReaderSetParserProp(reader, XML_PARSER_LOADDTD, 0);
    return true;
}

void Input_data::Set_RelaxNG(const char* schema) {
    relax_schema = schema;
    if (reader == nullptr || xmlTextReaderReadState(reader) != XML_TEXTREADER_MODE_INITIAL) return;
    if (schema == nullptr) xmlTextReaderRelaxNGValidate(reader, nullptr);
    // The schema takes the place of the DTD, which a document may lack.
    if (Reader_init()) xmlTextReaderSetParserProp(reader, XML_PARSER_VALIDATE, 0);
    Rethrow_held();
}

bool Input_data::Expand() {
    if (reader == nullptr) return false;
    if (log_processing) Trace("xmlTextReaderExpand");
    error_state = false;
    const bool expanded = xmlTextReaderExpand(reader) != nullptr;
    Rethrow_held();
    return expanded && !error_state;
}

void Input_data::Trace(const char* call) const {
    fflush(stdout);
    fprintf(stderr, "%s\n", call);
}

bool Input_data::Read_failed(int result) {
    Rethrow_held();
    if (result < 0) malformed = true;
    perror("Reading input XML");
    Error_handler("Read error on input", XML_PARSER_SEVERITY_ERROR, nullptr);
    return false;
}

void Input_data::Error_handler_entry(void* input, const char* msg, xmlParserSeverities severity,
                                     xmlTextReaderLocatorPtr locator) {
    Input_data& source = *static_cast<Input_data*>(input);
    if (source.stopped) return;
    if (severity == XML_PARSER_SEVERITY_ERROR) source.malformed = true;
    try {
        source.Report(msg, severity, locator);
    } catch (...) {
        source.Hold_exception();
    }
}

// An exception must not unwind through libxml2's frames: it is held, the
// parse stopped, and Rethrow_held throws it once libxml2 has returned.
void Input_data::Hold_exception() {
    if (!held) held = std::current_exception();
    error_state = stopped = true;
    if (parser != nullptr) xmlStopParser(parser);
}

void Input_data::Rethrow_held() {
    if (!held) return;
    std::exception_ptr thrown = held;
    held = nullptr;
    std::rethrow_exception(thrown);
}

void Input_data::Error_handler(const char* format, xmlParserSeverities severity,
                               xmlTextReaderLocatorPtr locator, ...) {
    size_t size = strlen(format) + 100;
    std::unique_ptr<char[]> msg(new char[size]);
    va_list args;
    va_start(args, locator);
    vsnprintf(msg.get(), size, format, args);
    va_end(args);
    Report(msg.get(), severity, locator);
}

// The record's position: the locator's line when libxml2 gives one; else the
// current node's line (the parser may be ahead of the node a record is about),
// unless at_parser asks for the parser's own line and column, as for a request
// the parser makes while reading ahead.
void Input_data::Report(const char* msg, xmlParserSeverities severity, xmlTextReaderLocatorPtr locator,
                        bool at_parser) {
    if (severity == XML_PARSER_SEVERITY_ERROR) printf("%s %d: xml error\n", __FILE__, __LINE__);

    Error_info info = {};
    info.node.node_name = info.node.node_type_string = unknown;
    info.parent.node_name = info.parent.node_type_string = unknown;
    info.severity = severity;
    info.severity_string = Name_of(severities, severity);
    info.msg = msg;

    xmlChar* path = nullptr;
    if (xmlNodePtr current = xmlTextReaderCurrentNode(reader)) {
        Fill(info.node, current);
        path = xmlGetNodePath(current);
        info.xpath = reinterpret_cast<const char*>(path);
        info.xpath_valid = true;
        if (current->parent != nullptr) Fill(info.parent, current->parent);
    }

    xmlChar* uri;
    if (locator != nullptr) {
        uri = xmlTextReaderLocatorBaseURI(locator);
        info.line = Clamped(xmlTextReaderLocatorLineNumber(locator));
    } else if (info.node.valid && !at_parser) {
        uri = xmlTextReaderBaseUri(reader);
        info.line = info.node.node_line;
    } else {
        uri = xmlTextReaderBaseUri(reader);
        info.line = Clamped(xmlTextReaderGetParserLineNumber(reader));
        info.col = Clamped(xmlTextReaderGetParserColumnNumber(reader));
    }
    info.uri = reinterpret_cast<const char*>(uri);

    // Freed however the handler returns: an application's handler may throw.
    const std::unique_ptr<xmlChar, Free_xml> held_uri(uri), held_path(path);
    Error_handler(info);
    error_state = true;
}

void Input_data::Error_handler(const Error_info& info) {
    fflush(stdout);
    fprintf(stderr, "XML parser %s\n", info.severity_string);
    fputs(Printable(info.msg), stderr);
    fprintf(stderr, "%s near line %ld col %ld\n", Printable(info.uri), info.line, info.col);
    if (info.xpath_valid) fprintf(stderr, "XPATH of error %s\n", Printable(info.xpath));
    Print_node("", info.node);
    Print_node("Parent ", info.parent);
    if (output) Log_error(info);
}

// The record goes into the output file as an <Error> if the file's filters
// admit the error category.
void Input_data::Log_error(const Error_info& info) {
    xmlNodePtr node = XML_Write(info);
    if (output->filters.Check(error_filter))
        output->Write_node(node);
    else
        xmlFreeNode(node);
}

void Input_data::Structured_error_entry(void* input, xmlErrorPtr error) {
    static_cast<Input_data*>(input)->Structured_error(error);
}

void Input_data::Structured_error(xmlErrorPtr error) {
    fflush(stdout);
    fprintf(
        stderr,
        "struct err: domain %d\ncode %d\nmsg %s\nerr level %d\nfile %s\nline %d\nstr1 %s\nstr2 %s\nstr3 %s\n"
        "int1 %d\nint2 %d\nparser %p\nnode %p\n",
        error->domain, error->code, Printable(error->message), static_cast<int>(error->level),
        Printable(error->file), error->line, Printable(error->str1), Printable(error->str2),
        Printable(error->str3), error->int1, error->int2, error->ctxt, error->node);
}

Input_file_data::Input_file_data(const char* name) {
    static const char prefix[] = "file://localhost/";
    size_t size = strlen(name) + strlen(prefix) + 1;
    uri_buffer = new char[size];
    snprintf(uri_buffer, size, "%s%s", prefix, name);
    fd = open(name, O_RDONLY);
}

Input_file_data::~Input_file_data() {
    close(fd);
    delete[] uri_buffer;
}

}  // namespace Tessel
