#include <base/debug/hmGC.h>
#include <base/debug/src/heapUse.h>
#include <base/failure/qvHere.h>
#include <base/failure/src/exStack.h>
#include <base/text/printable.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace Qv {

HmGC::ExLeak::ExLeak( const char* file, int line, std::ptrdiff_t nbBytes )
    : ExCloneable( file, line ) {
    char text[128];
    std::snprintf( text, sizeof( text ), "%td bytes were allocated and not given back.", nbBytes );
    setReason( text );
}

HmGC::HmGC( bool isActive )
    : _output( &std::cerr ) {
    setActive( isActive );
}

HmGC::~HmGC() noexcept( false ) {
    if( std::uncaught_exceptions() > 0 ) {
        _isExceptionThrown = false;
    }
    setActive( false );
}

void HmGC::setActive( bool isActive ) {
    if( isActive == _isActive ) {
        return;
    }
    const std::size_t nbBytes = HeapUse::nbBytes();
    _isActive = isActive;
    if( isActive ) {
        _nbBytesAtStart = nbBytes;
        return;
    }
    const std::ptrdiff_t growth = static_cast<std::ptrdiff_t>( nbBytes - _nbBytesAtStart );
    report( growth );
    if( growth > 0 && _isExceptionThrown && isMemDebugLoaded() ) {
        throw ExLeak( QV_HERE, growth );
    }
}

void HmGC::report( std::ptrdiff_t growth ) const {
    if( _output == nullptr || ( growth <= 0 && !_isSummaryForced ) ) {
        return;
    }
    *_output << "Heap: " << ( isMemDebugLoaded() ? "" : "about " ) << std::abs( growth )
             << " bytes " << ( growth < 0 ? "less" : "more" ) << " in use than at the start.\n";
    if( growth > 0 && _isStackDumped ) {
        *_output << Printable::makeText( stackText( captureStack() ) );
    }
    _output->flush();
}

bool HmGC::isMemDebugLoaded() noexcept {
    return HeapUse::isExact();
}

} // namespace Qv
