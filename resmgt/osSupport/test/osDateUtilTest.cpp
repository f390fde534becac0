#include <base/failure/exSysError.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <tests/support/scopedEnvironment.h>

#include <gtest/gtest.h>

#include <limits>
#include <time.h>
#include <tuple>
#include <vector>

namespace Qv {

namespace {

using OsDateTypes::DateRep;

constexpr std::int64_t FIRST_SECOND = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t LAST_SECOND = std::numeric_limits<std::int64_t>::max();

TEST( OsDateUtilTest, DatesAreOlderSameOrNewerToTheNanosecondAlsoBefore1970 ) {
    constexpr std::int64_t orderedSeconds[] = { FIRST_SECOND, -2, -1, 0, 1, LAST_SECOND };
    std::vector<DateRep> ordered;
    for( const std::int64_t seconds : orderedSeconds ) {
        for( const std::int64_t nanoseconds : { 0, 1, 999'999'999 } ) {
            ordered.emplace_back( seconds, nanoseconds );
        }
    }
    for( const DateRep& date : ordered ) {
        for( const DateRep& other : ordered ) {
            const int expected = &date < &other ? -1 : &date == &other ? 0 : 1;
            EXPECT_EQ( OsDateUtil::compare( date, other ), expected )
                << date.getSeconds() << " " << other.getSeconds();
        }
    }
    for( const std::int64_t wrong : { std::int64_t{ -1 }, DateRep::NS_PER_SECOND, LAST_SECOND } ) {
        EXPECT_THROW( DateRep( 0, wrong ), ExAssertionFailed ) << wrong;
    }
}

TEST( OsDateUtilTest, ThePresentTimeIsTheMachinesClock ) {
    timespec before{};
    timespec after{};
    ASSERT_EQ( ::clock_gettime( CLOCK_REALTIME, &before ), 0 );
    const DateRep now = OsDateUtil::now();
    ASSERT_EQ( ::clock_gettime( CLOCK_REALTIME, &after ), 0 );
    EXPECT_LE( DateRep( before.tv_sec, before.tv_nsec ), now );
    EXPECT_LE( now, DateRep( after.tv_sec, after.tv_nsec ) );
}

TEST( OsDateUtilTest, ADateIsWrittenAsLocalTimeInAnyFormatOrRefused ) {
    // Half an hour off, and in daylight saving time half of the year.
    const ScopedEnvironment zone( "TZ", "TST-5:30TDT-6:30,M3.2.0,M11.1.0" );
    ::tzset();
    const std::string longText( 5000, 'x' );
    const std::tuple<DateRep, std::string, std::string> cases[] = {
        { { 0, 999'999'999 }, "%H%M%S", "053000" },
        { { -1, 0 }, "%Y-%m-%d %H:%M:%S", "1970-01-01 05:29:59" },
        { { 1'720'000'000, 0 }, "%y-%m-%d %H:%M:%S %Z", "24-07-03 16:16:40 TDT" },
        { { 253'402'300'800, 0 }, "%Y", "10000" },
        { {}, "", "" },
        { {}, "%%", "%" },
        { {}, longText, longText } };
    for( const auto& [date, format, expected] : cases ) {
        EXPECT_EQ( OsDateUtil::toLocalText( date, format.c_str() ), expected ) << format;
    }
    EXPECT_THROW( OsDateUtil::toLocalText( { LAST_SECOND, 0 }, "%Y" ), ExSysErrorWindows );
    EXPECT_THROW( OsDateUtil::toLocalText( {}, "%9999999d" ), ExSysErrorGeneric );
}

} // namespace

} // namespace Qv
