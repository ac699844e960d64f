// Records read into a typed structure through the library's descriptors (an
// Info<Rec> with a binding table, an attribute table and a nested Info<Pos>,
// from records.hpp), against a hand-written binding of the same structure on a
// bare loop of xmlTextReaderRead, with the same reader options and parser
// properties, over the same file (each side reads from a descriptor that the
// benchmark opens; the typed side through Input_data, as Input_file does).
// Both fill every field, the flags list and the trimmed name included (its
// "&amp;" already replaced by libxml2). Documents of about 10 MB and 100 MB,
// with an internal DTD that gives <rec> a default kind, are generated into
// temporary files when first needed and removed at exit. The generator folds
// every record it writes into a checksum; each side folds every record it
// reads the same way, and a run whose checksum, record count or error count
// differs is reported as an error.
//
// A third benchmark reads documents of 10 MB, 100 MB and 1 GB through the
// typed binding from a pipe that a thread fills with the generated document as
// it is read, so that nothing is stored; its peak_rss_MB shows whether memory
// stays flat as the document grows. These run first, in increasing size, so
// that each peak is the process's peak up to then (peak RSS never decreases).
//
// Wall time of both sides in one run, at 10 MB (records per second are
// items_per_second):
//     build/bench/bench_records --benchmark_filter='/10$'
// Instructions per record, typed and hand-written, each side in its own
// callgrind process over the 10 MB document, counting only the reading
// function (not the generation of the document), for the build in build/:
//     bench/instructions.sh build read
// The breakdown of the typed side is in the callgrind output the script keeps:
//     callgrind_annotate --inclusive=yes /tmp/tessel_callgrind_Read_typed.out | head -40
// Peak memory, all sizes in one process (in increasing order) or one per process:
//     build/bench/bench_records --benchmark_filter='stream'
//     build/bench/bench_records --benchmark_filter='stream/1024/'
#include "records.hpp"

#include "XML/Tessel.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>

using namespace Tessel;
using namespace bench;

namespace {

// What a side has read: the number of records and the sum of their folds.
struct Tally {
    long records = 0;
    std::uint64_t sum = 0;

    // Every field goes in, in order; the value as whole hundredths, which
    // both ways of reading a two-digit fraction round to the same integer;
    // the flags as one number, the name as its length and its hash.
    void Add(const Rec& r) {
        const std::uint64_t flags = std::uint64_t(r.flags[0]) | std::uint64_t(r.flags[1]) << 8 |
                                    std::uint64_t(r.flags[2]) << 16 | std::uint64_t(r.flags[3]) << 24;
        const std::uint64_t fields[] = {std::uint64_t(r.id),
                                        std::uint64_t(r.kind),
                                        std::uint64_t(r.seq),
                                        r.addr,
                                        r.mask,
                                        std::uint64_t(std::llround(r.value * 100)),
                                        flags,
                                        r.name.size(),
                                        std::hash<std::string>()(r.name),
                                        std::uint64_t(r.pos.x),
                                        std::uint64_t(r.pos.y)};
        std::uint64_t fold = 0xCBF29CE484222325u;
        for (std::uint64_t field : fields) fold = (fold ^ field) * 0x100000001B3u;
        sum += fold;
        ++records;
    }
    bool operator==(const Tally& other) const { return records == other.records && sum == other.sum; }
};

// Both sides read a document from fd, which the caller opened and closes; uri
// names it in error records.
using Reader = bool(int fd, const char* uri, Tally& tally, long& errors);

// ---- The typed side --------------------------------------------------------

// The input of the typed side: counts error records instead of printing them,
// and holds the tally that Rec_info::Commit adds to.
struct Record_input : Input_data {
    using Input_data::Error_handler;
    using Input_data::Input_data;
    void Error_handler(const Error_info&) override { ++errors; }

