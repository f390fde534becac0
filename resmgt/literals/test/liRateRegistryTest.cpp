#include <base/failure/assertions.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liRateRegistry.h>
#include <resmgt/literals/liTimeCodeFactory.h>
#include <tests/support/failingNew.h>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace Qv {
namespace {

using ::testing::HasSubstr;

const LiRateRegistry& registry() {
    return LiRateRegistry::getInstance();
}

struct PublishedRate {
    const char* enumName;
    Rational rate;
    const char* numericName;
};

// The rates as they are published, in the registry's order.
const PublishedRate publishedRates[] = {
    { "F23_976", { 24000, 1001 }, "23.98 fps" },
    { "F24", { 24, 1 }, "24 fps" },
    { "F25", { 25, 1 }, "25 fps" },
    { "F29_97", { 30000, 1001 }, "29.97 fps" },
    { "F30", { 30, 1 }, "30 fps" },
    { "F50", { 50, 1 }, "50 fps" },
    { "F59_94", { 60000, 1001 }, "59.94 fps" },
    { "F60", { 60, 1 }, "60 fps" },
    { "S48000", { 48000, 1 }, "48000 Hz" },
    { "S47952", { 48000000, 1001 }, "47952 Hz" },
    { "S48048", { 48048, 1 }, "48048 Hz" },
    { "S46080", { 46080, 1 }, "46080 Hz" },
    { "S50000", { 50000, 1 }, "50000 Hz" },
    { "S44100", { 44100, 1 }, "44100 Hz" },
    { "S44055", { 44100000, 1001 }, "44055 Hz" },
    { "S44144", { 441441, 10 }, "44144 Hz" },
    { "S42336", { 42336, 1 }, "42336 Hz" },
    { "S45937", { 91875, 2 }, "45937 Hz" },
    { "S32000", { 32000, 1 }, "32000 Hz" },
    { "S31968", { 32000000, 1001 }, "31968 Hz" },
    { "S32032", { 32032, 1 }, "32032 Hz" },
    { "S30720", { 30720, 1 }, "30720 Hz" },
    { "S33333", { 100000, 3 }, "33333 Hz" },
    { "S96000", { 96000, 1 }, "96000 Hz" },
    { "S95904", { 96000000, 1001 }, "95904 Hz" },
    { "S96096", { 96096, 1 }, "96096 Hz" },
    { "S92160", { 92160, 1 }, "92160 Hz" },
    { "S100000", { 100000, 1 }, "100000 Hz" },
    { "S88200", { 88200, 1 }, "88200 Hz" },
    { "S88111", { 88200000, 1001 }, "88111 Hz" },
    { "S88288", { 441441, 5 }, "88288 Hz" },
    { "S84672", { 84672, 1 }, "84672 Hz" },
    { "S91875", { 91875, 1 }, "91875 Hz" },
    { "S8000", { 8000, 1 }, "8000 Hz" },
    { "S16000", { 16000, 1 }, "16000 Hz" },
    { "S11025", { 11025, 1 }, "11025 Hz" },
    { "S22050", { 22050, 1 }, "22050 Hz" },
    { "S176400", { 176400, 1 }, "176400 Hz" },
    { "S192000", { 192000, 1 }, "192000 Hz" },
};

TEST( LiRateRegistryTest, HoldsThePublishedRatesAndFindsEachByAllItsKeys ) {
    int place = 0;
    for( const PublishedRate& published : publishedRates ) {
        const LiRateRegistry::Entry entry = registry().get( published.enumName );
        ASSERT_FALSE( entry.isNull() ) << published.enumName;
        EXPECT_EQ( entry.getEnumVal(), place ) << published.enumName;
        EXPECT_EQ( entry.getComputedRate(), published.rate ) << published.enumName;
        EXPECT_EQ( entry.getNumericName(), published.numericName );
        EXPECT_TRUE( registry().get( place ) == entry );
        EXPECT_TRUE( *registry().find( place ) == entry );
        EXPECT_TRUE( registry().get( published.rate ) == entry ) << published.enumName;
        EXPECT_TRUE( registry().get( entry.getStandardRate() ) == entry ) << published.enumName;
        EXPECT_TRUE( registry().getNearest( published.rate.getDouble() + 0.001, 0.01 ) == entry );
        ++place;
    }
    EXPECT_EQ( registry().end() - registry().begin(), place );
}

TEST( LiRateRegistryTest, StandardRateDiffersOnlyWhereTheStandardsRound ) {
    for( const LiRateRegistry::Entry& entry : registry() ) {
        const std::string& name = entry.getEnumName();
        const bool isRounded = name == "F23_976" || name == "F29_97" || name == "F59_94";
        EXPECT_EQ( entry.overridesComputedRate(), isRounded ) << name;
    }
    const LiRateRegistry::Entry field = registry().get( "F59_94" );
    EXPECT_EQ( field.getStandardRate(), Rational( 5994, 100 ) );
    EXPECT_EQ( field.getBaseFactorRate(), Rational( 60, 1 ) );
    EXPECT_EQ( field.getBaseRate(), Rational( 30, 1 ) );
    EXPECT_TRUE( field.hasFactor() );
    EXPECT_TRUE( field.hasTimePullRate() );
    EXPECT_FALSE( registry().get( "F25" ).hasFactor() );
    EXPECT_FALSE( registry().get( "F25" ).hasTimePullRate() );
    EXPECT_TRUE( registry().get( "F29_97" ) < registry().get( "F30" ) );
}

TEST( LiRateRegistryTest, WhatIsNoKeyFindsNothing ) {
    EXPECT_TRUE( registry().get( "NTSC" ).isNull() ) << "a short name";
    EXPECT_TRUE( registry().get( "f24" ).isNull() );
    EXPECT_TRUE( registry().find( "24 fps" ) == registry().end() );
    for( const int place : { -1, 39, std::numeric_limits<int>::max() } ) {
        EXPECT_TRUE( registry().get( place ).isNull() );
        EXPECT_TRUE( registry().find( place ) == registry().end() );
    }
    for( const Rational& rate : { Rational( 0, 0 ), Rational( 1, 0 ), Rational( 26, 1 ) } ) {
        EXPECT_TRUE( registry().get( rate ).isNull() );
    }
    EXPECT_EQ( registry().getNearest( 29.97, 0.01 ).getEnumName(), "F29_97" );
    EXPECT_TRUE( registry().getNearest( 29.97, 0.00002 ).isNull() );
    EXPECT_TRUE( registry().getNearest( 24, 0 ).isNull() );
    EXPECT_TRUE( registry().getNearest( std::numeric_limits<double>::quiet_NaN(), 1 ).isNull() );
    EXPECT_EQ( registry().getNearest( 24.5, 1 ).getEnumName(), "F24" ) << "the first of two";
}

TEST( LiRateRegistryTest, ANullEntryRaisesAtEveryAccess ) {
    const LiRateRegistry::Entry null;
    EXPECT_THROW( null.getEnumName(), ExBase );
    EXPECT_THROW( null.getEnumVal(), ExBase );
    EXPECT_THROW( null.hasFactor(), ExBase );
    EXPECT_THROW( static_cast<void>( null < registry().get( 0 ) ), ExBase );
}

TEST( LiRateRegistryTest, ASecondRegistrationOfANameChangesNothing ) {
    LiRateRegistry rates;
    const Rational one( 1, 1 );
    const auto first =
        rates.registerRate( "F12", "a", "b", Rational( 12, 1 ), one, one, FpsNameFunctor() );
    EXPECT_EQ( first.getEnumVal(), 0 );
    EXPECT_TRUE(
        rates.registerRate( "F12", "c", "d", Rational( 13, 1 ), one, one, FpsNameFunctor() )
            .isNull() );
    const Rational bad( 0, 1 );
    EXPECT_TRUE( rates.registerRate( "F12", "", "", bad, bad, bad, FpsNameFunctor() ).isNull() );
    EXPECT_TRUE(
        rates.registerRate( "F12", "", "", bad, bad, bad, FpsNameFunctor(), bad ).isNull() );
    EXPECT_EQ( rates.end() - rates.begin(), 1 );
    EXPECT_EQ( rates.get( "F12" ).getShortName(), "a" );
    EXPECT_EQ( first.getDescription(), "b" );
}

TEST( LiRateRegistryTest, ARateThatCannotBeOneIsRefusedByItsName ) {
    const Rational bad[][4] = {
        { { 0, 1 }, { 1, 1 }, { 1, 1 }, { 1, 1 } },
        { { 24, 0 }, { 1, 1 }, { 1, 1 }, { 1, 1 } },
        { { 24, 1 }, { -1000, 1001 }, { 1, 1 }, { 1, 1 } },
        { { 24, 1 }, { 1, 1 }, { 1, -1 }, { 1, 1 } },
        { { 24, 1 }, { 1, 1 }, { 1, 1 }, { 0, 1 } },
        { { 2147483647, 1 }, { 1, 1 }, { 2, 1 }, { 1, 1 } },
        { { 65536, 65536 }, { 65536, 1 }, { 1, 1 }, { 1, 1 } },
        { { 1, 65536 }, { 1, 65536 }, { 1, 1 }, { 1, 1 } },
    };
    LiRateRegistry rates;
    for( const auto& [base, timePull, factor, standard] : bad ) {
        try {
            rates.registerRate( "BAD", "", "", base, timePull, factor, HzNameFunctor(), standard );
            ADD_FAILURE() << "was taken";
        } catch( const LiEx::ExBadRate& exception ) {
            EXPECT_THAT( exception.getReason(), HasSubstr( "\"BAD\"" ) );
        }
    }
    EXPECT_TRUE( rates.begin() == rates.end() );
}

// What `get` and `find` take: a number with a fraction would be cut to a place.
template <class Key>
constexpr bool isKey = requires( const LiRateRegistry& rates, Key key ) {
    rates.get( key );
    rates.find( key );
};
static_assert( isKey<const char*> && isKey<int> && isKey<short> );
static_assert( !isKey<double> && !isKey<float> && !isKey<long double> );

TEST( LiRateRegistryTest, NullNamesAreAssertions ) {
    LiRateRegistry rates;
    const Rational one( 1, 1 );
    const char* const none = nullptr;
    const FpsNameFunctor name;
    EXPECT_THROW( rates.get( none ), ExAssertionFailed );
    EXPECT_THROW( rates.find( none ), ExAssertionFailed );
    EXPECT_THROW( rates.registerRate( none, "", "", one, one, one, name ), ExAssertionFailed );
    EXPECT_THROW( rates.registerRate( "F1", none, "", one, one, one, name ), ExAssertionFailed );
    EXPECT_THROW( rates.registerRate( "F1", "", none, one, one, one, name, one ),
                  ExAssertionFailed );
    EXPECT_TRUE( rates.begin() == rates.end() );
}

TEST( LiRateRegistryTest, AFrameRateIsFoundOrMadeAsAPersonWritesIt ) {
    const struct {
        double written;
        Rational computed;
        Rational standard;
        const char* enumName;
    } table[] = {
        { 23.98, { 24000, 1001 }, { 23976, 1000 }, "F23_976" },
        { 23.976, { 24000, 1001 }, { 23976, 1000 }, "F23_976" },
        { 23.976f, { 24000, 1001 }, { 23976, 1000 }, "F23_976" },
        { 23.97602, { 24000, 1001 }, { 23976, 1000 }, "F23_976" },
        { 24000 / 1001., { 24000, 1001 }, { 23976, 1000 }, "F23_976" },
        { 24, { 24, 1 }, { 24, 1 }, "F24" },
        { 29.97, { 30000, 1001 }, { 2997, 100 }, "F29_97" },
        { 59.94f, { 60000, 1001 }, { 5994, 100 }, "F59_94" },
        { 47.95, { 48000, 1001 }, { 47952, 1000 }, "F47_952" },
        { 47.952, { 48000, 1001 }, { 47952, 1000 }, "F47_952" },
        { 119.88, { 120000, 1001 }, { 11988, 100 }, "F119_88" },
        { 24.98, { 25000, 1001 }, { 24975, 1000 }, "F24_975" },
        { 71.93, { 72000, 1001 }, { 71928, 1000 }, "F71_928" },
        { 479.52f, { 480000, 1001 }, { 47952, 100 }, "F479_52" },
        { 719.28, { 720000, 1001 }, { 71928, 100 }, "F719_28" },
        { 48, { 48, 1 }, { 48, 1 }, "F48" },
        { 100, { 100, 1 }, { 100, 1 }, "F100" },
        { 1, { 1, 1 }, { 1, 1 }, "F1" },
        { 2000000, { 2000000, 1 }, { 2000000, 1 }, "F2000000" },
    };
    const auto nbRates = registry().end() - registry().begin();
    for( const auto& wanted : table ) {
        const LiRateRegistry::Entry entry = registry().getFrameRate( wanted.written );
        EXPECT_EQ( entry.getEnumName(), wanted.enumName );
        EXPECT_EQ( entry.getComputedRate(), wanted.computed ) << wanted.written;
        EXPECT_EQ( entry.getStandardRate(), wanted.standard ) << wanted.written;
        const bool isKnown = !registry().get( wanted.enumName ).isNull();
        EXPECT_EQ( entry.getEnumVal() == -1, !isKnown ) << wanted.written;
    }
    EXPECT_EQ( registry().end() - registry().begin(), nbRates );
    const LiRateRegistry::Entry fast = registry().getFrameRate( 119.88 );
    EXPECT_EQ( fast.getBaseRate(), Rational( 30, 1 ) );
    EXPECT_EQ( fast.getFactor(), Rational( 4, 1 ) );
    EXPECT_EQ( fast.getNumericName(), "119.88 fps" );
    LiRateRegistry own;
    own.registerRate( "PULLED", "", "", Rational( 72, 1 ), Rational( 1000, 1001 ), Rational( 1, 1 ),
                      FpsNameFunctor() );
    EXPECT_EQ( own.getFrameRate( 72 ).getEnumName(), "F72" ) << "not the one that is pulled";
    EXPECT_EQ( own.getFrameRate( 71.93 ).getEnumName(), "PULLED" );
    for( const double bad : { 23.97, 23.9, 24.5, 29.96, 0., 0.3, -24., 3e6, 1e300, HUGE_VAL,
                              std::numeric_limits<double>::quiet_NaN() } ) {
        EXPECT_THROW( registry().getFrameRate( bad ), LiEx::ExBadRate ) << bad;
    }
}

TEST( LiRateRegistryTest, APackageStartThatLacksMemoryCanBeTriedAgain ) {
    InPackageInit& package = *InPackageFrame::getInstance().getStartedPackages().back();
    ASSERT_STREQ( package.getName(), "literals" );
    package.finalizePackage();
    EXPECT_GT( forEachFailingNew( [&] { package.initializePackage(); } ), 100 )
        << "rates and formats take memory";
    EXPECT_EQ( registry().end() - registry().begin(), std::ssize( publishedRates ) );
    EXPECT_EQ( std::distance( LiTimeCodeFactory::getInstance().begin(),
                              LiTimeCodeFactory::getInstance().end() ),
               14 );
}

} // namespace
} // namespace Qv
