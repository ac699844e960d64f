// What the fuzz targets share: the report of a broken invariant, a process cut
// off from the network, documents in memory files, and the digest of a format
// string worked out from the grammar in XML_formatter.hpp independently of the
// library's own.
#ifndef TESSEL_FUZZ_SUPPORT_HPP
#define TESSEL_FUZZ_SUPPORT_HPP

#include "XML/XML_formatter.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Tessel_fuzz {

// Formats every target tries besides the fuzzed one: stock ones, widths and
// precisions at their limits, prefixes and suffixes, and invalid ones.
inline const char* const stock_formats[] = {
    nullptr,  "",      "%d",    "%X",     "%02X",     "%016X",   "%3d",        "%.2d", "%.0d",
    "%9999d", "%.20d", "0x%X",  "v=%5d;", "v=%d;",    "%d\n",    "%%%d%%",     "%s",   "id-%s",
    "%s-end", "%02b",  "%02B ", "%-5d",   "a%%b%-5d", "%100.3x", "INVALID(%d)"};

// A copy of standard error taken before libFuzzer starts: scripts/fuzz has
// libFuzzer close standard error (-close_fd_mask) to silence what the library
// prints for every bad document, and the reason a harness stops must still be
// seen.
inline const int report_fd = dup(STDERR_FILENO);

// Reports a broken invariant and aborts, which libFuzzer records as a crash.
[[noreturn]] inline void Fail(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline void Fail(const char* format, ...) {
    va_list args;
    va_start(args, format);
    dprintf(report_fd, "\n*** fuzz invariant broken: ");
    vdprintf(report_fd, format, args);
    dprintf(report_fd, "\n");
    va_end(args);
    abort();
}

// The message arguments are evaluated only when the condition fails.
#define FUZZ_EXPECT(condition, ...) ((condition) ? void() : ::Tessel_fuzz::Fail(__VA_ARGS__))

// Cuts the process off the network: a document may name an external DTD or
// entity by URL, and libxml2 fetches what it names. A network namespace of the
// process's own has nothing but a loopback that is down. Where none can be
// made, libxml2's HTTP and FTP clients are sent to a closed local port.
inline void Isolate() {
    if (unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0) return;
    setenv("http_proxy", "http://127.0.0.1:9/", 1);
    setenv("ftp_proxy", "ftp://127.0.0.1:9/", 1);
    unsetenv("no_proxy");
}

// A file in memory: documents reach the library through Input_data(fd, name),
// the reader set-up applications use.
class Memory_file {
public:
    Memory_file() : fd(memfd_create("tessel-fuzz", MFD_CLOEXEC)) {
        FUZZ_EXPECT(fd >= 0, "memfd_create: %s", std::strerror(errno));
    }
    ~Memory_file() { close(fd); }
    Memory_file(const Memory_file&) = delete;
    Memory_file& operator=(const Memory_file&) = delete;

    // Replaces the contents with size bytes of data, the offset at the start.
    void Fill(const void* data, size_t size) {
        FUZZ_EXPECT(
            ftruncate(fd, 0) == 0 && (!size || pwrite(fd, data, size, 0) == ssize_t(size)) && Rewind(),
            "memory file: %s", std::strerror(errno));
    }
    // Moves the offset back to the start, for one more reader.
    bool Rewind() const { return lseek(fd, 0, SEEK_SET) == 0; }
    // The whole contents.
    std::string Contents() const {
        struct stat st;
        FUZZ_EXPECT(fstat(fd, &st) == 0, "fstat: %s", std::strerror(errno));
        std::string text(static_cast<size_t>(st.st_size), '\0');
        FUZZ_EXPECT(pread(fd, text.data(), text.size(), 0) == ssize_t(text.size()), "pread: %s",
                    std::strerror(errno));
        return text;
    }

    const int fd;
};

// Checks format_info's digest of format against the grammar of
// XML_formatter.hpp: a literal prefix ("%%" is one percent sign), then "%", an
// optional "0", width digits, "." and precision digits (both capped at
// max_width) and one of d, x, b, s in either case; the rest is the suffix.
inline void Check_digest(const char* format, const Tessel::Format::format_info& fi) {
    using Tessel::Format::format_info;
    FUZZ_EXPECT(fi.format == format, "format_info keeps another format string");
    std::string prefix;
    const char* p = format ? format : "";
    for (; *p && !(p[0] == '%' && p[1] != '%'); ++p) {
        prefix += *p;
        if (*p == '%') ++p;
    }
    bool zero = false, hex = false;
    unsigned int width = 0, prec = 0;
    int dump = format_info::NONE;
    const auto number = [&p](unsigned int& n) {
        for (; *p >= '0' && *p <= '9'; ++p) n = std::min(n * 10 + unsigned(*p - '0'), format_info::max_width);
    };
    if (*p == '%') {
        ++p;
        if (*p == '0') {
            zero = true;
            ++p;
        }
        number(width);
        if (*p == '.') {
            ++p;
            number(prec);
        }
        switch (*p | 0x20) {  // the conversion letters in either case
            case 'b': hex = true, dump = format_info::BYTE, ++p; break;
            case 'd': ++p; break;
            case 's': dump = format_info::CHARS, ++p; break;
            case 'x': hex = true, ++p; break;
        }
    }
    const char* suffix = *p ? p : nullptr;
    bool blank = suffix != nullptr;
    for (const char* s = p; *s; ++s) blank = blank && std::isspace(static_cast<unsigned char>(*s));
    const bool prefix_ok = prefix.empty() ? !fi.prefix && !fi.prefix_len
                                          : fi.prefix && fi.prefix_len == prefix.size() &&
                                                std::memcmp(fi.prefix, prefix.data(), prefix.size()) == 0;
    FUZZ_EXPECT(prefix_ok && fi.zero_pad == zero && fi.width == width && fi.prec == prec && fi.hex == hex &&
                    fi.dump_size == dump && fi.suffix == suffix && fi.suffix_len == std::strlen(p) &&
                    fi.suffix_is_whitespace == blank &&
                    fi.Estimate() == fi.prefix_len + fi.suffix_len + fi.width,
                "digest of \"%s\": prefix \"%.*s\" (want \"%s\") zero %d/%d width %u/%u prec %u/%u hex %d/%d "
                "dump %d/%d suffix \"%s\" (want \"%s\") blank %d/%d",
                format ? format : "(null)", int(fi.prefix_len), fi.prefix ? fi.prefix : "", prefix.c_str(),
                fi.zero_pad, zero, fi.width, width, fi.prec, prec, fi.hex, hex, int(fi.dump_size), dump,
                fi.suffix ? fi.suffix : "", p, fi.suffix_is_whitespace, blank);
}

// The input split at its first NUL: the format string before it (null when
// there is no NUL) and the rest, which the targets read as text or as bytes.
struct Split {
    Split(const uint8_t* data, size_t size) {
        const void* nul = std::memchr(data, 0, size);
        const size_t cut = nul ? size_t(static_cast<const uint8_t*>(nul) - data) : 0;
        if (nul) format.assign(reinterpret_cast<const char*>(data), cut);
        has_format = nul != nullptr;
        rest.assign(reinterpret_cast<const char*>(data) + (nul ? cut + 1 : 0), size - (nul ? cut + 1 : 0));
    }
    const char* Format() const { return has_format ? format.c_str() : nullptr; }

    std::string format, rest;
    bool has_format;
};

}  // namespace Tessel_fuzz

#endif
