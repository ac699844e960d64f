// A minimal program built against the installed package: formats a value with
// the library's printer, reads it back with its scanner and checks the round trip.
#include <XML/Tessel.hpp>

#include <cstdio>
#include <cstring>

// The package's compile flags must leave the consumer's language standard alone.
#ifdef EXPECT_CPLUSPLUS
static_assert(__cplusplus >= EXPECT_CPLUSPLUS, "the package's flags changed the language standard");
#endif

int main() {
    using namespace Tessel;
    const Format::format_info hex("%08X");
    Format::Printer printer(0);
    printer.Print(0xC0FFEEUL, hex);
    const char* text = printer;

    xmlNodePtr node = xmlNewText(reinterpret_cast<const xmlChar*>(text));
    unsigned long back = 0;
    bool ok;
    {
        Format::Scanner scanner(node);
        ok = scanner.Scan(back, hex);
    }
    xmlFreeNode(node);

    std::printf("printed %s, read back 0x%lX\n", text, back);
    return ok && std::strcmp(text, "00C0FFEE") == 0 && back == 0xC0FFEEUL ? 0 : 1;
}
