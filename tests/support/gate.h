#pragma once

#include <tests/support/deadline.h>

#include <condition_variable>
#include <mutex>
#include <string>

namespace Qv {

/// Closed at first; once open it stays open.
///
/// Threads: any thread opens it and any number wait.
/// Errors:  a wait that reaches its deadline fails the process, with the gate's name and all
///          stacks.
class Gate {
public:
    /// `name` is kept, not copied.
    explicit Gate( const char* name )
        : _name( name ) {}

    void open() {
        const std::lock_guard lock( _mutex );
        _isOpen = true;
        _opened.notify_all();
    }
    /// Returns once the gate is open.
    void wait() {
        std::unique_lock lock( _mutex );
        if( !_opened.wait_until( lock, deadlineFromNow(), [this] { return _isOpen; } ) ) {
            failHang( ( std::string( "Nobody opened the gate: " ) + _name ).c_str() );
        }
    }
    bool isOpen() const {
        const std::lock_guard lock( _mutex );
        return _isOpen;
    }

private:
    const char* const _name;
    mutable std::mutex _mutex;
    std::condition_variable _opened;
    bool _isOpen = false;
};

} // namespace Qv
