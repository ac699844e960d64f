// Process over a generated document of nested data-less containers, against a
// plain loop of xmlTextReaderRead over the same file with the same reader
// options and parser properties. Documents of about 10 MB and 100 MB are
// generated into temporary files when first needed and removed at exit.
// peak_rss_MB is the process's peak resident size after the benchmark: run
// one size per process (--benchmark_filter=/10$ or /100$) to read it per size.
#include "XML/Tessel.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

using namespace Tessel;

namespace {

const Info<void> bench_top("/bench");
const Info<void> bench_group("/bench/group");
const Info<void> bench_item("/bench/group/item");
const Info<void> bench_leaf("/bench/group/item/leaf");

const char header[] =
    "<?xml version=\"1.0\"?>\n"
    "<!DOCTYPE bench [\n"
    "<!ELEMENT bench (group*)>\n"
    "<!ELEMENT group (item*)>\n"
    "<!ELEMENT item (leaf*)>\n"
    "<!ELEMENT leaf EMPTY>\n"
    "]>\n"
    "<bench>\n";
const char group[] =
    "<group><item><leaf/><leaf/><leaf/></item><item><leaf/></item><item></item>"
    "<item><leaf></leaf><leaf/></item></group>\n";

// A generated document of at least megabytes MB, removed at exit.
struct Document {
    explicit Document(long megabytes) {
        char name[] = "/tmp/tessel_bench_parse_XXXXXX";
        int fd = mkstemp(name);
        if (fd < 0) std::abort();
        path = name;
        std::FILE* file = fdopen(fd, "w");
        std::fputs(header, file);
        for (long size = 0; size < megabytes << 20; size += sizeof group - 1) std::fputs(group, file);
        std::fputs("</bench>\n", file);
        std::fclose(file);
    }
    ~Document() { std::remove(path.c_str()); }
    std::string path;
};

const std::string& Document_of(long megabytes) {
    static std::map<long, Document> documents;
    return documents.try_emplace(megabytes, megabytes).first->second.path;
}

void Finish(benchmark::State& state, long megabytes) {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = usage.ru_maxrss / 1024.0;
    state.SetBytesProcessed(state.iterations() * (megabytes << 20));
}

void BM_Process(benchmark::State& state) {
    const std::string& path = Document_of(state.range(0));
    for (auto _ : state) {
        Input_file input(path.c_str());
        if (!input.Process()) state.SkipWithError("Process failed");
    }
    Finish(state, state.range(0));
}

// The reader set-up of Input_data, without the library's walk.
void BM_ReaderLoop(benchmark::State& state) {
    const std::string& path = Document_of(state.range(0));
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDONLY);
        xmlTextReaderPtr reader = xmlReaderForFd(fd, path.c_str(), nullptr, Input_data::reader_options);
        xmlTextReaderSetParserProp(reader, XML_PARSER_DEFAULTATTRS, 1);
        xmlTextReaderSetParserProp(reader, XML_PARSER_VALIDATE, 1);
        xmlTextReaderSetParserProp(reader, XML_PARSER_SUBST_ENTITIES, 1);
        xmlTextReaderSetParserProp(reader, XML_PARSER_LOADDTD, 1);
        int result;
        while ((result = xmlTextReaderRead(reader)) == 1) {
        }
        if (result != 0) state.SkipWithError("read failed");
        xmlFreeTextReader(reader);
        close(fd);
    }
    Finish(state, state.range(0));
}

BENCHMARK(BM_ReaderLoop)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Process)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
