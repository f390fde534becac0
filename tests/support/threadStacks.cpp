#include <tests/support/threadStacks.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

// The C library's own name of sigaction: a thread sanitizer holds signals of handlers set through
// the other one back until the thread calls into its runtime, which a hanging thread never does.
extern "C" int __sigaction( int, const struct sigaction*, struct sigaction* );

namespace Qv {

namespace {

constexpr int MAX_FRAMES = 64;
/// Behind the handler and what the system has put below it: where the thread was interrupted.
constexpr int INTERRUPTED_FRAME = 2;
constexpr auto ANSWER_TIME = std::chrono::seconds( 2 );
constexpr auto POLL_INTERVAL = std::chrono::milliseconds( 1 );

// The stack of the thread that is asked for it, written by the signal's handler. `answered` is
// released by the handler and acquired by the asker, and carries the frames.
std::array<void*, MAX_FRAMES> frames;
int nbFrames = 0;
std::atomic<bool> answered = false;

void onAsked( int ) {
    nbFrames = ::backtrace( frames.data(), MAX_FRAMES );
    answered.store( true, std::memory_order_release );
}

bool askThread( int kernelId ) {
    answered.store( false, std::memory_order_relaxed );
    if( ::syscall( SYS_tgkill, ::getpid(), kernelId, SIGRTMAX ) != 0 ) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + ANSWER_TIME;
    while( !answered.load( std::memory_order_acquire ) ) {
        if( std::chrono::steady_clock::now() > deadline ) {
            return false;
        }
        std::this_thread::sleep_for( POLL_INTERVAL );
    }
    return true;
}

std::string threadName( int kernelId ) {
    std::ifstream file( "/proc/self/task/" + std::to_string( kernelId ) + "/comm" );
    std::string name;
    std::getline( file, name );
    return name;
}

std::vector<int> threadIds() {
    std::vector<int> ids;
    for( const auto& entry : std::filesystem::directory_iterator( "/proc/self/task" ) ) {
        ids.push_back( std::stoi( entry.path().filename().string() ) );
    }
    return ids;
}

// One call of addr2line for the neighbouring frames of one module.
void printSourceLines( const std::string& module, const std::string& offsets ) {
    const std::string command = "addr2line -Cfipe '" + module + "'" + offsets + " >&2";
    if( std::system( command.c_str() ) != 0 ) {
        std::fprintf( stderr, "    %s%s\n", module.c_str(), offsets.c_str() );
    }
}

void printAskedStack() {
    std::string module;
    std::string offsets;
    for( int frame = 0; frame < nbFrames; ++frame ) {
        void* const address = frames[static_cast<std::size_t>( frame )];
        Dl_info info = {};
        if( ::dladdr( address, &info ) == 0 || !info.dli_fname ) {
            continue;
        }
        if( info.dli_fname != module && !offsets.empty() ) {
            printSourceLines( module, offsets );
            offsets.clear();
        }
        module = info.dli_fname;
        // A return address stands after its call, which may be another line. The place of an
        // interruption is the place itself, and may be the first of its function.
        const auto offset = reinterpret_cast<std::uintptr_t>( address ) -
                            reinterpret_cast<std::uintptr_t>( info.dli_fbase ) -
                            ( frame == INTERRUPTED_FRAME ? 0 : 1 );
        std::array<char, 32> text = {};
        std::snprintf( text.data(), text.size(), " 0x%zx", static_cast<std::size_t>( offset ) );
        offsets += text.data();
    }
    if( !offsets.empty() ) {
        printSourceLines( module, offsets );
    }
}

} // namespace

void printThreadStacks() {
    struct sigaction action = {};
    action.sa_handler = &onAsked;
    action.sa_flags = SA_RESTART;
    ::__sigaction( SIGRTMAX, &action, nullptr );

    for( const int id : threadIds() ) {
        std::fprintf( stderr, "Thread %d '%s':\n", id, threadName( id ).c_str() );
        if( askThread( id ) ) {
            printAskedStack();
        } else {
            std::fprintf( stderr, "    no answer\n" );
        }
    }
}

} // namespace Qv
