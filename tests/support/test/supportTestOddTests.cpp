// Tests that hang, fail or print, run by supportTest and not on their own.

#include <tests/support/gate.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace Qv {

namespace {

[[gnu::noinline]] void sleepAtAGateThatNobodyOpens() {
    Gate gate( "never opened" );
    gate.wait();
}

[[gnu::noinline]] void spinForEver( const volatile bool& goesOn ) {
    while( goesOn ) {}
}

TEST( OddTest, SleepingAndSpinning ) {
    volatile bool goesOn = true;
    TestThread spinner( [&] { spinForEver( goesOn ); } );
    TestThread sleeper( [] { sleepAtAGateThatNobodyOpens(); } );
    sleeper.join();
}

TEST( OddTest, ThreadsException ) {
    TestThread thread( [] { throw std::runtime_error( "from the thread" ); } );
}

TEST( OddTest, PrintSeed ) {
    EXPECT_EQ( testSeed(), 1234567890123U );
}

} // namespace

} // namespace Qv
