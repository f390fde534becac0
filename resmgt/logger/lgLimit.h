#pragma once

#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

class LgStream;

/// Limits how often one place of the program logs; each limited form of QV_LOG has its own.
///
/// Counts:  the next statement that passes ends with the number of those that were left out before
///          it, as in " (left out: 99)". What no statement has shown so far is `getNbUntold`.
/// Threads: any; they share the limit.
/// Cost:    a few read-modify-writes of what the threads share, the only ones in a statement; the
///          form by seconds repeats one while other threads pass at the same moment.
class QV_RESMGT_API LgLimit {
public:
    /// Whether a statement passes, and how many were left out before it.
    struct Pass {
        explicit operator bool() const noexcept { return isOpen; }
        /// Whether the statement is written.
        bool isOpen;
        /// How many statements were left out since the last one that was written.
        std::uint64_t nbLeftOut;
    };

    constexpr LgLimit() noexcept = default;
    LgLimit( const LgLimit& ) = delete;
    LgLimit& operator=( const LgLimit& ) = delete;

    /// The first one passes.
    Pass passOnce() noexcept;
    /// The first one, and each `n`-th after it. 0 counts as 1.
    Pass passEvery( std::uint32_t n ) noexcept;
    /// The first `n` of each second of the tick counter.
    Pass passPerSecond( std::uint32_t n ) noexcept;
    /// The count of `pass` is shown by a later statement: the log had no place for this one.
    void postpone( const Pass& pass ) noexcept;

    /// The number of statements of the process that were left out and that no line counts.
    static std::uint64_t getNbUntold() noexcept;

private:
    Pass open() noexcept;
    Pass leaveOut() noexcept;
    void addUntold( std::uint64_t number ) noexcept;

    // All relaxed: they count, and order nothing.
    std::atomic<std::uint64_t> _state = 0;
    std::atomic<std::uint64_t> _nbLeftOut = 0;
};

/// Writes the count, if there is one.
QV_RESMGT_API LgStream& operator<<( LgStream& stream, const LgLimit::Pass& pass ) noexcept;

} // namespace Qv
