#pragma once

namespace Qv {

/// Counts a waiter for a scope, also when the wait raises. The count belongs to the waiter's lock.
class LkWaiterCount {
public:
    explicit LkWaiterCount( unsigned int& nbWaiters ) noexcept
        : _nbWaiters( nbWaiters ) {
        ++_nbWaiters;
    }
    LkWaiterCount( const LkWaiterCount& ) = delete;
    LkWaiterCount& operator=( const LkWaiterCount& ) = delete;
    ~LkWaiterCount() { --_nbWaiters; }

private:
    unsigned int& _nbWaiters;
};

} // namespace Qv
