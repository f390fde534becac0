#pragma once

#include <cstddef>
#include <string>

/// What the benchmarks of XML read.
namespace BenchXml {

/// A job of about `size` bytes, almost all of it attributes: a root with layers that have filters.
inline std::string makeJob( std::size_t size ) {
    static constexpr const char* BLENDS[] = { "over", "multiply", "screen", "plus" };
    std::string result = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<job version=\"2\">\n";
    for( unsigned int i = 0; result.size() < size; ++i ) {
        const std::string number = std::to_string( i );
        const std::string value = std::to_string( i * 2654435761U % 4096 );
        result += "    <layer id=\"" + number + "\" name=\"Layer " + number +
                  "\" file=\"/shots/sc010/plates/plate." + number + ".exr\" x=\"" + value +
                  ".25\" y=\"-" + value + "\" opacity=\"0." + value + "\" visible=\"" +
                  ( i % 3 != 0 ? "True" : "False" ) + "\" blend=\"" + BLENDS[i % 4] + "\">\n" +
                  "        <filter kind=\"blur\" radius=\"" + value + "\" edges=\"clamp\"/>\n" +
                  "    </layer>\n";
    }
    return result + "</job>\n";
}

/// As much as is measured.
constexpr std::size_t JOB_SIZE = 50'000'000;

} // namespace BenchXml
