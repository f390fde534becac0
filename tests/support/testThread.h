#pragma once

#include <exception>
#include <functional>
#include <thread>

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

} // namespace Qv
