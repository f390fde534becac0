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
#include <chrono>
#include <limits>
#include <memory>
#include <sched.h>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

const std::uint64_t stampBeforeMain = HwCounter::timeStamp();

TEST( HwCounter, stampsAreTakenBeforeThePackagesStart ) {
    EXPECT_GT( stampBeforeMain, 0u );
    EXPECT_LE( stampBeforeMain, HwCounter::timeStamp() );
}

TEST( HwCounter, aRateIsHalvedUntilAnIntHoldsIt ) {
    const struct {
        std::uint64_t frequency;
        int numerator;
        int shift;
    } cases[] = {
        { 1, 1, 0 },
        { 1'000'000'000, 1'000'000'000, 0 },
        { 0x7fffffff, 0x7fffffff, 0 },
        { 0x80000000, 0x40000000, 1 },
        { 0xffffffff, 0x7fffffff, 1 },
        { 0x100000001, 0x40000000, 2 },
        { std::numeric_limits<std::uint64_t>::max(), 0x7fffffff, 33 },
    };
    for( const auto& c : cases ) {
        const HwCounterIA32 engine( c.frequency );
        EXPECT_EQ( engine.getRateNumerator(), c.numerator ) << c.frequency;
        EXPECT_EQ( engine.getRateDenominator(), 1 ) << c.frequency;
        EXPECT_EQ( engine.getShift(), c.shift ) << c.frequency;
        EXPECT_DOUBLE_EQ( engine.resolution(), 1.0 / c.numerator ) << c.frequency;
        const std::uint64_t before = OsCpuInfo::getHwCounterValue();
        const std::uint64_t stamp = engine.timeStamp();
        const std::uint64_t after = OsCpuInfo::getHwCounterValue();
        EXPECT_LE( before >> c.shift, stamp ) << c.frequency;
        EXPECT_LE( stamp, after >> c.shift ) << c.frequency;
    }
    EXPECT_THROW( HwCounterIA32( 0 ), ExAssertionFailed );
}

TEST( HwCounter, secondsHaveASignAndSpanTheEndOfTheStamps ) {
    const HwCounterIA32 engine( 1000 );
    constexpr std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    EXPECT_DOUBLE_EQ( engine.seconds( 3, 5 ), 0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( 5, 3 ), -0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( last, 1 ), 0.002 );
    EXPECT_DOUBLE_EQ( engine.seconds( 1, last ), -0.002 );
    EXPECT_LT( HwCounter::seconds( 5, 3 ), 0.0 );
}

TEST( HwCounter, secondsAreThoseOfTheSystem ) {
    using Clock = std::chrono::steady_clock;
    const auto secondsOf = []( Clock::duration time ) {
        return std::chrono::duration<double>( time ).count();
    };
    const std::uint64_t outerBegin = HwCounter::timeStamp();
    const Clock::time_point begin = Clock::now();
    const std::uint64_t innerBegin = HwCounter::timeStamp();
    const double innerSeconds = HwCounter::seconds();
    while( secondsOf( Clock::now() - begin ) < 0.02 ) {}
    const double innerElapsed = HwCounter::seconds() - innerSeconds;
    const std::uint64_t innerEnd = HwCounter::timeStamp();
    const double expected = secondsOf( Clock::now() - begin );
    const std::uint64_t outerEnd = HwCounter::timeStamp();
    // The system's clock is steered by up to 0.05 %.
    EXPECT_LE( HwCounter::seconds( innerBegin, innerEnd ), expected * 1.001 );
    EXPECT_LE( innerElapsed, expected * 1.001 );
    EXPECT_GE( innerElapsed, 0.0199 );
    EXPECT_GE( HwCounter::seconds( outerBegin, outerEnd ), expected * 0.999 );
}

TEST( HwCounter, theDumpTellsRateAndCycle ) {
    std::ostringstream expected;
    expected << "Rate         = " << HwCounter::getRateNumerator()
             << "\nCycle        = " << HwCounter::resolution() << " seconds\n";
    std::ostringstream text;
    HwCounter::dump( text );
    EXPECT_EQ( text.str(), expected.str() );
    EXPECT_DOUBLE_EQ( HwCounter::resolution() * HwCounter::getRateNumerator(),
                      HwCounter::getRateDenominator() );
}

std::vector<std::size_t> allowedProcessors() {
    cpu_set_t set;
    CPU_ZERO( &set );
    EXPECT_EQ( ::sched_getaffinity( 0, sizeof( set ), &set ), 0 );
    std::vector<std::size_t> processors;
    for( std::size_t processor = 0; processor < CPU_SETSIZE; ++processor ) {
        if( CPU_ISSET( processor, &set ) ) {
            processors.push_back( processor );
        }
    }
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
    std::vector<std::size_t> processors = allowedProcessors();
    processors.resize( std::clamp<std::size_t>( processors.size(), 2, 8 ), processors.front() );
    std::vector<Published> published( processors.size() );
    std::atomic<long> nbBack{ 0 };
    const long nbStamps = scaledCount( 2'000'000 );
    Gate go( "go" );
    std::vector<std::unique_ptr<TestThread>> threads;
    for( std::size_t self = 0; self < processors.size(); ++self ) {
        threads.push_back( std::make_unique<TestThread>( [&, self] {
            pinTo( processors[self] );
            go.wait();
            for( long i = 0; i < nbStamps; ++i ) {
                const std::size_t other = ( self + 1 ) % processors.size();
                const std::uint64_t before =
                    published[other].stamp.load( std::memory_order_acquire );
                const std::uint64_t stamp = HwCounter::timeStamp();
                if( stamp < before ) {
                    nbBack.fetch_add( 1, std::memory_order_relaxed );
                }
                published[self].stamp.store( stamp, std::memory_order_release );
            }
        } ) );
    }
    go.open();
    for( const auto& thread : threads ) {
        thread->join();
    }
    EXPECT_EQ( nbBack.load(), 0 );
}

} // namespace

} // namespace Qv
