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
    QV_ASSERT( timeout >= 0 || timeout == INFINITE_TIMEOUT );
    const auto start = std::chrono::steady_clock::now();
    long left = timeout;
    int nbEvents = performWait( left );
    while( nbEvents < 0 && errno == EINTR ) {
        if( timeout != INFINITE_TIMEOUT ) {
            const std::chrono::duration<long, std::milli> passed =
                std::chrono::duration_cast<std::chrono::milliseconds>(
                    std::chrono::steady_clock::now() - start );
            left = timeout - std::min( timeout, passed.count() );
        }
        nbEvents = performWait( left );
    }
    if( nbEvents < 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsMultiplexer::waitFor", "select failed" );
    }
    return nbEvents;
}

} // namespace Qv
