// Uses of the interface that must not compile. Each case is compiled on its
// own by CTest (see CMakeLists.txt), which expects the compiler's diagnostic.
#include "XML/Tessel.hpp"

#include <tuple>

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
#if CASE >= 1 && CASE <= 4
    // Types without a scanner overload: a number whose bytes would be copied, a
    // container whose bytes would be overwritten, a pointer that would be forged
    // from the text, and an enumeration.
    std::tuple_element_t<CASE - 1, std::tuple<bool, std::vector<int>, const char*, Colour>> value;
    scanner.Scan(value, fi);
#elif CASE >= 5 && CASE <= 7  // owning handles are not copyable
    Formatter<long> formatter;
    const auto handles = std::tie(formatter, scanner, fi);
    auto copy(std::get<CASE - 5>(handles));
#elif CASE == 8               // a callback that would never be called
    Unlinked callback;
#elif CASE == 9               // an enumeration member needs its value table
    const Subelement_table<Painted> rows[] = {{Subelement(&Painted::colour, "colour")}};
#elif CASE == 10              // a list needs a container
    const Subelement_table<Painted> rows[] = {{Subelement_list(&Painted::count, "count")}};
#endif
}
