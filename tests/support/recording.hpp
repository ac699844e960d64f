// Helpers shared by the input and parser tests: an input source that keeps
// copies of its error records, and temporary documents.
#ifndef TESSEL_TEST_SUPPORT_RECORDING_HPP
#define TESSEL_TEST_SUPPORT_RECORDING_HPP

#include "XML/XML_input_stream.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace Tessel_test {

inline std::string Copy(const char* text) { return text ? text : "(null)"; }

// An error record copied out of the handler, with the current node's text.
struct Record {
    Record(const Tessel::Error_info& r, xmlTextReaderPtr reader)
        : severity(r.severity_string),
          msg(Copy(r.msg)),
          uri(Copy(r.uri)),
          xpath(Copy(r.xpath)),
          name(Copy(r.node.node_name)),
          line(r.line),
          col(r.col),
          node_valid(r.node.valid),
          node_line(r.node.node_line),
          parent_line(r.parent.node_line) {
        xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(reader));
        content = Copy(reinterpret_cast<const char*>(text));
        xmlFree(text);
    }
    std::string severity, msg, uri, xpath, name, content;
    long line, col;
    bool node_valid;
    long node_line, parent_line;
};

template <class Source>
struct Recording : Source {
    using Source::Source;
    using Tessel::Input_data::Error_handler;
    void Error_handler(const Tessel::Error_info& info) override { records.emplace_back(info, *this); }

    // Reads until Next_node fails; returns the number of nodes read.
    long Read_all() {
        long nodes = 0;
        while (this->Next_node()) ++nodes;
        return nodes;
    }
    std::vector<std::string> Messages() const {
        std::vector<std::string> messages;
        for (const Record& record : records) messages.push_back(record.msg);
        return messages;
    }
    std::vector<Record> records;
};

// A temporary file holding text, open for reading at its start, removed
// with the object.
struct Temp_document {
    explicit Temp_document(const std::string& text) {
        char name[] = "/tmp/tessel_test_XXXXXX";
        fd = mkstemp(name);
        path = name;
        if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) abort();
        lseek(fd, 0, SEEK_SET);
    }
    ~Temp_document() {
        close(fd);
        unlink(path.c_str());
    }
    int fd;
    std::string path;
};

}  // namespace Tessel_test

#endif
