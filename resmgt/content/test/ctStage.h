#pragma once

#include <tests/support/deadline.h>

#include <condition_variable>
#include <mutex>
#include <set>
#include <vector>

namespace Qv {

/// Where the threads of a test are seen to come, and are held until the test lets each go.
class Stage {
public:
    /// Notes `actor` and waits until it may go.
    void pass( int actor ) {
        std::unique_lock lock( _mutex );
        _arrived.push_back( actor );
        _changed.notify_all();
        await( lock, [&] { return _isOpen || _released.erase( actor ) != 0; } );
    }
    /// `actor` may go, also when it comes only later.
    void release( int actor ) {
        const std::lock_guard lock( _mutex );
        _released.insert( actor );
        _changed.notify_all();
    }
    /// From now on nobody is held.
    void open() {
        const std::lock_guard lock( _mutex );
        _isOpen = true;
        _changed.notify_all();
    }
    /// Those who have come, in their order, once there are so many.
    std::vector<int> awaitArrivals( std::size_t nbArrivals ) {
        std::unique_lock lock( _mutex );
        await( lock, [&] { return _arrived.size() >= nbArrivals; } );
        return _arrived;
    }

private:
    template <class Condition>
    void await( std::unique_lock<std::mutex>& lock, Condition condition ) {
        if( !_changed.wait_until( lock, deadlineFromNow(), condition ) ) {
            failHang( "Somebody never came, or was never let go" );
        }
    }

    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<int> _arrived;
    std::set<int> _released;
    bool _isOpen = false;
};

/// `waitUntil` for what comes within microseconds.
template <class Condition>
void spinUntil( Condition condition, const char* what ) {
    for( int i = 0; i < 20000; ++i ) {
        if( condition() ) {
            return;
        }
        std::this_thread::yield();
    }
    waitUntil( condition, what );
}

} // namespace Qv
