#include <base/locks/lkLockPosix.h>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

namespace Qv {

namespace {

/// How often a waiter looks at the word before it sleeps: about the length of a short critical
/// section, and well below the cost of a sleep and a wake-up (some microseconds). With one
/// processor the holder can't go on while we look.
int spinLimit() noexcept {
    static const int limit = std::thread::hardware_concurrency() > 1 ? 100 : 0;
    return limit;
}

void pauseProcessor() noexcept {
#if defined( __x86_64__ )
    __builtin_ia32_pause();
#endif
}

std::uint32_t* futexWord( std::atomic<std::uint32_t>& word ) noexcept {
    static_assert( sizeof( std::atomic<std::uint32_t> ) == sizeof( std::uint32_t ) );
    return reinterpret_cast<std::uint32_t*>( &word );
}

} // namespace

bool LkLockPosix::lockContended( std::uint32_t seen ) const {
    const std::uint32_t self = ThreadNumber::get();
    if( ( seen & ~CONTENDED ) == self ) {
        return false;
    }
    for( int i = spinLimit(); i > 0; --i ) {
        if( seen == FREE && _word.compare_exchange_weak( seen, self, std::memory_order_acquire,
                                                         std::memory_order_relaxed ) ) {
            return true;
        }
        pauseProcessor();
        seen = _word.load( std::memory_order_relaxed );
    }
    for( ;; ) {
        if( seen == FREE ) {
            if( _word.compare_exchange_weak( seen, self | CONTENDED, std::memory_order_acquire,
                                             std::memory_order_relaxed ) ) {
                return true;
            }
        } else if( ( seen & CONTENDED ) != 0 ||
                   _word.compare_exchange_weak( seen, seen | CONTENDED, std::memory_order_relaxed,
                                                std::memory_order_relaxed ) ) {
            // Any return, by a wake-up, a signal or a word that changed, leads to another look.
            ::syscall( SYS_futex, futexWord( _word ), FUTEX_WAIT_PRIVATE, seen | CONTENDED, nullptr,
                       nullptr, 0 );
            seen = _word.load( std::memory_order_relaxed );
        }
    }
}

void LkLockPosix::wakeOne() const noexcept {
    ::syscall( SYS_futex, futexWord( _word ), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0 );
}

} // namespace Qv
