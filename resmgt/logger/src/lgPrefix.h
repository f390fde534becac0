#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The fields ahead of a line's text, each with the blank behind it.
namespace Qv::LgPrefix {

/// A longer text isn't cut.
std::string padRight( std::string text, std::size_t width );
/// The high and the low half of a number of ticks.
std::string makeTimeStamp( std::uint64_t delta );
/// Hours, minutes and seconds, rounded to hundredths before they are split, so that no second is
/// the sixtieth. Hours don't wrap.
std::string makeTime( double seconds );
std::string makeThreadId( unsigned long id );

} // namespace Qv::LgPrefix
