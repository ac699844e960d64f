// Scanning and printing of single values against the C library and
// std::from_chars / std::to_chars. Every benchmark handles a batch of
// kCount values per iteration and reports items per second, so the figures
// compare per value.
#include "XML/XML_formatter.hpp"

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using Tessel::Format::format_info;
using Tessel::Format::Printer;
using Tessel::Format::Scanner;

namespace {

constexpr int kCount = 1000;

std::vector<long> longs() {
    std::mt19937 random(1);
    std::uniform_int_distribution<long> pick(-1000000000L, 1000000000L);
    std::vector<long> values(kCount);
    for (long& v : values) v = pick(random);
    return values;
}

std::vector<unsigned short> shorts() {
    std::mt19937 random(2);
    std::vector<unsigned short> values(kCount);
    for (unsigned short& v : values) v = static_cast<unsigned short>(random());
    return values;
}

std::vector<double> doubles() {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> pick(-100000.0, 100000.0);
    std::vector<double> values(kCount);
    for (double& v : values) v = pick(random);
    return values;
}

// kCount values separated by single spaces.
template <class T>
std::string text_of(const std::vector<T>& values, const char* format) {
    std::string text;
    char item[64];
    for (T v : values) {
        snprintf(item, sizeof item, format, v);
        text += item;
        text += ' ';
    }
    return text;
}

const std::string& long_text() {
    static const std::string text = text_of(longs(), "%ld");
    return text;
}
const std::string& hex_text() {
    static const std::string text = text_of(shorts(), "%04X");
    return text;
}
const std::string& double_text() {
    static const std::string text = text_of(doubles(), "%.4f");
    return text;
}

// ---- scanning ----------------------------------------------------------------

// The scanner is built once over a text node holding all values; each
// iteration moves its cursor back to the start and reads the whole batch.
template <class T>
void Scan_values(benchmark::State& state, const std::string& text, const char* format) {
    xmlNodePtr node = xmlNewText(reinterpret_cast<const xmlChar*>(text.c_str()));
    Scanner scanner(node);
    xmlFreeNode(node);
    format_info fi(format);
    xmlChar* start = scanner.Save();
    for (auto _ : state) {
        scanner.Reset(start);
        T value{};
        for (int i = 0; i < kCount; ++i) {
            if (!scanner.Scan(value, fi)) state.SkipWithError(scanner.Error_msg());
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void Scan_long(benchmark::State& state) { Scan_values<long>(state, long_text(), "%d"); }
void Scan_hex_ushort(benchmark::State& state) { Scan_values<unsigned short>(state, hex_text(), "%04X"); }
void Scan_double(benchmark::State& state) { Scan_values<double>(state, double_text(), "%d"); }

template <class Convert>
void C_library_scan(benchmark::State& state, const std::string& text, Convert convert) {
    for (auto _ : state) {
        const char* p = text.c_str();
        for (int i = 0; i < kCount; ++i) {
            char* end;
            auto value = convert(p, &end);
            benchmark::DoNotOptimize(value);
            p = end;
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void Strtol_long(benchmark::State& state) {
    C_library_scan(state, long_text(), [](const char* p, char** end) { return strtol(p, end, 10); });
}
void Strtoul_hex_ushort(benchmark::State& state) {
    C_library_scan(state, hex_text(), [](const char* p, char** end) { return strtoul(p, end, 16); });
}
void Strtod_double(benchmark::State& state) {
    C_library_scan(state, double_text(), [](const char* p, char** end) { return strtod(p, end); });
}

// from_chars does not skip white space: the single separator is stepped over.
template <class T, class... Base>
void From_chars(benchmark::State& state, const std::string& text, Base... base) {
    const char* last = text.data() + text.size();
    for (auto _ : state) {
        const char* p = text.data();
        for (int i = 0; i < kCount; ++i) {
            T value{};
            auto result = std::from_chars(p, last, value, base...);
            benchmark::DoNotOptimize(value);
            p = result.ptr + 1;
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void From_chars_long(benchmark::State& state) { From_chars<long>(state, long_text(), 10); }
void From_chars_hex_ushort(benchmark::State& state) { From_chars<unsigned short>(state, hex_text(), 16); }
void From_chars_double(benchmark::State& state) { From_chars<double>(state, double_text()); }

// ---- printing ----------------------------------------------------------------

// One printer for the whole run, emptied before each batch so that the buffer
// reaches its final size in the first iteration.
template <class T>
void Print_values(benchmark::State& state, const std::vector<T>& values, const char* format) {
    Printer printer(0);
    format_info fi(format);
    for (auto _ : state) {
        printer.Reset();
        for (const T& v : values) printer.Print(v, fi);
        benchmark::DoNotOptimize(static_cast<const char*>(printer));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

std::vector<unsigned long> ulongs() {
    std::mt19937 random(4);
    std::vector<unsigned long> values(kCount);
    for (unsigned long& v : values) v = random();
    return values;
}

void Print_long(benchmark::State& state) { Print_values(state, longs(), "%d"); }
void Print_hex_ulong(benchmark::State& state) { Print_values(state, ulongs(), "%08X"); }
void Print_double(benchmark::State& state) { Print_values(state, doubles(), "%.2d"); }

template <class T>
void Snprintf(benchmark::State& state, const std::vector<T>& values, const char* format) {
    std::vector<char> out(kCount * 40);
    for (auto _ : state) {
        char* p = out.data();
        for (const T& v : values) p += snprintf(p, 40, format, v);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void Snprintf_long(benchmark::State& state) { Snprintf(state, longs(), "%ld"); }
void Snprintf_hex_ulong(benchmark::State& state) { Snprintf(state, ulongs(), "%08lX"); }
void Snprintf_double(benchmark::State& state) { Snprintf(state, doubles(), "%.2f"); }

template <class T, class... Extra>
void To_chars(benchmark::State& state, const std::vector<T>& values, Extra... extra) {
    std::vector<char> out(kCount * 40);
    for (auto _ : state) {
        char* p = out.data();
        for (const T& v : values) p = std::to_chars(p, p + 40, v, extra...).ptr;
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void To_chars_long(benchmark::State& state) { To_chars(state, longs()); }
void To_chars_hex_ulong(benchmark::State& state) { To_chars(state, ulongs(), 16); }
void To_chars_double(benchmark::State& state) { To_chars(state, doubles(), std::chars_format::fixed, 2); }

}  // namespace

BENCHMARK(Scan_long);
BENCHMARK(Strtol_long);
BENCHMARK(From_chars_long);
BENCHMARK(Scan_hex_ushort);
BENCHMARK(Strtoul_hex_ushort);
BENCHMARK(From_chars_hex_ushort);
BENCHMARK(Scan_double);
BENCHMARK(Strtod_double);
BENCHMARK(From_chars_double);
BENCHMARK(Print_long);
BENCHMARK(Snprintf_long);
BENCHMARK(To_chars_long);
BENCHMARK(Print_hex_ulong);
BENCHMARK(Snprintf_hex_ulong);
BENCHMARK(To_chars_hex_ulong);
BENCHMARK(Print_double);
BENCHMARK(Snprintf_double);
BENCHMARK(To_chars_double);

BENCHMARK_MAIN();
