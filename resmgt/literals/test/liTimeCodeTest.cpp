#include <base/failure/assertions.h>
#include <base/values/dtTimeEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liTimeCodeCustom.h>
#include <resmgt/literals/liTimeCodeFactory.h>
#include <resmgt/literals/liTimeCodePositiveNb.h>
#include <resmgt/literals/liTimeCodeUtil.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <random>
#include <tuple>

namespace Qv {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t LAST_INDEX = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t FIRST_INDEX = std::numeric_limits<std::int64_t>::min();
constexpr int LAST_INT = std::numeric_limits<int>::max();

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
// says: the first labels of each period of minutes that doesn't begin with one of the exceptions.
class SlowCounter {
public:
    SlowCounter( int framesPerSecond, int dropped, int period = 1, int exception = 10 )
        : _framesPerSecond( framesPerSecond )
        , _dropped( dropped )
        , _period( period )
        , _exception( exception ) {}
    explicit SlowCounter( const KnownFormat& format )
        : SlowCounter( format.framesPerSecond, format.dropped ) {}

    void advance() {
        if( ++_frames < _framesPerSecond ) {
            return;
        }
        _frames = 0;
        const int minute = ++_seconds / 60;
        if( _seconds % 60 == 0 && minute % _period == 0 && minute % _exception != 0 ) {
            _frames = _dropped;
            nbDropped += _dropped;
        }
    }
    bool isNearMinute() const {
        return ( _seconds % 60 == 0 && _frames <= 2 * _dropped + 1 ) ||
               ( _seconds % 60 == 59 && _frames >= _framesPerSecond - 2 );
    }
    // Digit by digit: this runs tens of millions of times.
    std::string text( const char* separators, int width ) const {
        std::string result;
        const auto append = [&result]( int number, int unit ) {
            for( ; unit > 0; unit /= 10 ) {
                result += "0123456789"[number / unit % 10];
            }
        };
        append( _seconds / 3600, 10 );
        result += separators[0];
        append( _seconds / 60 % 60, 10 );
        result += separators[1];
        append( _seconds % 60, 10 );
        result += separators[2];
        append( _frames, width == 2 ? 10 : width == 3 ? 100 : 10000 );
        return result;
    }

