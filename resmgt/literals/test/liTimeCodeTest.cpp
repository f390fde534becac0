#include <base/values/dtTimeEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liTimeCodeAes31Tcf.h>
#include <resmgt/literals/liTimeCodeCustom.h>
#include <resmgt/literals/liTimeCodeFactory.h>
#include <resmgt/literals/liTimeCodePositiveNb.h>
#include <resmgt/literals/liTimeCodeSmpte258.h>
#include <resmgt/literals/liTimeCodeUtil.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <limits>
#include <random>

namespace Qv {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t LAST_INDEX = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t FIRST_INDEX = std::numeric_limits<std::int64_t>::min();

LiRateRegistry::Entry rate( const char* enumName ) {
    return LiRateRegistry::getInstance().get( enumName );
}

RCShdPtr<LiTimeCode> format( const std::string& name ) {
    for( const RCShdPtr<LiTimeCode>& known : LiTimeCodeFactory::getInstance() ) {
        if( known->getName() == name ) {
            return known;
        }
    }
    ADD_FAILURE() << "no format " << name;
    return RCShdPtr<LiTimeCode>( new LiTimeCodePositiveNb );
}

struct KnownFormat {
    const char* name;
    const char* shortName;
    int framesPerSecond;
    int dropped;
    const char* separators;
    int width;
    std::int64_t framesPerDay;
};

const KnownFormat knownFormats[] = {
    { "Film 23.98 FPS", "Film NTSC", 24, 0, "::+", 2, 2071526 },
    { "Film 24 FPS", "Film24", 24, 0, "::+", 2, 2073600 },
    { "PAL 25 FPS", "PAL", 25, 0, ":::", 2, 2160000 },
    { "NTSC DF 29.97 FPS", "NTSC DF", 30, 2, ";;;", 2, 2589408 },
    { "NTSC NDF 29.97 FPS", "NTSC NDF", 30, 0, ":::", 2, 2589408 },
    { "NTSC 30 FPS", "NTSC 30", 30, 0, ":::", 2, 2592000 },
    { "HD 50 FPS", "PAL Field", 50, 0, "::#", 2, 4320000 },
    { "HD DF 59.94 FPS", "HD DF", 60, 4, ";;#", 2, 5178816 },
    { "HD NDF 59.94 FPS", "HD NDF", 60, 0, "::#", 2, 5178816 },
    { "HD 60 FPS", "HDTV 60fps", 60, 0, "::#", 2, 5184000 },
    { "Half CD 22050 Hz", "22.05KHz", 22050, 0, ":::", 5, 1905120000 },
    { "CD 44100 Hz", "44.1KHz", 44100, 0, ":::", 5, 3810240000 },
    { "48000 Hz", "48KHz", 48000, 0, ":::", 5, 4147200000 },
    { "96000 Hz", "96KHz", 96000, 0, ":::", 5, 8294400000 },
};

// Counts as a clock of timecode does, label by label, and leaves out what the rule of drop-frame
// says: the first labels of each minute that isn't a tenth one.
class SlowCounter {
public:
    explicit SlowCounter( const KnownFormat& format )
        : _format( format ) {}

    void advance() {
        if( ++_frames < _format.framesPerSecond ) {
            return;
        }
        _frames = 0;
        if( ++_seconds % 60 == 0 && _seconds / 60 % 10 != 0 ) {
            _frames = _format.dropped;
            nbDropped += _format.dropped;
        }
    }
    std::string text() const {
        const char* const separators = _format.separators;
        char result[32];
        std::snprintf( result, sizeof( result ), "%02d%c%02d%c%02d%c%0*d", _seconds / 3600,
                       separators[0], _seconds / 60 % 60, separators[1], _seconds % 60,
                       separators[2], _format.width, _frames );
        return result;
    }

