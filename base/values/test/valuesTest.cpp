#include <base/init/inSingletonEx.h>
#include <base/values/dtRefTimeFactory.h>
#include <base/values/dtTime.h>
#include <base/values/dtTimeEx.h>
#include <base/values/uuid.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <bitset>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace Qv {

namespace {

__extension__ typedef __int128 Int128;

constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
constexpr int MAX_PART = std::numeric_limits<int>::max();
constexpr Rational NTSC( 30000, 1001 );

class ScriptedClock : public DtRefClockSource {
public:
    explicit ScriptedClock( bool& isDeleted )
        : DtRefClockSource( "Scripted", Rational( 1000, 1 ), Rational( 1, 1000 ) )
        , _isDeleted( isDeleted ) {}
    ~ScriptedClock() override { _isDeleted = true; }

    std::uint64_t getCount() const override { return 42; }

private:
    bool& _isDeleted;
};

} // namespace

TEST( DtTimeTest, ConversionRoundsDownToTheUnitThatTheInstantLiesIn ) {
    const struct {
        std::int64_t index;
        Rational from;
        Rational to;
        std::int64_t converted;
    } cases[] = {
        { -1, Rational( 24, 1 ), Rational( 25, 1 ), -2 },
        { 2589408, Rational( 2997, 100 ), Rational( 48000, 1 ), 4147200000 },
        { 5, Rational( 50, 2 ), Rational( -25, -1 ), 5 },
        { 5, Rational( 25, 1 ), Rational( -25, 1 ), -5 },
        { MAX, Rational( MAX_PART, 1 ), Rational( 1, MAX_PART ), 2 },
        { MIN, Rational( 1, 1 ), Rational( 3, 3 ), MIN },
    };
    for( const auto& c : cases ) {
        const DtTime converted = DtTime( c.index, c.from ).convertRate( c.to );
        EXPECT_EQ( converted.getIndex(), c.converted ) << c.index;
        EXPECT_EQ( converted.getRate(), c.to );
    }
}

