// Helpers shared by the suites: input sources that keep their error records as
// text, readers and parses of documents in memory, document prologs, temporary
// files, captured output, and nodes as text. The suites include it for
// GoogleTest and the standard strings, vectors, streams and smart pointers too.
#pragma once

#include "XML/XML_input_stream.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Tessel_test {

inline std::string Copy(const void* text) { return text ? static_cast<const char*>(text) : "(null)"; }

template <class Source>
struct Recording : Source {
    using Source::Source;
    using Tessel::Input_data::Error_handler;
    // Keeps every message, and every record as "SEVERITY message|URI line|XPath|
    // node name@line parent line|text of the reader's current node"; with
    // pass_on set, the source's own handler gets the record too.
    void Error_handler(const Tessel::Error_info& r) override {
        xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(*this));
        const std::string node = r.node.valid
                                     ? Copy(r.node.node_name) + "@" + std::to_string(r.node.node_line) + " " +
                                           std::to_string(r.parent.node_line)
                                     : "-";
        records.push_back(std::string(r.severity_string) + " " + Copy(r.msg) + "|" + Copy(r.uri) + " " +
                          std::to_string(r.line) + "|" + Copy(r.xpath) + "|" + node + "|" + Copy(text));
        messages += Copy(r.msg) + "|";
        xmlFree(text);
        if (pass_on) Source::Error_handler(r);
    }
    // Reads until Next_node fails; returns the number of nodes read.
    long Read_all() {
        long nodes = 0;
        while (this->Next_node()) ++nodes;
        return nodes;
    }
    std::vector<std::string> records;
    std::string messages;
    bool pass_on = false;
};

// A reader, with the library's options, of a document held in memory (which
// must outlive it).
inline xmlTextReaderPtr Reader_for(const std::string& document, const char* uri = "memory.xml") {
    return xmlReaderForDoc(BAD_CAST document.c_str(), uri, nullptr, Tessel::Input_data::reader_options);
}

// Processes a document held in memory, with abort_on_error and the trace
// (log_processing) as given: "ok " or "failed ", then the messages.
inline std::string Processed(const std::string& document, bool abort_on_error = true, bool trace = false) {
    Recording<Tessel::Input_data> input(Reader_for(document));
    input.abort_on_error = abort_on_error;
    input.log_processing = trace;
    return (input.Process() ? "ok " : "failed ") + input.messages;
}

// A file in the test's temporary directory, and its contents.
inline std::string Path(const char* name) { return testing::TempDir() + name; }
inline std::string Contents(const char* name) {
    std::ifstream file(Path(name));
    return {std::istreambuf_iterator<char>(file), {}};
}

// n copies of s.
inline std::string Repeated(const std::string& s, int n) { return n > 0 ? s + Repeated(s, n - 1) : ""; }

// A document type in which every element, the root (the first of the names)
// and the rest, may hold anything, with the further declarations given; then
// the root's start tag.
inline std::string Prolog(const std::string& names, const std::string& more = "") {
    std::istringstream in(names);
    std::string root, name, elements;
    for (in >> root, name = root; in; in >> name) elements += "<!ELEMENT " + name + " ANY>";
    return "<!DOCTYPE " + root + " [" + elements + more + "]><" + root + ">";
}

// What f writes on standard output and on standard error.
template <class F>
std::pair<std::string, std::string> Output_of(F&& f) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    f();
    return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

// A node (and its subtree) as unindented text; the node is freed, also when
// making the text throws.
inline std::string Dump(xmlNodePtr node) {
    const std::unique_ptr<xmlNode, void (*)(xmlNodePtr)> held(node, xmlFreeNode);
    const std::unique_ptr<xmlBuffer, void (*)(xmlBufferPtr)> buffer(xmlBufferCreate(), xmlBufferFree);
    xmlNodeDump(buffer.get(), nullptr, node, 0, 0);
    return Copy(xmlBufferContent(buffer.get()));
}

}  // namespace Tessel_test
