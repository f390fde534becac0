#include <resmgt/osSupport/osDateUtil.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/osSupport/src/osLocalTime.h>

#include <chrono>

namespace Qv {

namespace {

// What no sensible format reaches, in bytes: a format's field widths could ask for gigabytes.
constexpr std::size_t MAX_TEXT_SIZE = 65536;

} // namespace

OsDateTypes::Comparison OsDateUtil::compare( const OsDateTypes::DateRep& date,
                                             const OsDateTypes::DateRep& other ) noexcept {
    if( date == other ) {
        return OsDateTypes::SAME;
    }
    return date < other ? OsDateTypes::OLDER : OsDateTypes::NEWER;
}

OsDateTypes::DateRep OsDateUtil::now() noexcept {
    using namespace std::chrono;
    const auto time = system_clock::now().time_since_epoch();
    const auto wholeSeconds = floor<seconds>( time );
    return { wholeSeconds.count(), nanoseconds( time - wholeSeconds ).count() };
}

std::string OsDateUtil::toLocalText( const OsDateTypes::DateRep& date, const char* format ) {
    const std::tm fields = osLocalTime( date.getSeconds() );
    // strftime answers 0 both for an empty text and for one that doesn't fit; with a character
    // before it the text is never empty.
    const std::string marked = std::string( "." ) + format;
    for( std::string text( 128, '\0' ); text.size() <= MAX_TEXT_SIZE;
         text.resize( 2 * text.size() ) ) {
        const std::size_t length =
            std::strftime( text.data(), text.size(), marked.c_str(), &fields );
        if( length > 0 ) {
            return text.substr( 1, length - 1 );
        }
    }
    throw ExSysErrorGeneric( QV_HERE, "The text of a date is too long.", "OsDateUtil::toLocalText",
                             format );
}

} // namespace Qv
