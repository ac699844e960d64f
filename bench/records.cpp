// Records read into a typed structure through the library's descriptors (an
// Info<Rec> with a binding table, an attribute table and a nested Info<Pos>,
// from records.hpp), against a hand-written binding of the same structure on
// a bare loop of xmlTextReaderRead, with the same reader options and parser
// properties, over the same file. Documents of about 10 MB and 100 MB, with an
// internal DTD that gives <rec> a default kind, are generated into temporary
// files when first needed and removed at exit. The generator folds every
// record it writes into a checksum; each side folds every record it reads the
// same way, and a run whose checksum, record count or error count differs is
// reported as an error.
//
// Wall time of both sides in one run, at 10 MB (records per second are
// items_per_second):
//     build/bench/bench_records --benchmark_filter='/10$'
// Instructions per record, one side per process (each command on one line);
// only the reading function is counted, not the generation of the document:
//     valgrind --tool=callgrind --toggle-collect='*Read_typed*' --callgrind-out-file=typed.out
//         build/bench/bench_records --benchmark_filter='Typed/10$' --benchmark_min_time=0.001
//     valgrind --tool=callgrind --toggle-collect='*Read_by_hand*' --callgrind-out-file=hand.out
//         build/bench/bench_records --benchmark_filter='By_hand/10$' --benchmark_min_time=0.001
//     callgrind_annotate --inclusive=yes typed.out | head -40
// then divide the total by the calls of Read_typed (or Read_by_hand) times the
// records counter. The breakdown of the typed side is in the same output.
// Peak memory, one size per process (peak_rss_MB, or /usr/bin/time -v):
//     build/bench/bench_records --benchmark_filter='Typed/10$'
//     build/bench/bench_records --benchmark_filter='Typed/100$'
#include "records.hpp"

#include "XML/Tessel.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

using namespace Tessel;
using namespace bench;

namespace {

// What a side has read: the number of records and the sum of their folds.
struct Tally {
    long records = 0;
    std::uint64_t sum = 0;

    // Every field goes in, in order; the value as whole hundredths, which
    // both ways of reading a two-digit fraction round to the same integer.
    void Add(const Rec& r) {
        const std::uint64_t fields[] = {std::uint64_t(r.id),
                                        std::uint64_t(r.kind),
                                        std::uint64_t(r.seq),
                                        r.addr,
                                        r.mask,
                                        std::uint64_t(std::llround(r.value * 100)),
                                        std::uint64_t(r.pos.x),
                                        std::uint64_t(r.pos.y)};
        std::uint64_t fold = 0xCBF29CE484222325u;
        for (std::uint64_t field : fields) fold = (fold ^ field) * 0x100000001B3u;
        sum += fold;
        ++records;
    }
    bool operator==(const Tally& other) const { return records == other.records && sum == other.sum; }
};

// ---- The typed side --------------------------------------------------------

// The input of the typed side: counts error records instead of printing them,
// and holds the tally that Rec_info::Commit adds to.
struct Record_file : Input_file {
    using Input_data::Error_handler;
    using Input_file::Input_file;
    void Error_handler(const Error_info&) override { ++errors; }

