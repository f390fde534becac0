#include <resmgt/locks/lkRecLockPosix.h>

#include <ostream>

namespace Qv {

bool LkRecLockPosix::lock() const {
    // The plain lock answers false when the caller holds it already: one level deeper, then.
    static_cast<void>( _section.lock() );
    enter();
    return true;
}

bool LkRecLockPosix::tryLock() const {
    if( !isLockedByThread() && !_section.tryLock() ) {
        return false;
    }
    enter();
    return true;
}

void LkRecLockPosix::enter() const noexcept {
    _count.store( _count.load( std::memory_order_relaxed ) + 1, std::memory_order_relaxed );
    _holder.store( ThreadNumber::get(), std::memory_order_relaxed );
}

void LkRecLockPosix::unlock() const {
    const std::int32_t count = _count.load( std::memory_order_relaxed ) - 1;
    _count.store( count, std::memory_order_relaxed );
    _holder.store( 0, std::memory_order_relaxed );
    if( count == 0 ) {
        _section.unlock();
    }
}

void LkRecLockPosix::dump( std::ostream& stream ) const {
    stream << "name " << _name << " holder " << _holder.load( std::memory_order_relaxed )
           << " count " << _count.load( std::memory_order_relaxed );
}

} // namespace Qv
