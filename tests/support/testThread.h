#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <list>
#include <thread>
#include <type_traits>

#include <tests/support/gate.h>

namespace Qv {

/// A thread of a test. It starts at once; what its body raises comes out of `join`.
///
/// Errors: a join that reaches its deadline fails the process, with all stacks. The destructor
///         joins; a body's exception that no `join` has raised is a failure of the test then.
class TestThread {
public:
    explicit TestThread( std::function<void()> body );
    TestThread( const TestThread& ) = delete;
    TestThread& operator=( const TestThread& ) = delete;
    ~TestThread();

    /// Waits for the body's end, and raises what it raised.
    void join();
    /// Returns once the thread sleeps in the kernel, as it does when a lock, an event or a
    /// condition holds it: seen at three looks in a row. What it sleeps on isn't known; let nothing
    /// else be in its way.
    void waitUntilBlocked();
    bool isDone() const;

private:
    Gate _started;
    Gate _ended;
    int _kernelId = 0;
    std::exception_ptr _failure;
    std::thread _thread;
};

/// Some threads with one body, which is called with the thread's number, from 0 on, if it takes
/// one.
class TestThreads {
public:
    template <class Body>
    TestThreads( std::size_t count, const Body& body ) {
        for( unsigned int number = 0; number < count; ++number ) {
            if constexpr( std::is_invocable_v<const Body&, unsigned int> ) {
                _threads.emplace_back( [body, number] { body( number ); } );
            } else {
                _threads.emplace_back( body );
            }
        }
    }

    /// Waits for all ends, and raises what the first one raised.
    void join() {
        for( TestThread& thread : _threads ) {
            thread.join();
        }
    }
    bool areDone() const {
        return std::all_of( _threads.begin(), _threads.end(),
                            []( const TestThread& thread ) { return thread.isDone(); } );
    }

private:
    std::list<TestThread> _threads;
};

} // namespace Qv
