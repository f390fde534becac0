#include <tools/qvcomp/interrupt.h>

#include <tools/qvcomp/failure.h>

#include <array>
#include <atomic>
#include <string>

#include <signal.h>
#include <string.h>

namespace Qv::Comp {

namespace {

// Written by the signal's handler, read by the computing threads. It hands nothing else over, so
// relaxed order is enough.
std::atomic<int> receivedSignal = 0;
static_assert( std::atomic<int>::is_always_lock_free );

struct Handling {
    int signal;
    void ( *handler )( int );
    struct sigaction former;
};

void noteSignal( int signal ) {
    receivedSignal.store( signal, std::memory_order_relaxed );
}

std::array<Handling, 5> handlings{ { { SIGINT, noteSignal, {} },
                                     { SIGTERM, noteSignal, {} },
                                     { SIGHUP, noteSignal, {} },
                                     { SIGXFSZ, SIG_IGN, {} },
                                     { SIGPIPE, SIG_IGN, {} } } };

} // namespace

InterruptNote::InterruptNote() {
    receivedSignal.store( 0, std::memory_order_relaxed );
    for( Handling& handling : handlings ) {
        struct sigaction action {};
        action.sa_handler = handling.handler;
        sigemptyset( &action.sa_mask );
        ::sigaction( handling.signal, &action, &handling.former );
        // As for a command behind nohup.
        if( handling.former.sa_handler == SIG_IGN ) {
            ::sigaction( handling.signal, &handling.former, nullptr );
        }
    }
}

InterruptNote::~InterruptNote() {
    for( const Handling& handling : handlings ) {
        ::sigaction( handling.signal, &handling.former, nullptr );
    }
}

void InterruptNote::check() {
    using namespace std::literals;
    const int signal = receivedSignal.load( std::memory_order_relaxed );
    if( signal != 0 ) {
        throw Failure( Tag::INTERRUPTED, "SIG"s + ::sigabbrev_np( signal ) );
    }
}

} // namespace Qv::Comp
