#include <resmgt/osSupport/osMemoryArch.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>
#include <resmgt/osSupport/src/osLineSize.h>

#include <bit>
#include <charconv>
#include <cstdlib>
#include <sstream>
#include <string_view>

namespace Qv {

namespace {

// That of nearly all processors with 64-bit words.
constexpr std::size_t USUAL_LINE_SIZE = 64;
constexpr unsigned long MIN_LINE_SIZE = 8;
constexpr unsigned long MAX_LINE_SIZE = 4096;

bool isLineSize( unsigned long size ) noexcept {
    return std::has_single_bit( size ) && size >= MIN_LINE_SIZE && size <= MAX_LINE_SIZE;
}

/// 0 for a text that isn't a number as a whole.
unsigned long parse( std::string_view text ) noexcept {
    unsigned long number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars( text.data(), end, number );
    return result.ptr == end && result.ec == std::errc() ? number : 0;
}

void report( const char* variable, const char* value ) {
    std::ostringstream text;
    text << "Environment variable " << variable << ": the value \"" << value
         << "\" is no power of two between " << MIN_LINE_SIZE << " and " << MAX_LINE_SIZE
         << "; the cache line size is taken as " << USUAL_LINE_SIZE << '.';
    TraceManager::getInstance().getTrace().log( text, QV_HERE );
}

} // namespace

std::size_t osLineSize( long reported, const char* variable ) {
    if( reported > 0 && isLineSize( static_cast<unsigned long>( reported ) ) ) {
        return static_cast<std::size_t>( reported );
    }
    const char* const value = std::getenv( variable );
    if( value == nullptr ) {
        return USUAL_LINE_SIZE;
    }
    const unsigned long size = parse( value );
    if( !isLineSize( size ) ) {
        report( variable, value );
        return USUAL_LINE_SIZE;
    }
    return size;
}

const OsMemoryArch& OsMemoryArch::getInstance() {
    static const OsMemoryArch instance;
    return instance;
}

OsMemoryArch::OsMemoryArch()
    : _l1LineSize( osLineSize( osSystemLineSize( OsCache::L1 ), "QV_DEFAULT_L1_LINE_SIZE" ) )
    , _l2LineSize( osLineSize( osSystemLineSize( OsCache::L2 ), "QV_DEFAULT_L2_LINE_SIZE" ) ) {}

} // namespace Qv
