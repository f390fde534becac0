#pragma once

#include <base/locks/lkLockPosix.h>
#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>

namespace Qv {

/// The operating-system face of LkRecLock: the plain lock, which knows its holder, and a depth.
///
/// Holder and depth are written with the lock held and read by dumps without it: relaxed.
class QV_RESMGT_API LkRecLockPosix {
public:
    explicit LkRecLockPosix( const char* name ) noexcept
        : _name( name ) {}
    LkRecLockPosix( const LkRecLockPosix& ) = delete;
    LkRecLockPosix& operator=( const LkRecLockPosix& ) = delete;

    /// Waits for the lock.
    bool lock() const;
    /// Takes the lock unless another thread has it.
    bool tryLock() const;
    /// Gives back what one `lock` took.
    void unlock() const;
    bool isLocked() const noexcept { return _section.getHolder() != 0; }
    bool isLockedByThread() const noexcept { return _section.getHolder() == ThreadNumber::get(); }
    const char* getName() const noexcept { return _name; }
    /// Writes the state, for people.
    void dump( std::ostream& stream ) const;

private:
    void enter() const noexcept;

    const char* const _name;
    const LkLockPosix _section;
    mutable std::atomic<std::uint32_t> _holder{ 0 };
    mutable std::atomic<std::int32_t> _count{ 0 };
};

} // namespace Qv
