#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liTimeCodeAes31Tcf.h>
#include <resmgt/literals/liTimeCodeSmpte258.h>
#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace Qv {
namespace {

LiRateRegistry::Entry rate( const char* enumName ) {
    return LiRateRegistry::getInstance().get( enumName );
}

__extension__ typedef __int128 Int128;

// The unit of a rate of `numerator` / `denominator` that begins last before the one of another
// rate.
std::int64_t unitAt( std::int64_t index, const Rational& from, const Rational& to ) {
    const Int128 dividend = Int128( index ) * from.getDenominator() * to.getNumerator();
    const Int128 divisor = Int128( from.getNumerator() ) * to.getDenominator();
    const Int128 quotient = dividend / divisor;
    return static_cast<std::int64_t>( quotient * divisor > dividend ? quotient - 1 : quotient );
}

TEST( LiTimeCodeSubFramesTest, Aes31LabelsLeadBackToTheirSamplesAtAllRates ) {
    std::mt19937_64 random( testSeed() );
    for( const LiRateRegistry::Entry& frames : LiRateRegistry::getInstance() ) {
        for( const LiRateRegistry::Entry& samples : LiRateRegistry::getInstance() ) {
            if( frames.getEnumName()[0] != 'F' || samples.getEnumName()[0] != 'S' ) {
                continue;
            }
            const RCShdPtr<LiTimeCode> code = LiTimeCodeAes31Tcf::create( frames, samples );
            const auto perDay = static_cast<std::uint64_t>( code->getSubFramesPerDay() );
            for( long i = 0; i < scaledCount( 300 ); ++i ) {
                const auto sample = static_cast<std::int64_t>( random() % perDay );
                const DtTime time( sample, samples.getComputedRate() );
                const std::string label = code->generateFromSubFrame( sample );
                ASSERT_TRUE( code->getTime( label ) == time ) << code->getName() << ' ' << label;
                const auto frame = static_cast<std::int64_t>( random() % 2'000'000 );
                const std::string aligned = code->generate( DtTime( frame, code->getFrameRate() ) );
                ASSERT_EQ( code->getTime( aligned ).getIndex(), frame ) << code->getName();
            }
        }
    }
    // The first frame of the second day has a sample more than that of the first.
    const auto ntsc = LiTimeCodeAes31Tcf::create( rate( "F29_97" ), rate( "S48000" ) );
    EXPECT_EQ( ntsc->getTime( ntsc->generateFromSubFrame( 4147197454 ) ).getIndex(), 1602 );
}

TEST( LiTimeCodeSubFramesTest, Aes31SeparatorsTellTheRates ) {
    const char* const table[][3] = {
        { "F23_976", "S48000", "00-00-01.00/0000" }, { "F24", "S44100", "00=00=01.00|0000" },
        { "F25", "S96000", "00.00.01.00*0000" },     { "F29_97", "S47952", "00:00:01.00-0000" },
        { "F30", "S32000", "00|00|01.00=0000" },     { "F50", "S48000", "00!00!01.00/000" },
        { "F59_94", "S48000", "00?00?01.00/000" },   { "F60", "S8000", "00?00?01.00%000" },
    };
    for( const auto& [frames, samples, label] : table ) {
        const RCShdPtr<LiTimeCode> code =
            LiTimeCodeAes31Tcf::create( rate( frames ), rate( samples ) );
        EXPECT_EQ( code->generate( code->getTime( 0, 0, 1, 0 ) ), label );
    }
    const RCShdPtr<LiTimeCode> pal = LiTimeCodeAes31Tcf::create( rate( "F25" ), rate( "S48000" ) );
    EXPECT_EQ( pal->getTime( "01.00.00.12/0480" ).getIndex(), 3600 * 48000 + 12 * 1920 + 480 );
    EXPECT_EQ( pal->getTime( "01.00.00.12/1919" ).getIndex(), 3600 * 48000 + 13 * 1920 - 1 );
    EXPECT_THROW( pal->getTime( "01.00.00.12/1920" ), LiEx::ExBadTimeCode );
    EXPECT_THROW( pal->getTime( "01.00.00.12|0480" ), LiEx::ExBadTimeCode );
    LiRateRegistry own;
    const LiRateRegistry::Entry pulled =
        own.registerRate( "F24_975", "", "", Rational( 25, 1 ), Rational( 1000, 1001 ),
                          Rational( 1, 1 ), FpsNameFunctor() );
    EXPECT_EQ( LiTimeCodeAes31Tcf::create( pulled, rate( "S48000" ) )->getHourMinuteSeparator(),
               '/' );
}

TEST( LiTimeCodeSubFramesTest, FractionsOfAFrameComeBackFromTheirLabels ) {
    for( const char* name : { "F24", "F25", "F29_97", "F59_94" } ) {
        const RCShdPtr<LiTimeCode> code = LiTimeCodeSmpte258::create( rate( name ), 2, 2 );
        for( int fraction = 0; fraction < 10000; ++fraction ) {
            char label[32];
            std::snprintf( label, sizeof( label ), "01:02:03:04:%02d.%02d", fraction / 100,
                           fraction % 100 );
            ASSERT_EQ( code->generate( code->getTime( label ) ), label ) << name;
        }
        EXPECT_EQ( code->getTime( "00:00:01:00" ).getIndex(),
                   code->getTime( 0, 0, 1, 0 ).getIndex() );
        EXPECT_THROW( code->getTime( "00:00:01:00:" ), LiEx::ExBadTimeCode );
        EXPECT_THROW( code->getTime( "00:00:01:00:00.001" ), LiEx::ExBadTimeCode );
    }
    const RCShdPtr<LiTimeCode> fine = LiTimeCodeSmpte258::create( rate( "F25" ), 2, 6 );
    EXPECT_EQ( fine->generate( DtTime( 999'999'999, 1'000'000'000, 1 ) ), "00:00:00:24:99.999998" );
    EXPECT_EQ( fine->generate( DtTime( 1, 75, 1 ) ), "00:00:00:00:33.333333" );
    EXPECT_EQ( fine->generate( DtTime( -1, 1'000'000'000, 1 ) ), "23:59:59:24:99.999998" );
    EXPECT_EQ( fine->generate( DtTime( 26, DtTime::SPECIAL_RATE ) ), "00:00:01:01:00.000000" );
    const RCShdPtr<LiTimeCode> whole = LiTimeCodeSmpte258::create( rate( "F25" ), 2, 0 );
    EXPECT_EQ( whole->generate( whole->getTime( "00:00:00:00:50" ) ), "00:00:00:00:50" );
    EXPECT_EQ( whole->generate( DtTime( 999, 25000, 1 ) ), "00:00:00:00:99" );
}

TEST( LiTimeCodeSubFramesTest, Aes31CountsSamplesFromTheFrameOnAnyDayAndReadsWhatItWrites ) {
    std::mt19937_64 random( testSeed() );
    for( const char* frames : { "F23_976", "F24", "F25", "F29_97", "F30", "F59_94" } ) {
        for( const char* samples :
             { "S48000", "S47952", "S44100", "S44055", "S11025", "S33333" } ) {
            const Rational frameRate = rate( frames ).getComputedRate();
            const Rational sampleRate = rate( samples ).getComputedRate();
            const auto code = LiTimeCodeAes31Tcf::create( rate( frames ), rate( samples ) );
            for( long i = 0; i < scaledCount( 1000 ); ++i ) {
                const auto sample = static_cast<std::int64_t>( random() >> 24 ) - ( 1LL << 39 );
                const std::int64_t frame = unitAt( sample, sampleRate, frameRate );
                const std::int64_t count = sample - unitAt( frame, frameRate, sampleRate );
                const std::string label = code->generateFromSubFrame( sample );
                ASSERT_EQ( std::stoll( label.substr( 12 ) ), count ) << label << ' ' << sample;
                const std::int64_t perDay = code->getFramesPerDay();
                const std::int64_t place = ( frame % perDay + perDay ) % perDay;
                const DtTime start( unitAt( place, frameRate, sampleRate ) + count, sampleRate );
                const DtTime time = count == 0 ? DtTime( place, frameRate ) : start;
                ASSERT_TRUE( code->getTime( label ) == time ) << code->getName() << ' ' << label;
            }
        }
    }
}

TEST( LiTimeCodeSubFramesTest, FractionsAreReducedBeforeDigitsAreCut ) {
    const struct {
        const char* rate;
        const char* fraction;
        std::int64_t numerator;
        int denominator;
    } table[] = {
        { "F29_97", "00.012500", 1, 8000 },     { "F29_97", "99.987500", 7999, 8000 },
        { "F29_97", "33.333333", 3333, 10000 }, { "F25", "33.333333", 3333333, 10000000 },
        { "F59_94", "00.003125", 1, 32000 },    { "F59_94", "00.003126", 0, 1 },
        { "S48048", "00.003125", 1, 32000 },    { "S48048", "50.000000", 1, 2 },
        { "F23_976", "00.001600", 1, 62500 },   { "F23_976", "00.000000", 0, 1 },
    };
    for( const auto& [name, fraction, numerator, denominator] : table ) {
        const auto code = LiTimeCodeSmpte258::create( rate( name ), 2, 6 );
        const std::string frames = name[0] == 'S' ? "00007" : "07";
        const std::string label = "00:00:00:" + frames + ':' + fraction;
        const DtTime time = code->getTime( label );
        // Exactly: ( time / rate - 7 ) x denominator is the numerator.
        const Rational frameRate = code->getFrameRate();
        const Int128 left = Int128( time.getIndex() ) * time.getRate().getDenominator() *
                            frameRate.getNumerator() * denominator;
        const Int128 right = ( Int128( 7 ) * denominator + numerator ) *
                             time.getRate().getNumerator() * frameRate.getDenominator();
        EXPECT_TRUE( left == right ) << name << ' ' << fraction << ' ' << time.getIndex();
    }
}

} // namespace
} // namespace Qv
