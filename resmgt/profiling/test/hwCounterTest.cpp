#include <base/failure/assertions.h>
#include <resmgt/osSupport/osCpuInfo.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/src/hwCounterEng.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <sstream>
#include <time.h>
#include <tuple>

namespace Qv {

namespace {

constexpr std::uint64_t LAST_STAMP = std::numeric_limits<std::uint64_t>::max();

const std::uint64_t stampBeforeMain = HwCounter::timeStamp();

TEST( HwCounterTest, ARateIsHalvedUntilAnIntHoldsItAndSoAreTheStamps ) {
    const std::tuple<std::uint64_t, int, int> cases[] = { { 1, 1, 0 },
                                                          { 0x7fffffff, 0x7fffffff, 0 },
                                                          { 0x80000000, 0x40000000, 1 },
                                                          { 0x100000001, 0x40000000, 2 },
                                                          { LAST_STAMP, 0x7fffffff, 33 } };
    for( const auto& [frequency, numerator, shift] : cases ) {
        SCOPED_TRACE( frequency );
        const HwCounterIA32 engine( frequency );
        EXPECT_EQ( engine.getRateNumerator(), numerator );
        EXPECT_EQ( engine.getRateDenominator(), 1 );
        EXPECT_EQ( engine.getShift(), shift );
        EXPECT_DOUBLE_EQ( engine.resolution(), 1.0 / numerator );
        const std::uint64_t before = OsCpuInfo::getHwCounterValue();
        const std::uint64_t stamp = engine.timeStamp();
        EXPECT_LE( before >> shift, stamp );
        EXPECT_LE( stamp, OsCpuInfo::getHwCounterValue() >> shift );
    }
    EXPECT_THROW( HwCounterIA32( 0 ), ExAssertionFailed );
}

TEST( HwCounterTest, SecondsHaveASignAndSpanTheEndOfTheStamps ) {
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

TEST( HwCounterTest, SecondsAreThoseOfTheSystemFromBeforeThePackagesStartOn ) {
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

TEST( HwCounterTest, NoStampIsOlderThanOneThatAnotherThreadHasPublishedBefore ) {
    std::atomic<std::uint64_t> published{ 0 };
    std::atomic<bool> isOver{ false };
    TestThread publisher( [&] {
        while( !isOver.load( std::memory_order_relaxed ) ) {
            published.store( HwCounter::timeStamp(), std::memory_order_release );
        }
    } );
    long nbOlder = 0;
    for( long i = scaledCount( 5'000'000 ); i > 0; --i ) {
        const std::uint64_t before = published.load( std::memory_order_acquire );
        nbOlder += HwCounter::timeStamp() < before ? 1 : 0;
    }
    isOver = true;
    EXPECT_EQ( nbOlder, 0 );
}

} // namespace

} // namespace Qv
