#include <tests/support/testThread.h>

#include <tests/support/deadline.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>

#include <unistd.h>

namespace Qv {

namespace {

constexpr int NB_LOOKS = 3;

// 'S' in the third field of the thread's stat file; the second field may hold any character.
bool sleepsInKernel( int kernelId ) {
    std::ifstream file( "/proc/self/task/" + std::to_string( kernelId ) + "/stat" );
    std::string line;
    std::getline( file, line );
    const std::size_t nameEnd = line.rfind( ')' );
    return nameEnd != std::string::npos && nameEnd + 2 < line.size() && line[nameEnd + 2] == 'S';
}

} // namespace

TestThread::TestThread( std::function<void()> body )
    : _started( "start of a test thread" )
    , _ended( "end of a test thread" )
    , _thread( [this, run = std::move( body )] {
        _kernelId = ::gettid();
        _started.open();
        try {
            run();
        } catch( ... ) {
            _failure = std::current_exception();
        }
        _ended.open();
    } ) {
    _started.wait();
}

TestThread::~TestThread() {
    try {
        join();
    } catch( const std::exception& failure ) {
        ADD_FAILURE() << "A test thread raised: " << failure.what();
    } catch( ... ) {
        ADD_FAILURE() << "A test thread raised an exception";
    }
}

void TestThread::join() {
    _ended.wait();
    if( _thread.joinable() ) {
        _thread.join();
    }
    if( _failure ) {
        std::rethrow_exception( std::exchange( _failure, nullptr ) );
    }
}

void TestThread::waitUntilBlocked() {
    int nbSeen = 0;
    waitUntil(
        [&] {
            nbSeen = sleepsInKernel( _kernelId ) ? nbSeen + 1 : 0;
            return nbSeen == NB_LOOKS;
        },
        "a test thread that blocks" );
}

bool TestThread::isDone() const {
    return _ended.isOpen();
}

} // namespace Qv
