#include <resmgt/osal/osMultiplexer.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>

namespace Qv {

void OsMultiplexer::registerEvent( int fd, Event event ) {
    if( !performCanHold( fd ) ) {
        throw ExSysErrorGeneric( QV_HERE, "the sets of a wait can't hold this descriptor",
                                 "OsMultiplexer::registerEvent", std::to_string( fd ).c_str() );
    }
    performRegister( fd, event );
}

int OsMultiplexer::waitFor( long timeout ) {
    using std::chrono::steady_clock;
    QV_ASSERT( timeout >= 0 || timeout == INFINITE_TIMEOUT );
    const auto start = steady_clock::now();
    long left = timeout;
    int nbEvents = performWait( left );
    while( nbEvents < 0 && errno == EINTR && left != 0 ) {
        if( timeout != INFINITE_TIMEOUT ) {
            const std::chrono::milliseconds passed =
                std::chrono::duration_cast<std::chrono::milliseconds>( steady_clock::now() -
                                                                       start );
            left = std::max( 0L, timeout - static_cast<long>( passed.count() ) );
        }
        nbEvents = performWait( left );
    }
    if( nbEvents < 0 && errno != EINTR ) {
        throw ExSysErrorWindows( QV_HERE, "OsMultiplexer::waitFor", "select failed" );
    }
    // A look that a signal interrupts has found nothing.
    return std::max( nbEvents, 0 );
}

} // namespace Qv
