// Uses of the interface that must not compile. Each case is compiled on its
// own by CTest (see CMakeLists.txt), which expects the compiler's diagnostic.
#include "XML/Tessel.hpp"

using namespace Tessel;

enum class Colour { red };
struct Painted {
    Colour colour;
    long count;
};
struct Unlinked : FilterChangeCallback_base {
    void Do_Callback(const FilterList&) override {}
};

void Case([[maybe_unused]] Format::Scanner& scanner, [[maybe_unused]] const Format::format_info& fi) {
#if CASE == 1  // a number without a scanner overload: its bytes would be copied
    bool value;
    scanner.Scan(value, fi);
#elif CASE == 2  // a container's bytes would be overwritten
    std::vector<int> value;
    scanner.Scan(value, fi);
#elif CASE == 3  // a pointer would be forged from the text
    const char* value;
    scanner.Scan(value, fi);
#elif CASE == 4
    Colour value;
    scanner.Scan(value, fi);
#elif CASE == 5  // owning handles are not copyable
    Formatter<long> a;
    Formatter<long> b(a);
#elif CASE == 6
    Format::Scanner copy(scanner);
#elif CASE == 7
    Format::format_info copy(fi);
#elif CASE == 8   // a callback that would never be called
    Unlinked callback;
#elif CASE == 9   // an enumeration member needs its value table
    const Subelement_table<Painted> rows[] = {{Subelement(&Painted::colour, "colour")}};
#elif CASE == 10  // a list needs a container
    const Subelement_table<Painted> rows[] = {{Subelement_list(&Painted::count, "count")}};
#endif
}
