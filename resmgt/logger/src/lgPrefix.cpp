#include <resmgt/logger/src/lgPrefix.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Qv {

namespace {

/// With zeros ahead of it up to `width` digits.
void appendNumber( std::string& line, std::uint64_t value, std::size_t width, int base = 10 ) {
    std::array<char, 20> text;
    const char* const end =
        std::to_chars( text.data(), text.data() + text.size(), value, base ).ptr;
    const auto length = static_cast<std::size_t>( end - text.data() );
    line.append( std::max( width, length ) - length, '0' ).append( text.data(), length );
}

} // namespace

void LgPrefix::appendPadded( std::string& line, std::string_view text, std::size_t width ) {
    line.append( text ).append( std::max( width, text.size() ) - text.size(), ' ' );
}

void LgPrefix::appendTimeStamp( std::string& line, std::uint64_t delta ) {
    constexpr std::size_t WIDTH = 10;
    appendNumber( line, delta >> 32, WIDTH );
    line += ' ';
    appendNumber( line, delta & 0xffffffff, WIDTH );
    line += ' ';
}

void LgPrefix::appendTime( std::string& line, double seconds ) {
    constexpr std::uint64_t HUNDREDTHS = 100;
    constexpr std::uint64_t MINUTE = 60 * HUNDREDTHS;
    const auto time =
        static_cast<std::uint64_t>( std::llround( std::max( seconds, 0.0 ) * HUNDREDTHS ) );
    appendNumber( line, time / ( 60 * MINUTE ), 2 );
    line += ':';
    appendNumber( line, time / MINUTE % 60, 2 );
    line += ':';
    appendNumber( line, time / HUNDREDTHS % 60, 2 );
    line += '.';
    appendNumber( line, time % HUNDREDTHS, 2 );
    line += ' ';
}

void LgPrefix::appendThreadId( std::string& line, unsigned long id ) {
    line += "(0x";
    appendNumber( line, id, 8, 16 );
    line += ") ";
}

} // namespace Qv
