#include <resmgt/locks/test/futexWaitHook.h>

#include <linux/futex.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

namespace Qv {

namespace {

thread_local FutexWaitHook* current = nullptr;

} // namespace

FutexWaitHook::FutexWaitHook( std::function<int()> hook )
    : _hook( std::move( hook ) ) {
    current = this;
}

FutexWaitHook::~FutexWaitHook() {
    current = nullptr;
}

int FutexWaitHook::pass() {
    // What the hook itself waits for isn't seen.
    FutexWaitHook* const hook = std::exchange( current, nullptr );
    const int error = hook != nullptr ? hook->_hook() : 0;
    current = hook;
    return error;
}

} // namespace Qv

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
long __real_syscall( long number, ... );
long __wrap_syscall( long number, ... );

long __wrap_syscall( long number, ... ) {
    long arguments[6];
    std::va_list list;
    va_start( list, number );
    for( long& argument : arguments ) {
        argument = va_arg( list, long );
    }
    va_end( list );
    if( number == SYS_futex && static_cast<int>( arguments[1] ) == FUTEX_WAIT_PRIVATE ) {
        if( const int error = Qv::FutexWaitHook::pass() ) {
            errno = error;
            return -1;
        }
    }
    return __real_syscall( number, arguments[0], arguments[1], arguments[2], arguments[3],
                           arguments[4], arguments[5] );
}
// NOLINTEND(bugprone-reserved-identifier)
}
