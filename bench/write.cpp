// Records written through the library, as an application logs them (XML_Write
// of each record by the descriptors of records.hpp, then XML_Log into one
// Output_stream), against the same element trees built by hand with libxml2's
// tree calls, their text formatted with snprintf as the descriptors format it,
// and saved the way Output_stream saves them: a save context with the same
// encoding and options over a document with the same DOCTYPE, each record put
// into a fragment of that document, saved, flushed and freed. Each iteration
// writes one document of 10,000 records, generated once from a fixed seed, to
// a temporary file (disk) or to /dev/null (null); opening and closing the
// document are not timed. At start-up both sides write the records to
// temporary files, and a run whose files differ, or lack a record, is
// reported as an error. A third benchmark splits the records between 1, 2 or
// 4 threads logging to one stream. Times are wall times; records per second
// are items_per_second.
//
// Wall time of both sides in one run:
//     build/bench/bench_write --benchmark_filter='^BM_(Typed|By_hand)/'
// Logging threads:
//     build/bench/bench_write --benchmark_filter='Threads'
// Instructions per record, one side per callgrind process writing to
// /dev/null, counting only inside the writing function (Write_typed or
// Write_by_hand, the start-up comparison's call included), for the build in
// build/:
//     bench/instructions.sh build write
// The breakdown of the typed side is in the callgrind output the script keeps:
//     callgrind_annotate --inclusive=yes /tmp/tessel_callgrind_Write_typed.out | head -40
#include "records.hpp"

#include "XML/Tessel.hpp"

#include <benchmark/benchmark.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace Tessel;
using namespace bench;

// How XML_Write writes a Rec: a <rec> by the tables of records.hpp.
template <>
const Info<Rec> Info<Rec>::info("rec", rec_rows, rec_attrs);

namespace {

const size_t batch = 10000;

const std::vector<Rec>& Records() {
    static const std::vector<Rec> records = [] {
        Record_source source;
        std::vector<Rec> all(batch);
        for (Rec& rec : all) rec = source.Next();
        return all;
    }();
    return records;
}

// ---- The typed side --------------------------------------------------------

// Every record offered to every open stream, as an application logs it.
__attribute__((noinline)) void Write_typed(const Rec* first, const Rec* last) {
    for (const Rec* rec = first; rec != last; ++rec) {
        xmlNodePtr node = XML_Write(*rec);
        XML_Log(node, 1UL);
    }
}

// A <log> stream taking every record, the only one open while it lives.
class Typed_file {
public:
    explicit Typed_file(const char* path) : stream(new Output_stream(path, "log", nullptr, nullptr)) {
        stream->filters[0] = 0xFFFFFFFF;
    }
    ~Typed_file() { Output_stream::Close_all(); }
    Typed_file(const Typed_file&) = delete;
    Typed_file& operator=(const Typed_file&) = delete;

    bool OK() const { return stream->OK(); }
    void Write(const Rec* first, const Rec* last) { Write_typed(first, last); }

private:
    Output_stream* stream;
};

// ---- The hand-built side ---------------------------------------------------

// Appends <name>text</name> to parent.
void Add_text_child(xmlNodePtr parent, const char* name, const char* text) {
    xmlNodePtr child = xmlNewChild(parent, nullptr, BAD_CAST name, nullptr);
    xmlAddChild(child, xmlNewText(BAD_CAST text));
}

// Appends <pos><x/><y/></pos> to parent.
void Add_pos(xmlNodePtr parent, const Pos& pos) {
    xmlNodePtr node = xmlNewChild(parent, nullptr, BAD_CAST "pos", nullptr);
    char text[24];
    std::snprintf(text, sizeof text, "%ld", pos.x);
    Add_text_child(node, "x", text);
    std::snprintf(text, sizeof text, "%ld", pos.y);
    Add_text_child(node, "y", text);
}

// The element of one record, with the text the descriptors give each field.
xmlNodePtr Build(const Rec& rec) {
    xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST "rec");
    char text[32];
    std::snprintf(text, sizeof text, "%ld", rec.id);
    xmlNewProp(node, BAD_CAST "id", BAD_CAST text);
    std::snprintf(text, sizeof text, "%ld", rec.kind);
    xmlNewProp(node, BAD_CAST "kind", BAD_CAST text);
    std::snprintf(text, sizeof text, "%ld", rec.seq);
    Add_text_child(node, "seq", text);
    std::snprintf(text, sizeof text, "0x%lX", rec.addr);
    Add_text_child(node, "addr", text);
    std::snprintf(text, sizeof text, "%04X", rec.mask);
    Add_text_child(node, "mask", text);
    std::snprintf(text, sizeof text, "%.2f", rec.value);
    Add_text_child(node, "value", text);
    std::snprintf(text, sizeof text, "%d %d %d %d", rec.flags[0], rec.flags[1], rec.flags[2], rec.flags[3]);
    Add_text_child(node, "flags", text);
    Add_text_child(node, "name", rec.name.c_str());
    Add_pos(node, rec.pos);
    return node;
}

// A <log> document saved as Output_stream saves it.
class Hand_file {
public:
    explicit Hand_file(const char* path)
        : fd(open(path, O_WRONLY | O_CREAT | O_TRUNC, 0664)),
          save(fd >= 0 ? xmlSaveToFd(fd, "UTF-8", XML_SAVE_FORMAT) : nullptr),
          doc(xmlNewDoc(BAD_CAST "1.0")) {
        if (!OK()) return;
        xmlCreateIntSubset(doc, BAD_CAST "log", nullptr, nullptr);
        xmlSaveDoc(save, doc);
        Put("<log>\n");
    }
    ~Hand_file() {
        if (OK()) Put("</log>\n");
        if (save) xmlSaveClose(save);
        xmlFreeDoc(doc);
        if (fd >= 0) close(fd);
    }
    Hand_file(const Hand_file&) = delete;
    Hand_file& operator=(const Hand_file&) = delete;