TEST( DtTimeTest, ConvertedUnitHoldsTheInstantForAnyRates ) {
    std::mt19937_64 random( testSeed() );
    const auto part = [&] { return static_cast<int>( random() >> ( 33 + random() % 31 ) ) | 1; };
    for( long i = scaledCount( 200'000 ); i > 0; --i ) {
        const Rational from( part(), part() );
        const Rational to( part(), part() );
        const auto index = static_cast<std::int64_t>( random() ) >> ( random() % 64 );
        // The instant is index * ticks units of `to`, all times `unit`.
        const Int128 ticks = Int128( from.getDenominator() ) * to.getNumerator();
        const Int128 unit = Int128( from.getNumerator() ) * to.getDenominator();
        try {
            const Int128 found = DtTime( index, from ).convertRate( to ).getIndex().getValue();
            ASSERT_LE( found * unit, index * ticks );
            ASSERT_GT( ( found + 1 ) * unit, index * ticks );
            ASSERT_LE( DtTime( static_cast<std::int64_t>( found ), to ), DtTime( index, from ) );
        } catch( const DtTimeEx::ExOutOfRange& ) {
            const Int128 size = ( index < 0 ? -Int128( index ) : index ) * ticks;
            ASSERT_GE( size / unit, Int128( MAX ) );
        }
    }
}

TEST( DtTimeTest, SumsHaveTheRateOfTheLeftSide ) {
    const DtTime frames( 10, 24, 1 );
    const DtTime difference = DtTime( 48000, 48000, 1 ) - frames;
    EXPECT_EQ( difference.getIndex(), 28000 );
    EXPECT_EQ( difference.getRate(), Rational( 48000, 1 ) );
    // A part of a unit of the left side is rounded down before it is added.
    EXPECT_EQ( ( frames + DtTime( 1999, 48000, 1 ) ).getIndex(), 10 );
    EXPECT_EQ( ( frames - DtTime( 1, 48000, 1 ) ).getIndex(), 10 );
    EXPECT_EQ( ( frames + DtTime( -1, 48000, 1 ) ).getIndex(), 9 );
}

TEST( DtTimeTest, ComparisonIsExactAcrossRates ) {
    // In rising order, neighbours nearer to each other than either rate's unit.
    const std::vector<DtTime> rising{
        DtTime( MIN, 1, MAX_PART ), DtTime( MIN, 1, 1 ),           DtTime( -1, 24, 1 ),
        DtTime( 0, 24, 1 ),         DtTime( 1, MAX_PART, 1 ),      DtTime( 1001, 24000, 1000 ),
        DtTime( 1250, NTSC ),       DtTime( MAX, MAX_PART, 1 ),    DtTime( MAX, MAX_PART - 1, 1 ),
        DtTime( MAX - 1, 1, 1 ),    DtTime( MAX - 1, 1, MAX_PART ) };
    for( std::size_t i = 0; i < rising.size(); ++i ) {
        for( std::size_t j = 0; j < rising.size(); ++j ) {
            // 1001 frames at 24 and 1250 at 30000/1001 are the same instant.
            const bool isSame = i == j || ( i + j == 11 && ( i == 5 || i == 6 ) );
            EXPECT_EQ( rising[i] == rising[j], isSame ) << i << " " << j;
            EXPECT_EQ( rising[i] < rising[j], !isSame && i < j ) << i << " " << j;
            EXPECT_EQ( rising[i] >= rising[j], isSame || i > j ) << i << " " << j;
        }
    }
}

TEST( DtTimeTest, IndexWithoutRateIsNeverConverted ) {
    const DtTime special( 7, DtTime::SPECIAL_RATE );
    EXPECT_EQ( special.convertRate( NTSC ).getIndex(), 7 );
    EXPECT_EQ( special.convertRate( NTSC ).getRate(), NTSC );
    const DtTime stripped = DtTime( 9, NTSC ).convertRate( DtTime::SPECIAL_RATE );
    EXPECT_EQ( stripped.getIndex(), 9 );
    EXPECT_EQ( stripped.getRate(), DtTime::SPECIAL_RATE );
    EXPECT_LT( special, DtTime( 8, 1000, 1 ) );
    EXPECT_EQ( ( DtTime( 8, 1000, 1 ) + special ).getIndex(), 15 );
}

TEST( DtTimeTest, WhatDoesNotFitRaises ) {
    const DtTime last( MAX, 1, 1 );
    const DtTime first( MIN, 1, 1 );
    EXPECT_THROW( std::ignore = last.convertRate( Rational( 2, 1 ) ), DtTimeEx::ExOutOfRange );
    EXPECT_THROW( last + DtTime( 1, 1, 1 ), DtTimeEx::ExOutOfRange );
    EXPECT_THROW( first - DtTime( 1, 1, 1 ), DtTimeEx::ExOutOfRange );
    EXPECT_EQ( ( last + first ).getIndex(), -1 );
    EXPECT_THROW( DtTime( 0, 1, 1 ) - first, DtTimeEx::ExOutOfRange );
}

TEST( DtTimeTest, RateByWhichNoTimePassesRaisesWhereItIsUsed ) {
    const DtTime time( 1, NTSC );
    for( const Rational& rate : { Rational( 0, 1 ), Rational( 1, 0 ), Rational( -1, 0 ) } ) {
        const DtTime odd( 1, rate );
        EXPECT_THROW( std::ignore = time.convertRate( rate ), DtTimeEx::ExBadRate );
        EXPECT_THROW( std::ignore = odd.convertRate( NTSC ), DtTimeEx::ExBadRate );
        EXPECT_THROW( std::ignore = time < odd, DtTimeEx::ExBadRate );
    }
}

// That 10,000 fair draws leave any of 122 bits the same has a probability of 2^-9992.
TEST( UuidTest, NewOnesDifferInAnyFreeBitAreCanonicalAndOrderedAsTheirTexts ) {
    const ::testing::Matcher<std::string> isCanonical = ::testing::MatchesRegex(
        "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}" );
    std::map<Uuid, std::string> texts;
    std::bitset<128> everSet;
    std::bitset<128> everClear;
    constexpr std::size_t COUNT = 10'000;
    for( std::size_t i = 0; i < COUNT; ++i ) {
        const Uuid id( Uuid::CREATE );
        const std::string text = texts[id] = id.toString();
        ASSERT_THAT( text, isCanonical );
        std::bitset<128> bits;
        for( const char digit : text ) {
            if( digit != '-' ) {
                bits = bits << 4 |
                       std::bitset<128>( std::stoul( std::string( 1, digit ), nullptr, 16 ) );
            }
        }
        everSet |= bits;
        everClear |= ~bits;
    }
    EXPECT_EQ( ( everSet & everClear ).count(), 122U );
    ASSERT_EQ( texts.size(), COUNT );
    std::string last;
    for( const auto& [id, text] : texts ) {
        ASSERT_LT( last, text );
        last = text;
    }
}

TEST( DtRefTimeFactoryTest, HoldsOneSourceFromInitializeToFinalize ) {
    const auto initialize = []( bool& isDeleted ) {
        DtRefTimeFactory::initialize( OPtr<DtRefClockSource>( new ScriptedClock( isDeleted ) ) );
    };
    EXPECT_THROW( DtRefTimeFactory::getSource(), InSingletonEx::ExNotInitialized );
    bool isDeleted = false;
    initialize( isDeleted );
    bool isSecondDeleted = false;
    EXPECT_THROW( initialize( isSecondDeleted ), InSingletonEx::ExAlreadyInitialized );
    EXPECT_TRUE( isSecondDeleted );
    EXPECT_EQ( DtRefTimeFactory::getSource().getCount(), 42U );
    EXPECT_FALSE( isDeleted );
    DtRefTimeFactory::finalize();
    EXPECT_TRUE( isDeleted );
    EXPECT_THROW( DtRefTimeFactory::getSource(), InSingletonEx::ExAlreadyDestroyed );
}

} // namespace Qv
