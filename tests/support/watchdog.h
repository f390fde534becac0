#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace Qv {

/// Turns a hang into a failure: a phase that lasts longer than 120 seconds times `testSlowdown()`
/// ends the process, with the stacks of all threads. A phase is the start of the packages, one
/// test, or their stop.
class Watchdog {
public:
    /// `QV_TEST_DEADLINE` shortens the 120 seconds, for the watchdog's own test.
    explicit Watchdog( const char* firstPhase );
    Watchdog( const Watchdog& ) = delete;
    Watchdog& operator=( const Watchdog& ) = delete;
    ~Watchdog();

    /// Ends the phase that runs, and starts the next.
    void enterPhase( const std::string& name );

private:
    void watch();

    const std::chrono::duration<double> _span;
    std::mutex _mutex;
    std::condition_variable _changed;
    std::string _phase;
    std::chrono::steady_clock::time_point _deadline;
    bool _isOver = false;
    std::thread _thread;
};

} // namespace Qv