    bool OK() const { return fd >= 0 && save && doc; }
    void Write(const Rec* first, const Rec* last);

    // Saves node inside a fragment of the document, flushes, frees node.
    void Save(xmlNodePtr node) {
        xmlNodePtr fragment = xmlNewDocFragment(doc);
        xmlAddChild(fragment, node);
        xmlSaveTree(save, fragment);
        xmlSaveFlush(save);
        xmlUnlinkNode(node);
        xmlFreeNode(fragment);
        xmlFreeNode(node);
    }

private:
    // Flushes what is saved, then writes text directly.
    void Put(const char* text) {
        xmlSaveFlush(save);
        if (write(fd, text, std::strlen(text)) < 0) std::perror("write");
    }

    int fd;
    xmlSaveCtxtPtr save;
    xmlDocPtr doc;
};

__attribute__((noinline)) void Write_by_hand(const Rec* first, const Rec* last, Hand_file& file) {
    for (const Rec* rec = first; rec != last; ++rec) file.Save(Build(*rec));
}

void Hand_file::Write(const Rec* first, const Rec* last) { Write_by_hand(first, last, *this); }

// ---- Set-up ----------------------------------------------------------------

// A new temporary file's name; the file is removed with the object.
struct Temp_file {
    Temp_file() {
        char name[] = "/tmp/tessel_bench_write_XXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) std::abort();
        close(fd);
        path = name;
    }
    ~Temp_file() { std::remove(path.c_str()); }

    std::string path;
};

// Writes the records with count threads, each taking an equal share.
template <class File>
void Write_split(File& file, const std::vector<Rec>& records, size_t count) {
    const Rec* const first = records.data();
    if (count == 1) return file.Write(first, first + records.size());
    std::vector<std::thread> threads;
    for (size_t i = 0; i < count; ++i)
        threads.emplace_back([&file, &records, first, count, i] {
            file.Write(first + records.size() * i / count, first + records.size() * (i + 1) / count);
        });
    for (std::thread& thread : threads) thread.join();
}

// The whole document that File writes for the records.
template <class File>
std::string Document_of(const std::vector<Rec>& records) {
    Temp_file temp;
    {
        File file(temp.path.c_str());
        if (!file.OK()) return std::string();
        Write_split(file, records, 1);
    }
    std::ifstream in(temp.path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

size_t Count(const std::string& text, const std::string& word) {
    size_t count = 0;
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
    return count;
}

// The document both sides write, compared once: its size in bytes, or an error.
struct Reference {
    Reference() {
        const std::string typed = Document_of<Typed_file>(Records());
        const std::string hand = Document_of<Hand_file>(Records());
        bytes = typed.size();
        if (typed != hand)
            error = "the typed and the hand-built side wrote different documents";
        else if (Count(typed, "</rec>") != Records().size())
            error = "the document does not hold every record";
    }

    size_t bytes = 0;
    const char* error = nullptr;
};

const Reference& Checked() {
    static const Reference reference;
    return reference;
}

// ---- Benchmarks ------------------------------------------------------------

enum class Target { disk, null };

const char* Path_of(Target target) {
    static const Temp_file disk;
    return target == Target::disk ? disk.path.c_str() : "/dev/null";
}

// One document of the records per iteration, written by count threads into a
// new File; opening and closing it are not timed.
template <class File>
void Run(benchmark::State& state, Target target, size_t count) {
    const Reference& reference = Checked();
    if (reference.error) return state.SkipWithError(reference.error);
    const std::vector<Rec>& records = Records();
    std::optional<File> file;
    for (auto _ : state) {
        state.PauseTiming();
        file.reset();
        file.emplace(Path_of(target));
        state.ResumeTiming();
        Write_split(*file, records, count);
    }
    file.reset();
    state.counters["records"] = static_cast<double>(records.size());  // per document
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(records.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(reference.bytes));
}

void BM_Typed(benchmark::State& state, Target target) { Run<Typed_file>(state, target, 1); }
void BM_By_hand(benchmark::State& state, Target target) { Run<Hand_file>(state, target, 1); }
void BM_Threads(benchmark::State& state, Target target) {
    Run<Typed_file>(state, target, static_cast<size_t>(state.range(0)));
}

// Wall time in milliseconds; for the threads, with 1, 2 and 4 of them.
void Timed(benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond)->UseRealTime(); }
void Thread_counts(benchmark::internal::Benchmark* bench) {
    Timed(bench);
    bench->ArgName("threads")->Arg(1)->Arg(2)->Arg(4);
}

BENCHMARK_CAPTURE(BM_By_hand, disk, Target::disk)->Apply(Timed);
BENCHMARK_CAPTURE(BM_Typed, disk, Target::disk)->Apply(Timed);
BENCHMARK_CAPTURE(BM_By_hand, null, Target::null)->Apply(Timed);
BENCHMARK_CAPTURE(BM_Typed, null, Target::null)->Apply(Timed);
BENCHMARK_CAPTURE(BM_Threads, disk, Target::disk)->Apply(Thread_counts);
BENCHMARK_CAPTURE(BM_Threads, null, Target::null)->Apply(Thread_counts);

}  // namespace

BENCHMARK_MAIN();
