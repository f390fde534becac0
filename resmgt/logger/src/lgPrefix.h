#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The fields ahead of a line's text, each with the blank behind it; appended to what `line` has.
namespace Qv::LgPrefix {

/// A longer text isn't cut. Without a blank of its own.
void appendPadded( std::string& line, std::string_view text, std::size_t width );
inline std::string padRight( std::string_view text, std::size_t width ) {
    std::string padded;
    appendPadded( padded, text, width );
    return padded;
}
/// The high and the low half of a number of ticks.
void appendTimeStamp( std::string& line, std::uint64_t delta );
/// Hours, minutes and seconds, rounded to hundredths before they are split, so that no second is
/// the sixtieth. Hours don't wrap.
void appendTime( std::string& line, double seconds );
void appendThreadId( std::string& line, unsigned long id );

} // namespace Qv::LgPrefix
