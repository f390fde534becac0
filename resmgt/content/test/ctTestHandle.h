#pragma once

#include <resmgt/locks/lkAsyncHandle.h>
#include <tests/support/deadline.h>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>

namespace Qv {

/// Notes what it is told: "S" for asyncSucceeded, "F" for asyncFailed, in the order of the calls.
class TestHandle : public LkAsyncHandle {
public:
    /// Each call raises as long as there have been fewer calls than `nbRaising`.
    explicit TestHandle( std::size_t nbRaising = 0, std::function<void()> onCall = nullptr )
        : _nbRaising( nbRaising )
        , _onCall( std::move( onCall ) ) {}

    void asyncSucceeded() override { note( 'S' ); }
    void asyncFailed() override { note( 'F' ); }

    std::string getCalls() const {
        const std::lock_guard guard( _mutex );
        return _calls;
    }
    /// Returns the calls, once there are so many.
    std::string await( std::size_t nbCalls = 1 ) const {
        waitUntil( [&] { return getCalls().size() >= nbCalls; }, "a completion" );
        return getCalls();
    }

private:
    void note( char call ) {
        if( _onCall ) {
            _onCall();
        }
        const std::unique_lock lock( _mutex );
        _calls += call;
        if( _calls.size() <= _nbRaising ) {
            throw _calls.size();
        }
    }

    const std::size_t _nbRaising;
    const std::function<void()> _onCall;
    mutable std::mutex _mutex;
    std::string _calls;
};

/// Waits for a call of each, which is all that it gets.
template <class Handles>
void expectEach( const Handles& handles, const char* call ) {
    for( const TestHandle& handle : handles ) {
        EXPECT_EQ( handle.await(), call );
    }
}

} // namespace Qv
