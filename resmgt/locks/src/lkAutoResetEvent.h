#pragma once

#include <resmgt/locks/src/lkDeadline.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// Event that lets its owner pass once for each set that isn't still pending; initially unset.
///
/// Threads: any sets it; one thread at a time, its owner, waits.
/// Set:     touches no memory after the owner can return: the word's exchange is the last access,
///          and the system is given nothing but the address afterwards. A wake-up that arrives at
///          an address with another life finds nobody, or somebody who looks again.
/// Waiting: first looks at the word for a short while, if there is a second processor, then sleeps.
///
/// Order: a set releases and the wait acquires, so the owner sees all that was done before any set
/// that it takes.
class LkAutoResetEvent {
public:
    LkAutoResetEvent() noexcept = default;
    LkAutoResetEvent( const LkAutoResetEvent& ) = delete;
    LkAutoResetEvent& operator=( const LkAutoResetEvent& ) = delete;

    void set();
    /// False when the deadline came first. Errors: a failed system call is a system assertion; a
    /// set that comes meanwhile stays pending.
    bool wait( const LkDeadline& deadline );
    /// By the owner: takes a set that is here or at hand, without the system's help. For what is
    /// left of a wait that raised.
    void takeAtHand() noexcept;

private:
    enum : std::uint32_t { CLEAR, SET, ASLEEP };

    bool spin() noexcept;
    bool sleep( const LkDeadline& deadline );
    void sleepOnce( const LkDeadline& deadline );

    std::atomic<std::uint32_t> _word{ CLEAR };
    // The owner's alone: how many waits in a row had to sleep.
    unsigned int _nbSleeps = 0;
};

} // namespace Qv
