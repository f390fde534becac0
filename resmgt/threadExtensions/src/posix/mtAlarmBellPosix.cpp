#include <resmgt/threadExtensions/src/mtAlarmBell.h>

#include <base/failure/assertions.h>

#include <cerrno>
#include <ctime>

#include <linux/futex.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Qv {

static_assert( sizeof( std::atomic<std::uint32_t> ) == sizeof( std::uint32_t ) );

void MtAlarmBell::prepareThread() noexcept {
    // In nanoseconds, the least that there is: by default the system adds 50 us to save wake-ups.
    static_cast<void>( ::prctl( PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL ) );
}

void MtAlarmBell::ring() {
    if( _isRung.exchange( 1, std::memory_order_acq_rel ) == 0 ) {
        QV_SYS_ASSERT(
            ::syscall( SYS_futex, &_isRung, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0 ) >= 0,
            errno );
    }
}

void MtAlarmBell::sleepUntil( std::int64_t time ) {
    constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;
    const std::timespec limit{ static_cast<std::time_t>( time / NS_PER_SECOND ),
                               static_cast<long>( time % NS_PER_SECOND ) };
    // With a bit set the time is a point and no span; the clock is the steady one.
    QV_SYS_ASSERT( ::syscall( SYS_futex, &_isRung, FUTEX_WAIT_BITSET_PRIVATE, 0,
                              time == NEVER ? nullptr : &limit, nullptr,
                              FUTEX_BITSET_MATCH_ANY ) == 0 ||
                       errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT,
                   errno );
    _isRung.exchange( 0, std::memory_order_acq_rel );
}

} // namespace Qv