    long errors = 0;
    Tally tally;
};

// Each <rec> is read into a scratch Rec that dies after Commit: copy it out.
struct Rec_info : Info<Rec> {
    using Info<Rec>::Info;
    bool Commit(Rec& rec, Input_data& input) const override {
        static_cast<Record_file&>(input).tally.Add(rec);
        return true;
    }
};

// With a DOCTYPE, <log> is looked up beneath root.
const Info<void> log_info("/log");
const Rec_info rec_info("/log/rec", rec_rows, rec_attrs);

__attribute__((noinline)) bool Read_typed(const std::string& path, Tally& tally, long& errors) {
    Record_file input(path.c_str());
    const bool ok = input.Process();
    tally = input.tally;
    errors = input.errors;
    return ok;
}

// ---- The hand-written side -------------------------------------------------

enum class Field { none, rec, seq, addr, mask, value, x, y };

// The field an element's text goes to; the elements without text give none.
Field Field_of(const char* name) {
    switch (name[0]) {
        case 'r': return std::strcmp(name, "rec") == 0 ? Field::rec : Field::none;
        case 's': return std::strcmp(name, "seq") == 0 ? Field::seq : Field::none;
        case 'a': return std::strcmp(name, "addr") == 0 ? Field::addr : Field::none;
        case 'm': return std::strcmp(name, "mask") == 0 ? Field::mask : Field::none;
        case 'v': return std::strcmp(name, "value") == 0 ? Field::value : Field::none;
        case 'x': return name[1] == 0 ? Field::x : Field::none;
        case 'y': return name[1] == 0 ? Field::y : Field::none;
        default: return Field::none;
    }
}

// The whole of [text, end) as one number of the given base.
template <class T>
bool Number(const char* text, const char* end, T& value, int base = 10) {
    const std::from_chars_result result = std::from_chars(text, end, value, base);
    return result.ec == std::errc() && result.ptr == end;
}

// Converts the text of the current element into its field of rec.
bool Convert(Field field, const char* text, Rec& rec) {
    const char* end = text + std::strlen(text);
    switch (field) {
        case Field::seq: return Number(text, end, rec.seq);
        case Field::addr: return end - text > 2 && text[0] == '0' && Number(text + 2, end, rec.addr, 16);
        case Field::mask: return Number(text, end, rec.mask, 16);
        case Field::value: {
            char* stop;
            rec.value = std::strtod(text, &stop);
            return stop == end;
        }
        case Field::x: return Number(text, end, rec.pos.x);
        case Field::y: return Number(text, end, rec.pos.y);
        default: return false;
    }
}

bool Read_attributes(xmlTextReaderPtr reader, Rec& rec) {
    bool ok = true;
    while (xmlTextReaderMoveToNextAttribute(reader) == 1) {
        const char* name = reinterpret_cast<const char*>(xmlTextReaderConstName(reader));
        const char* value = reinterpret_cast<const char*>(xmlTextReaderConstValue(reader));
        const char* end = value + std::strlen(value);
        if (std::strcmp(name, "id") == 0)
            ok = Number(value, end, rec.id) && ok;
        else if (std::strcmp(name, "kind") == 0)
            ok = Number(value, end, rec.kind) && ok;
        else
            ok = false;
    }
    xmlTextReaderMoveToElement(reader);
    return ok;
}

void Count_error(void* errors, const char*, xmlParserSeverities, xmlTextReaderLocatorPtr) {
    ++*static_cast<long*>(errors);
}

// The reader set-up of Input_file, then one Rec filled per <rec>.
__attribute__((noinline)) bool Read_by_hand(const std::string& path, Tally& tally, long& errors) {
    const std::string uri = "file://localhost/" + path;
    const int fd = open(path.c_str(), O_RDONLY);
    xmlTextReaderPtr reader = xmlReaderForFd(fd, uri.c_str(), nullptr, Input_data::reader_options);
    if (!reader) {
        close(fd);
        return false;
    }
    xmlTextReaderSetParserProp(reader, XML_PARSER_DEFAULTATTRS, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_VALIDATE, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_SUBST_ENTITIES, 1);
    xmlTextReaderSetParserProp(reader, XML_PARSER_LOADDTD, 1);
    xmlTextReaderSetErrorHandler(reader, Count_error, &errors);

    Rec rec{};
    Field field = Field::none;
    int result;
    while ((result = xmlTextReaderRead(reader)) == 1) {
        switch (xmlTextReaderNodeType(reader)) {
            case XML_READER_TYPE_ELEMENT:
                field = Field_of(reinterpret_cast<const char*>(xmlTextReaderConstName(reader)));
                if (field == Field::rec) {
                    rec = Rec{};
                    if (!Read_attributes(reader, rec)) ++errors;
                }
                break;
            case XML_READER_TYPE_TEXT:
                if (!Convert(field, reinterpret_cast<const char*>(xmlTextReaderConstValue(reader)), rec))
                    ++errors;
                break;
            case XML_READER_TYPE_END_ELEMENT:
                if (Field_of(reinterpret_cast<const char*>(xmlTextReaderConstName(reader))) == Field::rec)
                    tally.Add(rec);
                field = Field::none;
                break;
            default: break;
        }
    }
    xmlFreeTextReader(reader);
    close(fd);
    return result == 0;
}

// ---- Documents -------------------------------------------------------------

const char header[] =
    "<?xml version=\"1.0\"?>\n"
    "<!DOCTYPE log [\n"
    "<!ELEMENT log (rec*)>\n"
    "<!ELEMENT rec (seq, addr, mask, value, pos)>\n"
    "<!ATTLIST rec id CDATA #REQUIRED kind CDATA \"7\">\n"
    "<!ELEMENT seq (#PCDATA)>\n"
    "<!ELEMENT addr (#PCDATA)>\n"
    "<!ELEMENT mask (#PCDATA)>\n"
    "<!ELEMENT value (#PCDATA)>\n"
    "<!ELEMENT pos (x, y)>\n"
    "<!ELEMENT x (#PCDATA)>\n"
    "<!ELEMENT y (#PCDATA)>\n"
    "]>\n"
    "<log>\n";

// A generated document of at least megabytes MB, removed at exit, with the
// tally of the records written into it.
struct Document {
    explicit Document(long megabytes) {
        char name[] = "/tmp/tessel_bench_records_XXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) std::abort();
        path = name;
        std::FILE* file = fdopen(fd, "w");
        std::fputs(header, file);
        Record_source source;
        while (std::ftell(file) < megabytes << 20) {
            long cents;
            const Rec rec = source.Next(cents);
            // Every fourth record has the DTD's default kind, left to the DTD.
            if (rec.id % 4 == 0)
                std::fprintf(file, "<rec id=\"%ld\">", rec.id);
            else
                std::fprintf(file, "<rec id=\"%ld\" kind=\"%ld\">", rec.id, rec.kind);
            std::fprintf(file,
                         "<seq>%012ld</seq><addr>0x%lX</addr><mask>%04X</mask><value>%s%ld.%02ld</value>"
                         "<pos><x>%ld</x><y>%ld</y></pos></rec>\n",
                         rec.seq, rec.addr, rec.mask, cents < 0 ? "-" : "", std::labs(cents) / 100,
                         std::labs(cents) % 100, rec.pos.x, rec.pos.y);
            expected.Add(rec);
        }
        std::fputs("</log>\n", file);
        bytes = std::ftell(file);
        std::fclose(file);
    }
    ~Document() { std::remove(path.c_str()); }

    std::string path;
    long bytes;
    Tally expected;
};

const Document& Document_of(long megabytes) {
    static std::map<long, Document> documents;
    return documents.try_emplace(megabytes, megabytes).first->second;
}

// ---- Benchmarks ------------------------------------------------------------

using Reader = bool(const std::string& path, Tally& tally, long& errors);

void Run(benchmark::State& state, Reader* read) {
    const Document& document = Document_of(state.range(0));
    for (auto _ : state) {
        Tally tally;
        long errors = 0;
        const bool ok = read(document.path, tally, errors);
        if (!ok || errors != 0) {
            state.SkipWithError("the document was not read without errors");
            break;
        }
        if (!(tally == document.expected)) {
            state.SkipWithError("the records read differ from those written");
            break;
        }
    }
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = usage.ru_maxrss / 1024.0;
    state.counters["records"] = static_cast<double>(document.expected.records);
    state.SetItemsProcessed(state.iterations() * document.expected.records);
    state.SetBytesProcessed(state.iterations() * document.bytes);
}

void BM_By_hand(benchmark::State& state) { Run(state, Read_by_hand); }
void BM_Typed(benchmark::State& state) { Run(state, Read_typed); }

BENCHMARK(BM_By_hand)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Typed)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
