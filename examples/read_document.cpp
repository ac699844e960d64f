// Reads an XML document through registered descriptors and prints every error
// record the library reports.
//
//   example_read_document [file.xml]
//
// The descriptors below accept <inventory> holding <shelf> elements holding
// <box> elements, as in examples/data/inventory.xml. Give it a document with
// some other element (declared in its DTD, so that libxml2 accepts it) and the
// parse stops with a "Bad subelement" record; set abort_on_error to false and
// the element is skipped silently instead.
#include <XML/Tessel.hpp>

#include <cstdio>

using namespace Tessel;

// Descriptors register themselves by path when they are constructed.
static const Info<void> inventory("/inventory");
static const Info<void> shelf("/inventory/shelf");
static const Info<void> box("/inventory/shelf/box");

// An input file that counts and prints the error records instead of the
// default printout.
class Checked_file : public Input_file {
public:
    using Input_file::Input_file;
    int errors = 0;

    void Error_handler(const Error_info& info) override {
        ++errors;
        std::printf("%s line %ld: %s\n", info.severity_string, info.line, info.msg);
    }
};

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : EXAMPLES_DIR "/data/inventory.xml";
    Checked_file input(name);
    const bool ok = input.Process();
    std::printf("%s: %s, %d error record(s)\n", name, ok ? "read" : "failed", input.errors);
    return ok ? 0 : 1;
}