    std::int64_t nbDropped = 0;

private:
    int _framesPerSecond;
    int _dropped;
    int _period;
    int _exception;
    int _seconds = 0;
    int _frames = 0;
};

// A time and its label must lead to each other.
void expectPair( const LiTimeCode& code, std::int64_t frame, const std::string& label ) {
    ASSERT_EQ( code.generate( DtTimeIndex( frame ) ), label ) << code.getName() << ' ' << frame;
    ASSERT_EQ( code.getTime( label ).getIndex(), frame ) << code.getName() << ' ' << label;
}

// A stride for frames near minutes alone.
constexpr std::int64_t NEAR_MINUTES = 1LL << 40;

// Follows the counter from frame 0 to `end`, and compares each `stride`-th frame, and all near
// minutes.
void expectCounted( const LiTimeCode& code, SlowCounter& counter, const char* separators, int width,
                    std::int64_t end, std::int64_t stride ) {
    std::string last;
    for( std::int64_t frame = 0; frame < end; ++frame, counter.advance() ) {
        if( frame % stride != 0 && !counter.isNearMinute() ) {
            continue;
        }
        const std::string label = counter.text( separators, width );
        const std::int64_t place = frame + counter.nbDropped;
        // One condition: this runs tens of millions of times.
        const bool isRight = code.generate( DtTimeIndex( frame ) ) == label &&
                             code.getTime( label ).getIndex() == frame && last < label &&
                             code.dropToNonDropAdjust( frame ) == place &&
                             code.nonDropToDropAdjust( place ) == frame;
        ASSERT_TRUE( isRight ) << code.getName() << ": " << frame << " should be " << label;
        last = label;
    }
    EXPECT_EQ( code.getNbDroppedFrames( 0, end - 1 ), counter.nbDropped ) << code.getName();
}

TEST( LiTimeCodeTest, EveryFrameOfADayHasTheLabelThatASlowCounterCounts ) {
    // Every frame, where there is time.
    const std::int64_t stride = 10 / std::min( scaledCount( 10 ), 10L );
    for( const KnownFormat& known : knownFormats ) {
        SlowCounter counter( known );
        // Of sound, the first minute: a day would take too long.
        const bool isSound = known.width == 5;
        const std::int64_t end = isSound ? 61 * known.framesPerSecond : known.framesPerDay;
        expectCounted( *format( known.name ), counter, known.separators, known.width, end, stride );
        EXPECT_EQ( counter.nbDropped, 1296 * known.dropped ) << known.name;
    }
}

TEST( LiTimeCodeTest, SamplesOfAWholeDayComeBackFromTheirLabels ) {
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

TEST( LiTimeCodeTest, BuiltInFormatsStandInTheirOrderWithTheirNamesAndDays ) {
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

TEST( LiTimeCodeTest, DaysWrapAndDroppedLabelsMoveOn ) {
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

TEST( LiTimeCodeTest, IndicesAtTheEdgesOf64BitsEitherHaveAnAnswerOrRaise ) {
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

TEST( LiTimeCodeTest, AMalformedLabelIsQuotedWithItsFirstWrongCharacter ) {
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

TEST( LiTimeCodeTest, ASecondFieldIsMarkedWhereTheFormatHasAMarkForIt ) {
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

TEST( LiTimeCodeTest, PlainNumbersCountFromOne ) {
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

TEST( LiTimeCodeTest, TheFactoryFindsTheFormatOfARateAndItsCounterpart ) {
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

TEST( LiTimeCodeTest, LabelsNeedWholeFramesASecondAndHaveAllHoursOfADay ) {
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

TEST( LiTimeCodeTest, OneCallGivesTheFormatOfWhatAPersonCallsARate ) {
    struct Rate {
        double framesPerSecond;
        bool isDropFrame;
        const char* name;
        int nominal;
        int dropped;
        int width;
        std::int64_t framesPerDay;
        const char* last;
    };
    const Rate table[] = {
        { 47.952, false, "47.95 fps", 48, 0, 2, 4143052, "23:58:33:27" },
        { 48, true, "48 fps", 48, 0, 2, 4147200, "23:59:59:47" },
        { 100, false, "100 fps", 100, 0, 2, 8640000, "23:59:59:99" },
        { 119.88, true, "DF 119.88 fps", 120, 8, 3, 10357632, "23;59;59;119" },
        { 119.88, false, "NDF 119.88 fps", 120, 0, 3, 10357632, "23:58:33:071" },
        { 120, true, "120 fps", 120, 0, 3, 10368000, "23:59:59:119" },
        { 239.76, true, "DF 239.76 fps", 240, 16, 3, 20715264, "23;59;59;239" },
    };
    const LiTimeCodeFactory& factory = LiTimeCodeFactory::getInstance();
    for( const Rate& wanted : table ) {
        const auto code = factory.create( wanted.framesPerSecond, wanted.isDropFrame );
        EXPECT_EQ( code->getName(), wanted.name );
        EXPECT_EQ( code->getFramesPerDay(), wanted.framesPerDay ) << wanted.name;
        EXPECT_EQ( code->generate( DtTimeIndex( -1 ) ), wanted.last );
        const bool isPulled = wanted.framesPerSecond != wanted.nominal;
        EXPECT_EQ( code->getFrameRate(), isPulled ? Rational( wanted.nominal * 1000, 1001 )
                                                  : Rational( wanted.nominal, 1 ) );
        SlowCounter counter( wanted.nominal, wanted.dropped );
        expectCounted( *code, counter, wanted.dropped > 0 ? ";;;" : ":::", wanted.width,
                       wanted.framesPerDay, NEAR_MINUTES );
    }
    const std::tuple<double, bool, const char*> builtIns[] = {
        { 23.98, false, "Film 23.98 FPS" },
        { 23.976, true, "Film 23.98 FPS" },
        { 25, true, "PAL 25 FPS" },
        { 29.97, true, "NTSC DF 29.97 FPS" },
        { 29.97, false, "NTSC NDF 29.97 FPS" },
        { 60000 / 1001., true, "HD DF 59.94 FPS" },
        { 60, false, "HD 60 FPS" },
    };
    for( const auto& [framesPerSecond, isDropFrame, name] : builtIns ) {
        EXPECT_EQ( factory.create( framesPerSecond, isDropFrame )->getName(), name );
    }
    EXPECT_EQ( factory.create( 47.95 )->getName(), "47.95 fps" );
    EXPECT_THROW( factory.create( 23.97 ), LiEx::ExBadRate );
    EXPECT_EQ( factory.create( Rational( 2398, 100 ), false )->getName(),
               "1-based frame number (23.98 Hz)" );
    LiTimeCodeFactory own;
    own.add( factory.create( 119.88 ) );
    EXPECT_EQ( own.create( 119.88 ).get(), own.begin()->get() );
    EXPECT_EQ( own.create( 119.88, true )->getName(), "DF 119.88 fps" );
    EXPECT_THROW( own.add( RCShdPtr<LiTimeCode>() ), ExAssertionFailed );
}

TEST( LiTimeCodeTest, DropFrameCountsThatDoNotBelongTogetherAreRefused ) {
    LiRateRegistry own;
    const Rational one( 1, 1 );
    const auto plain = own.registerRate( "BARE", "", "", Rational( 30, 1 ), Rational( 1000, 1001 ),
                                         one, FpsNameFunctor() );
    const auto custom = []( const LiRateRegistry::Entry& entry, int dropped, int period,
                            int exception ) {
        LiTimeCodeCustom::Args args( entry );
        args.dropFrames = dropped;
        args.dropPeriod = period;
        args.dropExceptPeriod = exception;
        return RCShdPtr<LiTimeCode>( new LiTimeCodeCustom( args ) );
    };
    const struct {
        LiRateRegistry::Entry entry;
        int dropped, period, exception;
        const char* problem;
    } refused[] = {
        { rate( "F25" ), 2, 1, 1, "15000 frames in 10 minutes" },
        { rate( "F59_94" ), 2, 1, 1, "35964 frames in 10 minutes" },
        { rate( "F29_97" ), 4, 1, 1, "leaves 17964 labels" },
        { rate( "F29_97" ), 2, 2, 1, "leaves 17992 labels" },
        { rate( "F29_97" ), 2, 1, 2, "leaves 35962 labels" },
        { rate( "F23_976" ), 2, 1, 1, "14385 frames in 10 minutes" },
        { plain, 2, 1, 1, "2589410 frames in 1440 minutes, for which drop-frame leaves 2589408" },
        { plain, 2, 1, 1, "without a standard rate" },
        { rate( "F29_97" ), 2, 0, 1, "don't divide a day" },
        { rate( "F29_97" ), 2, 1, 0, "don't divide a day" },
        { rate( "F29_97" ), 2, -1, 1, "don't divide a day" },
        { rate( "F29_97" ), 2, 3, 1, "don't divide a day" },
        { rate( "F29_97" ), 2, 1, 7, "don't divide a day" },
        { rate( "F29_97" ), 2, 1, LAST_INT, "don't divide a day" },
        { rate( "F29_97" ), 30, 1, 1, "a whole second" },
        { rate( "F29_97" ), LAST_INT, 1, 1, "a whole second" },
    };
    for( const auto& bad : refused ) {
        try {
            custom( bad.entry, bad.dropped, bad.period, bad.exception );
            ADD_FAILURE() << bad.problem << " was taken";
        } catch( const LiEx::ExBadRate& exception ) {
            EXPECT_THAT( exception.getReason(), HasSubstr( bad.problem ) );
        }
    }
    EXPECT_EQ( custom( plain, 0, 0, 0 )->getFramesPerDay(), 2589410 );
    // Other periods that keep pace with 29.97.
    for( const auto& [dropped, period, exception] :
         { std::tuple( 4, 2, 2 ), std::tuple( 6, 3, 3 ), std::tuple( 18, 5, 1 ) } ) {
        SlowCounter counter( 30, dropped, period, exception * 10 );
        expectCounted( *custom( rate( "F29_97" ), dropped, period, exception ), counter, ":::", 2,
                       2589408, NEAR_MINUTES );
    }
}

TEST( LiTimeCodeTest, DropFrameFormatsReadTheSeparatorsOfEditLists ) {
    const struct {
        const char* format;
        const char* label;
        std::int64_t frame;
    } table[] = {
        { "NTSC DF 29.97 FPS", "00:01:00;02", 1800 }, { "NTSC DF 29.97 FPS", "00;01:00;00", 1800 },
        { "HD DF 59.94 FPS", "00:01:00;04", 3600 },   { "HD DF 59.94 FPS", "00:01:00#04", 3600 },
        { "NTSC DF 29.97 FPS", "00:01:00:02", -1 },   { "NTSC DF 29.97 FPS", "00.01:00;02", -1 },
        { "NTSC NDF 29.97 FPS", "00:01:00;02", -1 },  { "NTSC NDF 29.97 FPS", "00;01;00;02", -1 },
        { "HD NDF 59.94 FPS", "00:01:00;04", -1 },
    };
    for( const auto& [name, label, frame] : table ) {
        const RCShdPtr<LiTimeCode> code = format( name );
        if( frame >= 0 ) {
            EXPECT_EQ( code->getTime( label ).getIndex(), frame ) << name << ' ' << label;
        } else {
            EXPECT_THROW( code->getTime( label ), LiEx::ExBadTimeCode ) << name << ' ' << label;
        }
    }
    // Without drop-frame each separator counts in its own place alone.
    LiTimeCodeCustom::Args args( rate( "F25" ) );
    args.hourMinuteSeparator = 'h';
    args.minuteSecondSeparator = 'm';
    const LiTimeCodeCustom own( args );
    expectPair( own, 25, "00h00m01:00" );
    for( const char* bad : { "00h00h01:00", "00m00m01:00", "0:0:1:0" } ) {
        EXPECT_THROW( own.getTime( bad ), LiEx::ExBadTimeCode ) << bad;
    }
}

TEST( LiTimeCodeTest, AWholeDayHasAllItsLabelsWithoutDropFrameWhereThatIsAskedFor ) {
    const auto wholeDay = []( const char* name ) {
        const RCShdPtr<LiTimeCode> known = format( name );
        auto args = dynamic_cast<const LiTimeCodeCustom&>( *known ).getArgs();
        args.wholeDay = true;
        return LiTimeCodeCustom( args );
    };
    const LiTimeCodeCustom whole = wholeDay( "NTSC NDF 29.97 FPS" );
    EXPECT_EQ( whole.getFramesPerDay(), 2592000 );
    expectPair( whole, 2590200, "23:59:00:00" );
    expectPair( whole, 2591999, whole.generate( DtTimeIndex( -1 ) ) );
    EXPECT_EQ( whole.generate( DtTimeIndex( 2592000 ) ), "00:00:00:00" );
    EXPECT_EQ( whole.getDay( DtTime( 2591999, 30000, 1001 ) ), 0 );
    EXPECT_EQ( whole.getDay( DtTime( 2592000, 30000, 1001 ) ), 1 );
    SlowCounter counter( 30, 0 );
    expectCounted( whole, counter, ":::", 2, 2592000, NEAR_MINUTES );
    const RCShdPtr<LiTimeCode> usual = format( "NTSC NDF 29.97 FPS" );
    EXPECT_EQ( usual->generate( usual->getTime( "23:59:00:00" ) ), "00:00:26:12" );
    for( const char* same : { "NTSC DF 29.97 FPS", "PAL 25 FPS", "48000 Hz" } ) {
        EXPECT_EQ( wholeDay( same ).getFramesPerDay(), format( same )->getFramesPerDay() );
    }
}

} // namespace
} // namespace Qv
