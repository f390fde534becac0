#include <resmgt/locks/src/posix/lkFutexPosix.h>

#include <base/failure/assertions.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Qv::LkFutex {

namespace {

static_assert( sizeof( std::atomic<std::uint32_t> ) == sizeof( std::uint32_t ) );

void wake( const std::atomic<std::uint32_t>* word, int nbSleepers ) {
    QV_SYS_ASSERT(
        ::syscall( SYS_futex, word, FUTEX_WAKE_PRIVATE, nbSleepers, nullptr, nullptr, 0 ) >= 0,
        errno );
}

} // namespace

void wait( const std::atomic<std::uint32_t>& word, std::uint32_t expected,
           const LkDeadline& deadline ) {
    std::timespec limit{};
    if( !deadline.isNever() ) {
        const std::int64_t left = deadline.getRemaining().count();
        if( left <= 0 ) {
            return;
        }
        limit.tv_sec = static_cast<std::time_t>( left / 1'000'000'000 );
        limit.tv_nsec = static_cast<long>( left % 1'000'000'000 );
    }
    const std::timespec* const timeout = deadline.isNever() ? nullptr : &limit;
    QV_SYS_ASSERT(
        ::syscall( SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, timeout, nullptr, 0 ) == 0 ||
            errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT,
        errno );
}

void wakeOne( const std::atomic<std::uint32_t>* word ) {
    wake( word, 1 );
}

void wakeAll( const std::atomic<std::uint32_t>* word ) {
    wake( word, INT_MAX );
}

} // namespace Qv::LkFutex
