#pragma once

#include <chrono>
#include <string>

namespace Qv {

/// Reports on the trace that a thread waits for memory: once, when it has been waiting for the
/// seconds of the setting "ombra::memoryBuffers::stallReport".
class MbStallReport {
public:
    /// The wait begins.
    MbStallReport() noexcept
        : _begin( Clock::now() ) {}

    /// Whether the time has come.
    bool isDue() noexcept;
    static void print( const std::string& text ) noexcept;

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point _begin;
    bool _isDone = false;
};

} // namespace Qv
