#include <resmgt/locks/lkTicket.h>

#include <base/failure/assertions.h>
#include <base/locks/lkPause.h>
#include <resmgt/locks/src/lkSpin.h>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

bool LkTicket::waitForTicket( long long ticket ) const {
    if( isTurn( ticket ) ) {
        return false;
    }
    if( !spin( ticket ) ) {
        sleep( ticket );
    }
    return true;
}

bool LkTicket::isTurn( long long ticket ) const {
    const long long current = getTicket();
    QV_ASSERT_TEXT( ticket >= current, "ticket >= _ticket" );
    return ticket == current;
}

bool LkTicket::spin( long long ticket ) const {
    for( int left = lkSpinLimit( 0 ); left > 0; --left ) {
        lkPause();
        if( isTurn( ticket ) ) {
            return true;
        }
    }
    return false;
}

void LkTicket::sleep( long long ticket ) const {
    /// Counted as long as it lives.
    class Sleeper {
    public:
        explicit Sleeper( const LkTicket& owner ) QV_REQUIRES( owner._lock )
            : _owner( owner ) {
            ++_owner._nbSleepers;
            _owner._word.fetch_or( HAS_SLEEPERS, std::memory_order_relaxed );
        }
        Sleeper( const Sleeper& ) = delete;
        Sleeper& operator=( const Sleeper& ) = delete;
        // The analysis doesn't see that the lock is held still.
        ~Sleeper() QV_NO_THREAD_SAFETY_ANALYSIS {
            if( --_owner._nbSleepers == 0 ) {
                _owner._word.fetch_and( ~HAS_SLEEPERS, std::memory_order_relaxed );
            }
        }

    private:
        const LkTicket& _owner;
    };

    const Guard guard( _lock );
    const Sleeper sleeper( *this );
    while( !isTurn( ticket ) ) {
        _turns.wait( guard );
    }
}

void LkTicket::nextSlowly() {
    do {
        const Guard guard( _lock );
        if( ( load() & HAS_SLEEPERS ) != 0 ) {
            _word.fetch_add( ONE_TICKET, std::memory_order_release );
            _turns.broadcast();
            return;
        }
    } while( !tryNext() );
}

} // namespace Qv
