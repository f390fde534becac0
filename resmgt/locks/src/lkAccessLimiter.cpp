#include <resmgt/locks/lkAccessLimiter.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/src/lkWaiterCount.h>

#include <climits>
#include <ostream>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

RCShdPtr<LkAccessLimiterGroup> LkAccessLimiterGroup::create( const char* name,
                                                             unsigned int maxAccesses,
                                                             MaxViolationStrategy strategy ) {
    QV_ASSERT( maxAccesses <= INT_MAX );
    return RCShdPtr<LkAccessLimiterGroup>(
        new LkAccessLimiterGroup( name, maxAccesses, strategy ) );
}

LkAccessLimiterGroup::LkAccessLimiterGroup( const char* name, unsigned int maxAccesses,
                                            MaxViolationStrategy strategy )
    : _name( name )
    , _strategy( strategy )
    , _maxAccesses( maxAccesses )
    , _available( static_cast<int>( maxAccesses ) ) {}

LkAccessLimiterGroup::~LkAccessLimiterGroup() = default;

unsigned int LkAccessLimiterGroup::getGrantCount() const {
    const Guard guard( _lock );
    return _maxAccesses - static_cast<unsigned int>( _available );
}

unsigned int LkAccessLimiterGroup::getNbAccessLimiters() const {
    const Guard guard( _lock );
    return _nbLimiters;
}

void LkAccessLimiterGroup::addLimiter() {
    const Guard guard( _lock );
    ++_nbLimiters;
}

void LkAccessLimiterGroup::removeLimiter() {
    const Guard guard( _lock );
    --_nbLimiters;
    wake();
}

bool LkAccessLimiterGroup::isExhausted() const {
    const int nbIdle = static_cast<int>( _nbLimiters ) - _nbActive;
    return _strategy == LIMIT_BY_AVAILABLE ? _available < 1 : nbIdle >= _available;
}

bool LkAccessLimiterGroup::mustWait( const Grants& grants ) const {
    return grants.load( std::memory_order_relaxed ) != 0 && isExhausted();
}

void LkAccessLimiterGroup::take( Grants& grants ) {
    if( grants.fetch_add( 1, std::memory_order_relaxed ) == 0 ) {
        ++_nbActive;
    }
    --_available;
}

void LkAccessLimiterGroup::wake() {
    // With an idle limiter a waiter may belong to it, whose first grant is free.
    const bool areAllActive = _nbActive >= static_cast<int>( _nbLimiters );
    if( _nbWaiters != 0 && !( areAllActive && isExhausted() ) ) {
        _waitCond.broadcast();
    }
}

void LkAccessLimiterGroup::lock( Grants& grants ) {
    const Guard guard( _lock );
    while( mustWait( grants ) ) {
        const LkWaiterCount counted( _nbWaiters );
        _waitCond.wait( guard );
    }
    take( grants );
}

bool LkAccessLimiterGroup::tryLock( Grants& grants ) {
    const Guard guard( _lock );
    if( mustWait( grants ) ) {
        return false;
    }
    take( grants );
    return true;
}

void LkAccessLimiterGroup::unlock( Grants& grants ) {
    const Guard guard( _lock );
    if( grants.fetch_sub( 1, std::memory_order_relaxed ) == 1 ) {
        --_nbActive;
    }
    ++_available;
    wake();
}

LkAccessLimiter::LkAccessLimiter( const RCShdPtr<LkAccessLimiterGroup>& group )
    : _sharedGroup( group )
    , _group( &*group ) {
    _group->addLimiter();
}

LkAccessLimiter::~LkAccessLimiter() {
    _group->removeLimiter();
}

// The limiter is what the analysis takes for the lock; the group does the work.
bool LkAccessLimiter::lock() const QV_NO_THREAD_SAFETY_ANALYSIS {
    _group->lock( _grants );
    return true;
}

bool LkAccessLimiter::tryLock() const QV_NO_THREAD_SAFETY_ANALYSIS {
    return _group->tryLock( _grants );
}

void LkAccessLimiter::unlock() const QV_NO_THREAD_SAFETY_ANALYSIS {
    _group->unlock( _grants );
}

bool LkAccessLimiter::isLockedByThread() const {
    Assertions::throwProgramAborted( QV_HERE, nullptr );
}

void LkAccessLimiter::dump( std::ostream& stream ) const {
    stream << "LkAccessLimiter \"" << getName() << '"';
}

} // namespace Qv
