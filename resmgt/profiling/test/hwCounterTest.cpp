#include <base/failure/assertions.h>
#include <resmgt/osSupport/osCpuInfo.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/src/hwCounterEng.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
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
        int numerator;
        int shift;
    } cases[] = { { 1, 1, 0 },
                  { 0x7fffffff, 0x7fffffff, 0 },
                  { 0x80000000, 0x40000000, 1 },
                  { 0xffffffff, 0x7fffffff, 1 },
                  { 0x100000001, 0x40000000, 2 },
                  { LAST_STAMP, 0x7fffffff, 33 } };
    for( const auto& c : cases ) {
        const HwCounterIA32 engine( c.frequency );
        EXPECT_EQ( engine.getRateNumerator(), c.numerator ) << c.frequency;
        EXPECT_EQ( engine.getRateDenominator(), 1 ) << c.frequency;
        EXPECT_EQ( engine.getShift(), c.shift ) << c.frequency;
        EXPECT_DOUBLE_EQ( engine.resolution(), 1.0 / c.numerator ) << c.frequency;
        const std::uint64_t before = OsCpuInfo::getHwCounterValue();
        const std::uint64_t stamp = engine.timeStamp();
        EXPECT_LE( before >> c.shift, stamp ) << c.frequency;
        EXPECT_LE( stamp, OsCpuInfo::getHwCounterValue() >> c.shift ) << c.frequency;
    }
    EXPECT_THROW( HwCounterIA32( 0 ), ExAssertionFailed );
}

TEST( HwCounter, secondsHaveASignAndSpanTheEndOfTheStamps ) {
    const HwCounterIA32 engine( 1000 );
    EXPECT_DOUBLE_EQ( engine.seconds( 3, 5 ), 0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( 5, 3 ), -0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( LAST_STAMP, 1 ), 0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( 1, LAST_STAMP ), -0.002 );
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
    std::ostringstream expected;
    expected << "Rate         = " << HwCounter::getRateNumerator()
             << "\nCycle        = " << HwCounter::resolution() << " seconds\n";
    std::ostringstream text;
    HwCounter::dump( text );
    EXPECT_EQ( text.str(), expected.str() );
}

/// At most eight, and two on a machine with one.
std::vector<std::size_t> processorsToUse() {
    cpu_set_t set;
    CPU_ZERO( &set );
    EXPECT_EQ( ::sched_getaffinity( 0, sizeof( set ), &set ), 0 );
    std::vector<std::size_t> processors;
    for( std::size_t processor = 0; processor < CPU_SETSIZE; ++processor ) {
        if( CPU_ISSET( processor, &set ) ) {
            processors.push_back( processor );
        }
    }
    processors.resize( std::clamp<std::size_t>( processors.size(), 2, 8 ), processors.at( 0 ) );
    return processors;
}

void pinTo( std::size_t processor ) {
    cpu_set_t set;
    CPU_ZERO( &set );
    CPU_SET( processor, &set );
    ASSERT_EQ( ::sched_setaffinity( 0, sizeof( set ), &set ), 0 );
}

/// A thread's latest stamp, on a line of its own: what others read is on its way between processors
/// and not in the reader's own store buffer.
struct alignas( 128 ) Published {
    std::atomic<std::uint64_t> stamp{ 0 };
};

TEST( HwCounter, noStampIsOlderThanOneThatAnotherProcessorHasPublishedBefore ) {
    const std::vector<std::size_t> processors = processorsToUse();
    std::vector<Published> published( processors.size() );
    std::atomic<long> nbOlder{ 0 };
    Gate go( "go" );
    std::vector<std::unique_ptr<TestThread>> threads;
    for( std::size_t self = 0; self < processors.size(); ++self ) {
        threads.push_back( std::make_unique<TestThread>( [&, self] {
            const Published& other = published[( self + 1 ) % processors.size()];
            pinTo( processors[self] );
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
        } ) );
    }
    go.open();
    threads.clear();
    EXPECT_EQ( nbOlder.load(), 0 );
}

} // namespace

} // namespace Qv
