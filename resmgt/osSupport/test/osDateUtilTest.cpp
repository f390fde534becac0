#include <base/failure/exSysError.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <time.h>

namespace Qv {

namespace {

using OsDateTypes::DateRep;

TEST( OsDateUtil, datesAreOlderSameOrNewerToTheNanosecondAlsoBefore1970 ) {
    const DateRep ordered[] = { { std::numeric_limits<std::int64_t>::min(), 0 },
                                { -2, 999'999'999 },
                                { -1, 0 },
                                { -1, 1 },
                                {},
                                { 0, 1 },
                                { 0, 999'999'999 },
                                { 1, 0 },
                                { std::numeric_limits<std::int64_t>::max(), 999'999'999 } };
    for( const DateRep& date : ordered ) {
        for( const DateRep& other : ordered ) {
            const auto expected = &date < &other    ? OsDateTypes::OLDER
                                  : &date == &other ? OsDateTypes::SAME
                                                    : OsDateTypes::NEWER;
            EXPECT_EQ( OsDateUtil::compare( date, other ), expected )
                << date.getSeconds() << " " << other.getSeconds();
        }
    }
    EXPECT_EQ( OsDateTypes::OLDER, -1 );
    EXPECT_EQ( OsDateTypes::NEWER, 1 );
}

TEST( OsDateUtil, nanosecondsOutsideOneSecondAreRefused ) {
    for( const std::int64_t wrong :
         { std::int64_t{ -1 }, DateRep::NS_PER_SECOND, std::int64_t{ 1 } << 32 } ) {
        EXPECT_THROW( DateRep( 0, wrong ), ExAssertionFailed ) << wrong;
    }
}

TEST( OsDateUtil, thePresentTimeIsTheMachinesClock ) {
    timespec before{};
    ASSERT_EQ( ::clock_gettime( CLOCK_REALTIME, &before ), 0 );
    const DateRep now = OsDateUtil::now();
    timespec after{};
    ASSERT_EQ( ::clock_gettime( CLOCK_REALTIME, &after ), 0 );
    EXPECT_LE( DateRep( before.tv_sec, before.tv_nsec ), now );
    EXPECT_LE( now, DateRep( after.tv_sec, after.tv_nsec ) );
}

class OsDateUtilInZone : public testing::Test {
public:
    ~OsDateUtilInZone() override {
        _zone.reset();
        ::tzset();
    }

protected:
    void enter( const char* zone ) {
        _zone.emplace( "TZ", zone );
        ::tzset();
    }

private:
    std::optional<ScopedEnvironment> _zone;
};

TEST_F( OsDateUtilInZone, aDateIsWrittenAsLocalTimeInAnyFormat ) {
    // Half an hour off, and in daylight saving time half of the year.
    enter( "TST-5:30TDT-6:30,M3.2.0,M11.1.0" );
    const struct {
        DateRep date;
        const char* format;
        const char* expected;
    } cases[] = {
        { { 0, 999'999'999 }, "%H%M%S", "053000" },
        { { -1, 0 }, "%Y-%m-%d %H:%M:%S", "1970-01-01 05:29:59" },
        { { 1'720'000'000, 0 }, "%y-%m-%d %H:%M:%S %Z", "24-07-03 16:16:40 TDT" },
        { { 253'402'300'800, 0 }, "%Y", "10000" },
        { {}, "", "" },
        { {}, "%%", "%" },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( OsDateUtil::toLocalText( c.date, c.format ), c.expected ) << c.format;
    }
    const std::string longFormat( 5000, 'x' );
    EXPECT_EQ( OsDateUtil::toLocalText( {}, longFormat.c_str() ), longFormat );
}

TEST_F( OsDateUtilInZone, whatCannotBeWrittenIsRefused ) {
    EXPECT_THROW( OsDateUtil::toLocalText( { std::numeric_limits<std::int64_t>::max(), 0 }, "%Y" ),
                  ExSysErrorWindows );
    EXPECT_THROW( OsDateUtil::toLocalText( {}, "%9999999d" ), ExSysErrorGeneric );
}

} // namespace

} // namespace Qv