    long errors = 0;
    Tally tally;
};

// Each <rec> is read into a scratch Rec that dies after Commit: copy it out.
struct Rec_info : Info<Rec> {
    using Info<Rec>::Info;
    bool Commit(Rec& rec, Input_data& input) const override {
        static_cast<Record_input&>(input).tally.Add(rec);
        return true;
    }
};

// With a DOCTYPE, <log> is looked up beneath root.
const Info<void> log_info("/log");
const Rec_info rec_info("/log/rec", rec_rows, rec_attrs);

__attribute__((noinline)) bool Read_typed(int fd, const char* uri, Tally& tally, long& errors) {
    Record_input input(fd, uri);
    const bool ok = input.Process();
    tally = input.tally;
    errors = input.errors;
    return ok;
}

// ---- The hand-written side -------------------------------------------------

enum class Field { none, rec, seq, addr, mask, value, flags, name, x, y };

// The field an element's text goes to; the elements without text give none.
Field Field_of(const char* name) {
    switch (name[0]) {
        case 'r': return std::strcmp(name, "rec") == 0 ? Field::rec : Field::none;
        case 's': return std::strcmp(name, "seq") == 0 ? Field::seq : Field::none;
        case 'a': return std::strcmp(name, "addr") == 0 ? Field::addr : Field::none;
        case 'm': return std::strcmp(name, "mask") == 0 ? Field::mask : Field::none;
        case 'v': return std::strcmp(name, "value") == 0 ? Field::value : Field::none;
        case 'f': return std::strcmp(name, "flags") == 0 ? Field::flags : Field::none;
        case 'n': return std::strcmp(name, "name") == 0 ? Field::name : Field::none;
        case 'x': return name[1] == 0 ? Field::x : Field::none;
        case 'y': return name[1] == 0 ? Field::y : Field::none;
        default: return Field::none;
    }
}

bool Is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The whole of [text, end) as one number of the given base.
template <class T>
bool Number(const char* text, const char* end, T& value, int base = 10) {
    const std::from_chars_result result = std::from_chars(text, end, value, base);
    return result.ec == std::errc() && result.ptr == end;
}

// [text, end) as four decimal numbers separated by white space.
bool Flags(const char* text, const char* end, std::array<int, 4>& flags) {
    for (int& flag : flags) {
        while (text != end && Is_space(*text)) ++text;
        const std::from_chars_result result = std::from_chars(text, end, flag);
        if (result.ec != std::errc()) return false;
        text = result.ptr;
    }
    while (text != end && Is_space(*text)) ++text;
    return text == end;
}

// Removes the white space at both ends of text.
void Trim(std::string& text) {
    size_t end = text.size();
    while (end > 0 && Is_space(text[end - 1])) --end;
    size_t start = 0;
    while (start < end && Is_space(text[start])) ++start;
    text.erase(end);
    text.erase(0, start);
}

// Converts one text node of the current element into its field of rec; the
// text of a name may come in pieces, which are appended and trimmed at its end.
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
        case Field::flags: return Flags(text, end, rec.flags);
        case Field::name: rec.name.append(text, end); return true;
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

const char* Name_of(xmlTextReaderPtr reader) {
    return reinterpret_cast<const char*>(xmlTextReaderConstName(reader));
}

// The reader set-up of Input_data, then one Rec filled per <rec>.
__attribute__((noinline)) bool Read_by_hand(int fd, const char* uri, Tally& tally, long& errors) {
    xmlTextReaderPtr reader = xmlReaderForFd(fd, uri, nullptr, Input_data::reader_options);
    if (!reader) return false;
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
                field = Field_of(Name_of(reader));
                if (field == Field::rec) {
                    rec = Rec{};
                    if (!Read_attributes(reader, rec)) ++errors;
                } else if (field == Field::name) {
                    rec.name.clear();
                }
                break;
            case XML_READER_TYPE_TEXT:
                if (!Convert(field, reinterpret_cast<const char*>(xmlTextReaderConstValue(reader)), rec))
                    ++errors;
                break;
            case XML_READER_TYPE_END_ELEMENT:
                switch (Field_of(Name_of(reader))) {
                    case Field::rec: tally.Add(rec); break;
                    case Field::name: Trim(rec.name); break;
                    default: break;
                }
                field = Field::none;
                break;
            default: break;
        }
    }
    xmlFreeTextReader(reader);
    return result == 0;
}

// ---- Documents -------------------------------------------------------------

const char header[] =
    "<?xml version=\"1.0\"?>\n"
    "<!DOCTYPE log [\n"
    "<!ELEMENT log (rec*)>\n"
    "<!ELEMENT rec (seq, addr, mask, value, flags, name, pos)>\n"
    "<!ATTLIST rec id CDATA #REQUIRED kind CDATA \"7\">\n"
    "<!ELEMENT seq (#PCDATA)>\n"
    "<!ELEMENT addr (#PCDATA)>\n"
    "<!ELEMENT mask (#PCDATA)>\n"
    "<!ELEMENT value (#PCDATA)>\n"
    "<!ELEMENT flags (#PCDATA)>\n"
    "<!ELEMENT name (#PCDATA)>\n"
    "<!ELEMENT pos (x, y)>\n"
    "<!ELEMENT x (#PCDATA)>\n"
    "<!ELEMENT y (#PCDATA)>\n"
    "]>\n"
    "<log>\n";

// The text of a document of at least megabytes MB, produced piece by piece,
// with the tally of the records written into it.
class Document_text {
public:
    explicit Document_text(long megabytes) : limit(megabytes << 20) {}

    // The next piece, of about 64 KB; empty once the document is complete.
    const std::string& Next_piece() {
        piece.clear();
        if (finished) return piece;
        if (bytes == 0) piece = header;
        while (bytes + static_cast<long>(piece.size()) < limit && piece.size() < 65536) Append_record();
        if (bytes + static_cast<long>(piece.size()) >= limit) {
            piece += "</log>\n";
            finished = true;
        }
        bytes += static_cast<long>(piece.size());
        return piece;
    }

