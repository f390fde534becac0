#include <base/failure/assertions.h>
#include <resmgt/osSupport/osCpuInfo.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/src/hwCounterEng.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <list>
#include <sched.h>
#include <sstream>
#include <time.h>
#include <vector>

namespace Qv {

namespace {

constexpr std::uint64_t LAST_STAMP = std::numeric_limits<std::uint64_t>::max();

const std::uint64_t stampBeforeMain = HwCounter::timeStamp();

TEST( HwCounter, aRateIsHalvedUntilAnIntHoldsItAndSoAreTheStamps ) {
    const struct {
        std::uint64_t frequency;
        int numerator, shift;
    } cases[] = { { 1, 1, 0 },
                  { 0x7fffffff, 0x7fffffff, 0 },
                  { 0x80000000, 0x40000000, 1 },
                  { 0x100000001, 0x40000000, 2 },
                  { LAST_STAMP, 0x7fffffff, 33 } };
    for( const auto& c : cases ) {
        SCOPED_TRACE( c.frequency );
        const HwCounterIA32 engine( c.frequency );
        EXPECT_EQ( engine.getRateNumerator(), c.numerator );
        EXPECT_EQ( engine.getRateDenominator(), 1 );
        EXPECT_EQ( engine.getShift(), c.shift );
        EXPECT_DOUBLE_EQ( engine.resolution(), 1.0 / c.numerator );
        const std::uint64_t before = OsCpuInfo::getHwCounterValue();
        const std::uint64_t stamp = engine.timeStamp();
        EXPECT_LE( before >> c.shift, stamp );
        EXPECT_LE( stamp, OsCpuInfo::getHwCounterValue() >> c.shift );
    }
    EXPECT_THROW( HwCounterIA32( 0 ), ExAssertionFailed );
}

TEST( HwCounter, secondsHaveASignAndSpanTheEndOfTheStamps ) {
    const HwCounterIA32 engine( 1000 );
    EXPECT_DOUBLE_EQ( engine.seconds( 3, 5 ), 0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( 5, 3 ), -0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( LAST_STAMP, 1 ), 0.002 );
}

double systemSeconds() {
    timespec time{};
    EXPECT_EQ( ::clock_gettime( CLOCK_MONOTONIC_RAW, &time ), 0 );
    return static_cast<double>( time.tv_sec ) + static_cast<double>( time.tv_nsec ) * 1e-9;
}

TEST( HwCounter, secondsAreThoseOfTheSystemFromBeforeThePackagesStartOn ) {
    EXPECT_GT( HwCounter::seconds( 0, stampBeforeMain ), 0.0 );
    EXPECT_GT( HwCounter::seconds( stampBeforeMain, HwCounter::timeStamp() ), 0.0 );
    const double before = systemSeconds();
    const double seconds = HwCounter::seconds();
    EXPECT_LE( before, seconds );
    EXPECT_LE( seconds, systemSeconds() );
    std::ostringstream text;
    HwCounter::dump( text );
    EXPECT_EQ( text.str(), "Rate         = 1000000000\nCycle        = 1e-09 seconds\n" );
}

/// Keeps this thread on the `index`-th of the processors that it may use, from the first one again
/// behind the last.
void pin( std::size_t index ) {
    cpu_set_t allowed;
    ASSERT_EQ( ::sched_getaffinity( 0, sizeof( allowed ), &allowed ), 0 );
    index %= static_cast<std::size_t>( CPU_COUNT( &allowed ) );
    std::size_t processor = 0;
    while( !CPU_ISSET( processor, &allowed ) || index-- > 0 ) {
        ++processor;
    }
    CPU_ZERO( &allowed );
    CPU_SET( processor, &allowed );
    ASSERT_EQ( ::sched_setaffinity( 0, sizeof( allowed ), &allowed ), 0 );
}

/// A thread's latest stamp, on a line of its own: what others read is on its way between processors
/// and not in the reader's own store buffer.
struct alignas( 128 ) Published {
    std::atomic<std::uint64_t> stamp{ 0 };
};

TEST( HwCounter, noStampIsOlderThanOneThatAnotherProcessorHasPublishedBefore ) {
    std::vector<Published> published( std::clamp( std::thread::hardware_concurrency(), 2U, 8U ) );
    std::atomic<long> nbOlder{ 0 };
    Gate go( "go" );
    std::list<TestThread> threads;
    for( std::size_t self = 0; self < published.size(); ++self ) {
        threads.emplace_back( [&, self] {
            const Published& other = published[( self + 1 ) % published.size()];
            pin( self );
            go.wait();
            for( long i = scaledCount( 2'000'000 ); i > 0; --i ) {
                const std::uint64_t before = other.stamp.load( std::memory_order_acquire );
                const std::uint64_t stamp = HwCounter::timeStamp();
                // Only then: a locked operation each time would keep the readings in order.
                if( stamp < before ) {
                    nbOlder.fetch_add( 1, std::memory_order_relaxed );
                }
                published[self].stamp.store( stamp, std::memory_order_release );
            }
        } );
    }
    go.open();
    threads.clear();
    EXPECT_EQ( nbOlder.load(), 0 );
}

} // namespace

} // namespace Qv
