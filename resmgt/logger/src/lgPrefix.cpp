#include <resmgt/logger/src/lgPrefix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Qv {

std::string LgPrefix::padRight( std::string text, std::size_t width ) {
    text.resize( std::max( text.size(), width ), ' ' );
    return text;
}

std::string LgPrefix::makeTimeStamp( std::uint64_t delta ) {
    char text[32];
    std::snprintf( text, sizeof text, "%010u %010u ", static_cast<unsigned int>( delta >> 32 ),
                   static_cast<unsigned int>( delta ) );
    return text;
}

std::string LgPrefix::makeTime( double seconds ) {
    constexpr long long HUNDREDTHS = 100;
    constexpr long long MINUTE = 60 * HUNDREDTHS;
    const long long time = std::llround( std::max( seconds, 0.0 ) * HUNDREDTHS );
    char text[96];
    std::snprintf( text, sizeof text, "%02lld:%02lld:%02lld.%02lld ", time / ( 60 * MINUTE ),
                   time / MINUTE % 60, time / HUNDREDTHS % 60, time % HUNDREDTHS );
    return text;
}

std::string LgPrefix::makeThreadId( unsigned long id ) {
    char text[32];
    std::snprintf( text, sizeof text, "(0x%08lx) ", id );
    return text;
}

} // namespace Qv
