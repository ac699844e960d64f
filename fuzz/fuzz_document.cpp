// Fuzzes the parse of whole documents into the records of records.hpp. Each
// input is a document (its DTD is its own internal subset) read twice through
// Input_data over a memory file: once with abort_on_error set, once clear.
// Checked against XML_instance.hpp and XML_input_stream.hpp:
// - a document libxml2 found malformed never gives Process() true;
// - Process() false comes with at least one error record;
// - with abort_on_error set, Process() true means every error record was a
//   rejected attribute (the only error that does not stop the parse);
// - both passes read the same text the same way up to the first error, where
//   the first stops: the records it committed are the first ones the second
//   committed, member for member;
// - every error record's fields are consistent (Fuzz_input::Error_handler).
#include "fuzz_support.hpp"
#include "records.hpp"

#include <cstdint>

using namespace Tessel_fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Isolate();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Memory_file file;
    file.Fill(data, size);
    Fuzz_input strict(file.fd);
    const bool strict_ok = strict.Process();
    FUZZ_EXPECT(file.Rewind(), "cannot rewind the memory file");
    Fuzz_input lenient(file.fd);
    lenient.abort_on_error = false;
    const bool lenient_ok = lenient.Process();

    for (const Fuzz_input* input : {&strict, &lenient}) {
        const bool ok = input == &strict ? strict_ok : lenient_ok;
        const char* pass = input == &strict ? "abort_on_error set" : "abort_on_error clear";
        FUZZ_EXPECT(!ok || !input->Malformed(), "%s: Process() is true for a malformed document", pass);
        FUZZ_EXPECT(ok || input->records, "%s: Process() is false without an error record", pass);
    }
    FUZZ_EXPECT(!strict_ok || !strict.element_records,
                "abort_on_error set: Process() is true after %zu error records, the first \"%s\"",
                strict.element_records, strict.first_message.c_str());
    FUZZ_EXPECT(strict.recs.size() <= lenient.recs.size(),
                "abort_on_error set commits %zu records, clear only %zu", strict.recs.size(),
                lenient.recs.size());
    for (size_t i = 0; i < strict.recs.size(); ++i) {
        const std::string difference = Difference(strict.recs[i], lenient.recs[i], false);
        FUZZ_EXPECT(difference.empty(), "record %zu differs with abort_on_error set and clear: %s", i,
                    difference.c_str());
    }
    return 0;
}
