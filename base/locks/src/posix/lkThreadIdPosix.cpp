#include <base/locks/lkThreadId.h>

#include <base/locks/lkSleepersPosix.h>

#include <pthread.h>
#include <unistd.h>

namespace Qv::ThreadNumber {

thread_local constinit std::uint32_t current = 0;

namespace {

void forgetInChild() {
    current = 0;
    LkSleepers::forgetInChild();
}

} // namespace

std::uint32_t fetch() noexcept {
    // A forked child's only thread has a number of its own.
    static const int registered = ::pthread_atfork( nullptr, nullptr, &forgetInChild );
    static_cast<void>( registered );
    current = static_cast<std::uint32_t>( ::gettid() );
    return current;
}

} // namespace Qv::ThreadNumber
