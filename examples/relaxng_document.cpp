// Reads a document that has no DOCTYPE and is validated by a RelaxNG schema
// instead, through a hand-written descriptor, and checks the records it read.
//
//   example_relaxng_document [file.xml schema.rng]
//
// Without a DOCTYPE, the outermost element (<log> in
// examples/data/sensor_log.xml) is the first node the reader delivers, and so
// the own node of the instance of `root`: its children are looked up directly
// beneath `root`. The descriptor of <rec> is therefore registered as "/rec",
// not "/log/rec". With a DOCTYPE (or a comment before the outermost element),
// that first node is the DOCTYPE (or the comment), and the descriptors would be
// "/log" and "/log/rec", as in read_document.cpp.
//
// Run without arguments, it reads the sample and exits with 1 unless it read
// exactly the sample's three records without an error record. Given a document
// and a schema, it prints what it read and exits with 1 if the parse failed.
#include <XML/Tessel.hpp>

#include <cstdio>
#include <vector>

using namespace Tessel;

namespace {

struct Rec {
    long id;
    long value;

    bool operator==(const Rec& other) const { return id == other.id && value == other.value; }
};

std::vector<Rec> recs;  // every <rec> read without error, in document order

const Format::format_info decimal("%d");

// One <rec id="n">value</rec> while it is read.
class Rec_instance : public Instance_base {
public:
    Rec_instance(Input_data& input, const Info_base& descriptor) : Instance_base(input), info(descriptor) {}

    bool Attribute(const xmlChar* name, Format::Scanner& value) override {
        if (!xmlStrEqual(name, BAD_CAST "id")) return value.Error("Unknown attribute");
        return value.Scan(rec.id, decimal);
    }
    bool Text(Format::Scanner& text) override { return text.Scan(rec.value, decimal); }
    bool Finalize() override { return true; }
    bool Commit() override {
        recs.push_back(rec);
        return true;
    }
    const xmlChar* Name() const override { return info.Name(); }

private:
    const Info_base& info;
    Rec rec{0, 0};
};

// The descriptor of <rec>: hands out an instance for every occurrence.
class Rec_info : public Info_base {
public:
    using Info_base::Info_base;
    Instance_base* Get_instance(Input_data& input) const override { return new Rec_instance(input, *this); }
};

// <log> is the root instance's own node, so <rec> is registered beneath root.
const Rec_info rec_element("/rec");

// An input file that counts and prints the error records.
class Checked_file : public Input_file {
public:
    using Input_file::Input_file;
    int errors = 0;

    void Error_handler(const Error_info& info) override {
        ++errors;
        std::printf("%s line %ld: %s\n", info.severity_string, info.line, info.msg);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const bool sample = argc < 3;
    const char* name = sample ? EXAMPLES_DIR "/data/sensor_log.xml" : argv[1];
    const char* schema = sample ? EXAMPLES_DIR "/data/sensor_log.rng" : argv[2];

    Checked_file input(name);
    input.Set_RelaxNG(schema);  // before the first read: the schema replaces the DTD
    const bool ok = input.Process();

    for (const Rec& r : recs) std::printf("rec %ld: %ld\n", r.id, r.value);
    std::printf("%s: %s, %zu rec(s), %d error record(s)\n", name, ok ? "read" : "failed", recs.size(),
                input.errors);
    if (!sample) return ok ? 0 : 1;

    const std::vector<Rec> expected = {{1, 5}, {2, -7}, {3, 12}};
    if (ok && input.errors == 0 && recs == expected) return 0;
    std::printf("expected recs 1: 5, 2: -7, 3: 12 and no error record\n");
    return 1;
}