    std::int64_t nbDropped = 0;

private:
    const KnownFormat& _format;
    int _seconds = 0;
    int _frames = 0;
};

// A time and its label must lead to each other.
void expectPair( const LiTimeCode& code, std::int64_t frame, const std::string& label ) {
    ASSERT_EQ( code.generate( DtTimeIndex( frame ) ), label ) << code.getName() << ' ' << frame;
    ASSERT_EQ( code.getTime( label ).getIndex(), frame ) << code.getName() << ' ' << label;
}

TEST( LiTimeCode, EveryFrameOfADayHasTheLabelThatASlowCounterCounts ) {
    for( const KnownFormat& known : knownFormats ) {
        const RCShdPtr<LiTimeCode> code = format( known.name );
        SlowCounter counter( known );
        // Of sound, the first minute: a day would take too long.
        const bool isSound = known.width == 5;
        const std::int64_t end = isSound ? 61 * known.framesPerSecond : known.framesPerDay;
        std::string last;
        for( std::int64_t frame = 0; frame < end; ++frame ) {
            const std::string label = counter.text();
            const std::int64_t place = frame + counter.nbDropped;
            // One condition: this runs tens of millions of times.
            const bool isRight = code->generate( DtTimeIndex( frame ) ) == label &&
                                 code->getTime( label ).getIndex() == frame && last < label &&
                                 code->dropToNonDropAdjust( frame ) == place &&
                                 code->nonDropToDropAdjust( place ) == frame;
            ASSERT_TRUE( isRight ) << known.name << ": " << frame << " should be " << label;
            last = label;
            counter.advance();
        }
        EXPECT_EQ( code->getNbDroppedFrames( 0, end - 1 ), counter.nbDropped ) << known.name;
        EXPECT_EQ( counter.nbDropped, 1296 * known.dropped ) << known.name;
    }
}

TEST( LiTimeCode, SamplesOfAWholeDayComeBackFromTheirLabels ) {
    std::mt19937_64 random( testSeed() );
    for( const KnownFormat& known : knownFormats ) {
        const RCShdPtr<LiTimeCode> code = format( known.name );
        for( long i = 0; i < scaledCount( 20000 ) && !HasFatalFailure(); ++i ) {
            const auto frame = static_cast<std::int64_t>(
                random() % static_cast<std::uint64_t>( known.framesPerDay ) );
            expectPair( *code, frame, code->generate( DtTimeIndex( frame ) ) );
            ASSERT_EQ( code->generate( DtTimeIndex( frame - 3 * known.framesPerDay ) ),
                       code->generate( DtTime( frame, code->getFrameRate() ) ) );
        }
    }
}

TEST( LiTimeCode, BuiltInFormatsStandInTheirOrderWithTheirNamesAndDays ) {
    auto place = LiTimeCodeFactory::getInstance().begin();
    for( const KnownFormat& known : knownFormats ) {
        ASSERT_NE( place, LiTimeCodeFactory::getInstance().end() );
        const LiTimeCode& code = **place++;
        EXPECT_EQ( code.getName(), known.name );
        EXPECT_EQ( code.getShortName(), known.shortName );
        EXPECT_EQ( code.getFramesPerDay(), known.framesPerDay ) << known.name;
        EXPECT_EQ( code.getSecondFrameSeparator(), known.separators[2] );
    }
    EXPECT_EQ( place, LiTimeCodeFactory::getInstance().end() );
}

TEST( LiTimeCode, DaysWrapAndDroppedLabelsMoveOn ) {
    const RCShdPtr<LiTimeCode> ntsc = format( "NTSC DF 29.97 FPS" );
    expectPair( *ntsc, 1800, "00;01;00;02" );
    expectPair( *ntsc, 17982, "00;10;00;00" );
    EXPECT_EQ( ntsc->getTime( 0, 1, 0, 0 ).getIndex(), 1800 );
    EXPECT_EQ( ntsc->getTime( 0, 1, 0, 2 ).getIndex(), 1800 );
    EXPECT_EQ( ntsc->getTime( 0, 10, 0, 0 ).getIndex(), 17982 );
    EXPECT_EQ( ntsc->getTime( "00;01;00;01" ).getIndex(), 1800 );
    EXPECT_EQ( ntsc->getTime( 0, -1, 0, 2 ).getIndex(), -1800 );
    EXPECT_EQ( ntsc->generate( DtTimeIndex( 2589408 ) ), "00;00;00;00" );
    EXPECT_EQ( ntsc->generate( DtTimeIndex( -1 ) ), "23;59;59;29" );
    EXPECT_EQ( ntsc->getDay( DtTime( -1, 30000, 1001 ) ), -1 );
    EXPECT_EQ( ntsc->getDay( DtTime( -2589408, 30000, 1001 ) ), -1 );
    EXPECT_EQ( ntsc->getDay( DtTime( -2589409, 30000, 1001 ) ), -2 );
    EXPECT_EQ( ntsc->getDay( DtTime( 2589408, 30000, 1001 ) ), 1 );
    EXPECT_EQ( ntsc->getNbDroppedFrames( 1799, 1800 ), 2 );
    EXPECT_EQ( ntsc->getNbDroppedFrames( 1800, 1799 ), 2 );
    EXPECT_EQ( ntsc->getNbDroppedFrames( -1, 2 * 2589408 ), 2 * 2592 );
    const RCShdPtr<LiTimeCode> hd = format( "HD DF 59.94 FPS" );
    expectPair( *hd, 3600, "00;01;00#04" );
    const RCShdPtr<LiTimeCode> nonDrop = format( "NTSC NDF 29.97 FPS" );
    EXPECT_EQ( nonDrop->generate( DtTimeIndex( -1 ) ), "23:58:33:17" );
    EXPECT_EQ( nonDrop->getTime( "23:59:59:29" ).getIndex(), 2591999 );
    EXPECT_EQ( nonDrop->getNbDroppedFrames( 0, 100000 ), 0 );
}

TEST( LiTimeCode, IndicesAtTheEdgesOf64BitsEitherHaveAnAnswerOrRaise ) {
    for( const RCShdPtr<LiTimeCode>& code : LiTimeCodeFactory::getInstance() ) {
        for( const std::int64_t frame : { FIRST_INDEX, LAST_INDEX } ) {
            const DtTime time( frame, code->getFrameRate() );
            const std::int64_t day = code->getDay( time );
            const auto rest = static_cast<std::uint64_t>( frame ) -
                              static_cast<std::uint64_t>( day ) *
                                  static_cast<std::uint64_t>( code->getFramesPerDay() );
            EXPECT_LT( rest, static_cast<std::uint64_t>( code->getFramesPerDay() ) );
            EXPECT_EQ( code->generate( time ), code->generate( DtTimeIndex( frame ) ) );
            EXPECT_EQ( code->generate( DtTimeIndex( frame ) ),
                       code->generate( DtTimeIndex( static_cast<std::int64_t>( rest ) ) ) );
        }
        const int huge = std::numeric_limits<int>::min();
        EXPECT_LT( code->getTime( huge, huge, huge, huge ).getIndex(), 0 );
    }
    const RCShdPtr<LiTimeCode> ntsc = format( "NTSC DF 29.97 FPS" );
    EXPECT_THROW( ntsc->dropToNonDropAdjust( LAST_INDEX ), DtTimeEx::ExOutOfRange );
    EXPECT_THROW( ntsc->getNbDroppedFrames( FIRST_INDEX, LAST_INDEX ), DtTimeEx::ExOutOfRange );
    const std::int64_t frame = ntsc->nonDropToDropAdjust( LAST_INDEX );
    EXPECT_EQ( ntsc->dropToNonDropAdjust( frame ), LAST_INDEX );
    EXPECT_LT( ntsc->nonDropToDropAdjust( FIRST_INDEX ), -frame + 5 );
}

TEST( LiTimeCode, AMalformedLabelIsQuotedWithItsFirstWrongCharacter ) {
    struct Malformed {
        const char* format;
        std::string label;
        int character;
        const char* shown = "";
    };
    const char* const pal = "PAL 25 FPS";
    const Malformed table[] = {
        { pal, "", 1 },
        { pal, "  ", 3 },
        { pal, "00:00:00", 9 },
        { pal, "00:00:00:", 10 },
        { pal, "00:00:61:00", 7 },
        { pal, "00:60:00:00", 4 },
        { pal, " 24:00:00:00", 2 },
        { pal, "00:00:00:25", 10 },
        { "NTSC 30 FPS", "00:00:00:30", 10 },
        { pal, "00;00:00:00", 3 },
        { pal, "00:00:00;00", 9 },
        { pal, "000:00:00:00", 3 },
        { pal, "-1:00:00:00", 1 },
        { pal, "00:00:0x:00", 8 },
        { pal, "00:00:00:00x", 12 },
        { pal, "00:00:00:00 0", 13 },
        { pal, "00: 1:00:00", 4 },
        { pal, std::string( "00:00:00:00\0", 12 ), 12 },
        { pal, "00:\xc3\xbc:00:00", 4, ", \"\xc3\xbc\": " },
        { "48000 Hz", "00:00:00:48000", 10 },
    };
    for( const Malformed& bad : table ) {
        try {
            format( bad.format )->getTime( bad.label );
            ADD_FAILURE() << bad.label << " was taken";
        } catch( const LiEx::ExBadTimeCode& exception ) {
            EXPECT_THAT( exception.getReason(),
                         HasSubstr( '"' + std::string( bad.label.c_str() ) ) );
            EXPECT_THAT( exception.getReason(),
                         HasSubstr( "character " + std::to_string( bad.character ) + ',' ) );
            EXPECT_THAT( exception.getReason(), HasSubstr( bad.shown ) );
        }
    }
    EXPECT_THROW( format( pal )->getTime( std::string( 1 << 20, '0' ) ), LiEx::ExBadTimeCode );
    EXPECT_EQ( format( pal )->getTime( " \t1:2:3:4 " ).getIndex(), 93079 );
}

TEST( LiTimeCode, ASecondFieldIsMarkedWhereTheFormatHasAMarkForIt ) {
    LiTimeCodeCustom::Args args( rate( "F29_97" ) );
    args.fieldBased = true;
    args.fieldSeparator = '.';
    const LiTimeCodeCustom code( args );
    for( const std::int64_t field : { 0, 1, 59, 60, -1 } ) {
        const std::string label = code.generateFromField( field );
        EXPECT_EQ( label[8], field % 2 == 0 ? ':' : '.' );
        EXPECT_EQ( label, code.generateFromField( field + 2 * code.getFramesPerDay() ) );
        const DtTime time = code.getTime( label );
        EXPECT_EQ( code.generate( time ), label );
        EXPECT_EQ( time.convertRate( Rational( 60000, 1001 ) ).getIndex(),
                   field < 0 ? field + 2 * code.getFramesPerDay() : field );
    }
    EXPECT_EQ( format( "Film 24 FPS" )->generateFromField( 25 ), "00:00:01+01" );
    EXPECT_EQ( format( "PAL 25 FPS" )->generate( DtTime( 51, 50, 1 ) ), "00:00:01:00" );
}

TEST( LiTimeCode, Aes31LabelsLeadBackToTheirSamplesAtAllRates ) {
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
    EXPECT_EQ( ntsc->getTime( ntsc->generateFromSubFrame( 4147197454 ) ).getIndex(), 1601 );
}

TEST( LiTimeCode, Aes31SeparatorsTellTheRates ) {
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

TEST( LiTimeCode, FractionsOfAFrameComeBackFromTheirLabels ) {
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

TEST( LiTimeCode, PlainNumbersCountFromOne ) {
    const LiTimeCodePositiveNb unknown;
    EXPECT_EQ( unknown.getName(), "1-based frame number (unknown rate)" );
    EXPECT_EQ( unknown.generate( DtTime( 7, 25, 1 ) ), "8" );
    const LiTimeCodePositiveNb code( Rational( 12, 1 ) );
    EXPECT_EQ( code.getShortName(), "1-based (12 Hz)" );
    EXPECT_EQ( code.generate( DtTime( 50, 25, 1 ) ), "25" );
    for( const std::int64_t frame :
         { FIRST_INDEX, std::int64_t( -1 ), std::int64_t( 0 ), LAST_INDEX - 1 } ) {
        expectPair( code, frame, std::to_string( frame + 1 ) );
    }
    EXPECT_THROW( code.generate( DtTimeIndex( LAST_INDEX ) ), DtTimeEx::ExOutOfRange );
    EXPECT_EQ( code.getTime( 0, 1, 1, 3 ).getIndex(), 61 * 12 + 3 );
    EXPECT_EQ( code.getDay( DtTime( -1, 12, 1 ) ), -1 );
    for( const char* bad : { "", "x", "1x", "-9223372036854775808", "9223372036854775808" } ) {
        EXPECT_THROW( code.getTime( bad ), LiEx::ExBadTimeCode ) << bad;
    }
    for( const Rational& bad : { Rational( 0, 1 ), Rational( 1, 0 ), Rational( -1, 1 ) } ) {
        EXPECT_THROW( LiTimeCodePositiveNb{ bad }, LiEx::ExBadRate );
    }
}

TEST( LiTimeCode, TheFactoryFindsTheFormatOfARateAndItsCounterpart ) {
    const LiTimeCodeFactory& factory = LiTimeCodeFactory::getInstance();
    EXPECT_EQ( factory.create( rate( "F29_97" ), true )->getShortName(), "NTSC DF" );
    EXPECT_EQ( factory.create( Rational( 2997, 100 ), false )->getShortName(), "NTSC NDF" );
    EXPECT_EQ( factory.create( rate( "F25" ), true )->getShortName(), "PAL" );
    EXPECT_EQ( factory.create( rate( "S8000" ), false )->getShortName(), "1-based (8000 Hz)" );
    EXPECT_EQ( factory.create( Rational( 7, 1 ), false )->generate( DtTimeIndex( 0 ) ), "1" );
    EXPECT_EQ( factory.create( LiRateRegistry::Entry(), false )->getShortName(), "1-based" );
    EXPECT_EQ( LiTimeCodeUtil::getTimeCodeCounterpart( *format( "NTSC 30 FPS" ) )->getShortName(),
               "NTSC DF" );
    EXPECT_EQ( LiTimeCodeUtil::getTimeCodeCounterpart( *format( "HD DF 59.94 FPS" ) )->getName(),
               "HD 60 FPS" );
    EXPECT_FALSE( LiTimeCodeUtil::hasTimeCodeCounterpart( *format( "PAL 25 FPS" ) ) );
    EXPECT_FALSE( LiTimeCodeUtil::hasTimeCodeCounterpart( LiTimeCodePositiveNb() ) );
}

TEST( LiTimeCode, LabelsNeedWholeFramesASecondAndHaveAllHoursOfADay ) {
    LiRateRegistry own;
    const Rational one( 1, 1 );
    const auto half =
        own.registerRate( "F12_5", "", "", Rational( 25, 2 ), one, one, FpsNameFunctor() );
    EXPECT_THROW( LiTimeCodeCustom{ LiTimeCodeCustom::Args( half ) }, LiEx::ExBadRate );
    EXPECT_THROW( LiTimeCodeCustom::Args{ LiRateRegistry::Entry() }, ExBase );
    const auto fast = own.registerRate( "F24_FAST", "", "", Rational( 24, 1 ), Rational( 5, 1 ),
                                        one, FpsNameFunctor() );
    expectPair( LiTimeCodeCustom( LiTimeCodeCustom::Args( fast ) ), 120 * 86400 - 1,
                "119:59:59:023" );
}

} // namespace
} // namespace Qv
