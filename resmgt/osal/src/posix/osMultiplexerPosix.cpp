#include <resmgt/osal/osMultiplexer.h>

#include <resmgt/osal/src/posix/osFdSetUtils.h>

#include <cstddef>

namespace Qv {

/// Indexed by event.
struct OsMultiplexer::Sets {
    static void clear( fd_set ( &sets )[3] ) {
        for( fd_set& set : sets ) {
            OsFdSetUtils::fdZero( set );
        }
    }

    fd_set registered[3];
    fd_set occurred[3];
};

OsMultiplexer::OsMultiplexer()
    : _sets( new Sets ) {
    clearEvents();
}

OsMultiplexer::~OsMultiplexer() = default;

bool OsMultiplexer::performCanHold( int fd ) {
    return OsFdSetUtils::canHold( fd );
}

void OsMultiplexer::performRegister( int fd, Event event ) {
    OsFdSetUtils::fdSet( fd, _sets->registered[event] );
}

void OsMultiplexer::unregisterEvent( int fd, Event event ) {
    if( OsFdSetUtils::canHold( fd ) ) {
        OsFdSetUtils::fdClear( fd, _sets->registered[event] );
        OsFdSetUtils::fdClear( fd, _sets->occurred[event] );
    }
}

void OsMultiplexer::clearEvents() {
    Sets::clear( _sets->registered );
    Sets::clear( _sets->occurred );
}

int OsMultiplexer::performWait( long timeout ) {
    for( std::size_t event = 0; event < 3; ++event ) {
        _sets->occurred[event] = _sets->registered[event];
    }
    timeval span{ timeout / 1000, timeout % 1000 * 1000 };
    const int nbEvents =
        ::select( FD_SETSIZE, &_sets->occurred[READABLE], &_sets->occurred[WRITABLE],
                  &_sets->occurred[EXCEPTIONAL], timeout == INFINITE_TIMEOUT ? nullptr : &span );
    if( nbEvents < 0 ) {
        // The system leaves them as they were.
        Sets::clear( _sets->occurred );
    }
    return nbEvents;
}

bool OsMultiplexer::eventOccured( int fd, Event event ) const {
    return OsFdSetUtils::canHold( fd ) && OsFdSetUtils::fdIsSet( fd, _sets->occurred[event] );
}

} // namespace Qv
