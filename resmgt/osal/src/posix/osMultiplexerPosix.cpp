#include <resmgt/osal/osMultiplexer.h>

#include <base/failure/assertions.h>
#include <resmgt/osal/src/posix/osFdSetUtils.h>

#include <cstddef>

namespace Qv {

struct OsMultiplexer::Sets {
    /// Indexed by event.
    using PerEvent = fd_set[3];

    static fd_set& of( PerEvent& sets, Event event ) {
        QV_ASSERT( event >= READABLE && event <= EXCEPTIONAL );
        return sets[event];
    }
    static void clear( PerEvent& sets ) {
        for( fd_set& set : sets ) {
            OsFdSetUtils::fdZero( set );
        }
    }

    PerEvent registered;
    PerEvent occurred;
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
    OsFdSetUtils::fdSet( fd, Sets::of( _sets->registered, event ) );
}

void OsMultiplexer::unregisterEvent( int fd, Event event ) {
    if( OsFdSetUtils::canHold( fd ) ) {
        OsFdSetUtils::fdClear( fd, Sets::of( _sets->registered, event ) );
        OsFdSetUtils::fdClear( fd, Sets::of( _sets->occurred, event ) );
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
    return OsFdSetUtils::canHold( fd ) &&
           OsFdSetUtils::fdIsSet( fd, Sets::of( _sets->occurred, event ) );
}

} // namespace Qv
