// Fuzzes writing and reading back. Each input is a document read, with
// abort_on_error clear, into the records of records.hpp; every record it
// commits is written with XML_Write into an Output_stream, and the written
// document, with the descriptors' DTD as its internal subset, is read back.
// It must read without a single error record, give as many records, and each
// must equal the one written, member for member (doubles as the text their
// format writes, since that is what the document holds).
//
// What legitimately cannot come back is set aside knowingly, in Normalise.
#include "fuzz_support.hpp"
#include "records.hpp"

#include <cmath>
#include <cstdint>

using namespace Tessel_fuzz;

namespace {

// Sets the members whose written text cannot bring them back as they are to
// what the written document does bring back, so that only real differences
// remain.
void Normalise(Rec& rec) {
    // note is guarded by .IfNot on an enumeration: it is written only when
    // mode is not off, and reading it never changes mode.
    if (rec.mode == Mode::off) rec.note = 0;
    // Two-digit years show 1969-2068 only, yet a leap second on the last day
    // of 2068 ("68-12-31 23:59:60") reads as 2069-01-01, which writes as 1969.
    static const time_t end_of_2068 = [] {
        std::tm tm = {};
        tm.tm_year = 169;
        tm.tm_mday = 1;
        return timegm(&tm);
    }();
    if (rec.stamp >= end_of_2068) rec.stamp = 0;
    // From 2^53 on the scanner accumulates a double's digits with a rounding
    // at each one, so the exact digits the printer writes need not read back
    // as the same double (and past 30 characters they are not read at all).
    const auto representable = [](double& value) {
        if (!(std::fabs(value) < 0x1p53)) value = 0;
    };
    representable(rec.pos.x);
    for (double& level : rec.levels) representable(level);
    // Text written into a document must be UTF-8; libxml2 hands the parse
    // nothing else, but a string that is not would be written after a warning
    // and not read back.
    const auto utf8 = [](std::string& text) {
        if (!xmlCheckUTF8(reinterpret_cast<const xmlChar*>(text.c_str()))) text.clear();
    };
    for (std::string* text : {&rec.tag, &rec.ident, &rec.label}) utf8(*text);
    for (std::string& note : rec.notes) utf8(note);
    for (Part& part : rec.parts) utf8(part.name);
    if (rec.comment) utf8(*rec.comment);
    if (rec.spare) utf8(rec.spare->name);
    // Strings need nothing more: reading already removed white space at their
    // ends, and what is inside a format's prefix and suffix is kept both ways.
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Isolate();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Memory_file in, out;
    in.Fill(data, size);
    std::vector<Rec> recs;
    {
        Fuzz_input source(in.fd);
        source.abort_on_error = false;  // every record read without an error is kept
        source.Process();
        // A document that is not well-formed is read in libxml2's recovery
        // mode, whose repairs need not be text that can be written back.
        if (source.Malformed()) return 0;
        recs = std::move(source.recs);
    }
    if (recs.empty()) return 0;
    for (Rec& rec : recs) Normalise(rec);

    out.Fill(nullptr, 0);
    {
        Tessel::Output_stream log(out.fd, false, "log", nullptr, nullptr);
        for (const Rec& rec : recs) {
            xmlNodePtr node = Tessel::XML_Write(rec);
            FUZZ_EXPECT(node, "XML_Write gave no element");
            log.Write_node(node);
        }
    }
    // The DTD goes in as the internal subset rather than as a file the
    // declaration names, so that reading back loads nothing from outside.
    std::string written = out.Contents();
    const std::string doctype = "<!DOCTYPE log>";
    const size_t at = written.find(doctype);
    FUZZ_EXPECT(at != std::string::npos, "no document type declaration written:\n%s", written.c_str());
    written.replace(at, doctype.size(), std::string("<!DOCTYPE log [") + rec_dtd + "]>");

    in.Fill(written.data(), written.size());
    Fuzz_input again(in.fd);
    const bool ok = again.Process();
    FUZZ_EXPECT(ok && !again.records,
                "the written document reads back %s with %zu error records, the first \"%s\":\n%s",
                ok ? "true" : "false", again.records, again.first_message.c_str(), written.c_str());
    FUZZ_EXPECT(again.recs.size() == recs.size(), "%zu records written, %zu read back:\n%s", recs.size(),
                again.recs.size(), written.c_str());
    for (size_t i = 0; i < recs.size(); ++i) {
        const std::string difference = Difference(recs[i], again.recs[i], true);
        FUZZ_EXPECT(difference.empty(), "record %zu does not read back as written: %s\n%s", i,
                    difference.c_str(), written.c_str());
    }
    return 0;
}