    long bytes = 0;
    Tally expected;

private:
    // One <rec> line. Every fourth record has the DTD's default kind, left to
    // the DTD; every eighth name is written between spaces, which reading trims.
    void Append_record() {
        long cents;
        const Rec rec = source.Next(cents);
        char text[256];
        if (rec.id % 4 == 0)
            std::snprintf(text, sizeof text, "<rec id=\"%ld\">", rec.id);
        else
            std::snprintf(text, sizeof text, "<rec id=\"%ld\" kind=\"%ld\">", rec.id, rec.kind);
        piece += text;
        std::snprintf(text, sizeof text,
                      "<seq>%012ld</seq><addr>0x%lX</addr><mask>%04X</mask><value>%s%ld.%02ld</value>"
                      "<flags>%d %d %d %d</flags><name>",
                      rec.seq, rec.addr, rec.mask, cents < 0 ? "-" : "", std::labs(cents) / 100,
                      std::labs(cents) % 100, rec.flags[0], rec.flags[1], rec.flags[2], rec.flags[3]);
        piece += text;
        const char* pad = rec.id % 8 == 0 ? " " : "";
        piece += pad;
        for (char c : rec.name) {
            if (c == '&')
                piece += "&amp;";
            else
                piece += c;
        }
        piece += pad;
        std::snprintf(text, sizeof text, "</name><pos><x>%ld</x><y>%ld</y></pos></rec>\n", rec.pos.x,
                      rec.pos.y);
        piece += text;
        expected.Add(rec);
    }

    const long limit;
    bool finished = false;
    std::string piece;
    Record_source source;
};

// Writes the whole document to fd; false when fd refuses it (a reader that
// stopped reading).
bool Write_document(Document_text& text, int fd) {
    for (const std::string* piece = &text.Next_piece(); !piece->empty(); piece = &text.Next_piece())
        for (size_t done = 0; done < piece->size();) {
            const ssize_t written = write(fd, piece->data() + done, piece->size() - done);
            if (written < 0) return false;
            done += static_cast<size_t>(written);
        }
    return true;
}

// The URI under which a document at path is read, as Input_file names it.
std::string Uri_of(const std::string& path) { return "file://localhost/" + path; }

// A generated document of at least megabytes MB in a temporary file, removed
// at exit, with the tally of the records written into it.
struct Document {
    explicit Document(long megabytes) {
        char name[] = "/tmp/tessel_bench_records_XXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) std::abort();
        path = name;
        Document_text text(megabytes);
        if (!Write_document(text, fd)) std::abort();
        close(fd);
        bytes = text.bytes;
        expected = text.expected;
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

// Fails the benchmark unless the read went through without errors and found
// exactly the records written.
bool Check(benchmark::State& state, bool ok, long errors, const Tally& read, const Tally& expected) {
    if (!ok || errors != 0)
        state.SkipWithError("the document was not read without errors");
    else if (!(read == expected))
        state.SkipWithError("the records read differ from those written");
    else
        return true;
    return false;
}

// The process's peak resident size so far, and the size of the records.
void Report(benchmark::State& state, long records, long bytes) {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = usage.ru_maxrss / 1024.0;
    state.counters["records"] = static_cast<double>(records);
    state.SetItemsProcessed(state.iterations() * records);
    state.SetBytesProcessed(state.iterations() * bytes);
}

void Run(benchmark::State& state, Reader* read) {
    const Document& document = Document_of(state.range(0));
    const std::string uri = Uri_of(document.path);
    for (auto _ : state) {
        const int fd = open(document.path.c_str(), O_RDONLY);
        Tally tally;
        long errors = 0;
        const bool ok = read(fd, uri.c_str(), tally, errors);
        close(fd);
        if (!Check(state, ok, errors, tally, document.expected)) break;
    }
    Report(state, document.expected.records, document.bytes);
}

void BM_By_hand(benchmark::State& state) { Run(state, Read_by_hand); }
void BM_Typed(benchmark::State& state) { Run(state, Read_typed); }

// One document generated by a thread into a pipe while the typed side reads
// it from the other end.
void BM_Typed_stream(benchmark::State& state) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that stops early fails the writer's write instead
    long records = 0, bytes = 0;
    for (auto _ : state) {
        int ends[2];
        if (pipe(ends) != 0) return state.SkipWithError("no pipe");
        Document_text text(state.range(0));
        std::thread writer([&text, fd = ends[1]] {
            Write_document(text, fd);
            close(fd);
        });
        Tally tally;
        long errors = 0;
        const bool ok = Read_typed(ends[0], "pipe", tally, errors);
        close(ends[0]);
        writer.join();
        records = text.expected.records;
        bytes = text.bytes;
        if (!Check(state, ok, errors, tally, text.expected)) break;
    }
    Report(state, records, bytes);
}

// Sizes in MB; one pass each, as 1 GB takes seconds.
BENCHMARK(BM_Typed_stream)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1024)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_By_hand)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Typed)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
