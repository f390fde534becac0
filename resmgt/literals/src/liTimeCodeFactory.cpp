#include <resmgt/literals/liTimeCodeFactory.h>

#include <base/failure/assertions.h>
#include <base/ownership/oPtr.h>
#include <resmgt/literals/liTimeCodeCustom.h>
#include <resmgt/literals/liTimeCodePositiveNb.h>

namespace Qv {

namespace {

OPtr<LiTimeCodeFactory> tcFactory;

struct BuiltInFormat {
    const char* name;
    // Null for the rate's own.
    const char* shortName;
    const char* rate;
    int dropFrames;
    // From hours to minutes, to seconds, to frames, and to frames of a second field.
    const char* separators;
    bool isNonInteger;
    bool isFieldBased;
};

const BuiltInFormat builtInFormats[] = {
    { "Film 23.98 FPS", "Film NTSC", "F23_976", 0, "::++", false, false },
    { "Film 24 FPS", "Film24", "F24", 0, "::++", false, false },
    { "PAL 25 FPS", "PAL", "F25", 0, "::::", false, true },
    { "NTSC DF 29.97 FPS", "NTSC DF", "F29_97", 2, ";;;;", true, true },
    { "NTSC NDF 29.97 FPS", "NTSC NDF", "F29_97", 0, "::::", true, true },
    { "NTSC 30 FPS", "NTSC 30", "F30", 0, "::::", false, true },
    { "HD 50 FPS", nullptr, "F50", 0, "::##", false, false },
    { "HD DF 59.94 FPS", "HD DF", "F59_94", 4, ";;##", true, true },
    { "HD NDF 59.94 FPS", "HD NDF", "F59_94", 0, "::##", true, true },
    { "HD 60 FPS", nullptr, "F60", 0, "::##", false, false },
    { "Half CD 22050 Hz", "22.05KHz", "S22050", 0, "::::", false, false },
    { "CD 44100 Hz", "44.1KHz", "S44100", 0, "::::", false, false },
    { "48000 Hz", "48KHz", "S48000", 0, "::::", false, false },
    { "96000 Hz", "96KHz", "S96000", 0, "::::", false, false },
};

/// Leaves labels out in each minute but the tenth ones; none if `dropFrames` is 0.
void setDropFrames( LiTimeCodeCustom::Args& args, int dropFrames ) {
    args.dropFrames = dropFrames;
    args.dropPeriod = dropFrames > 0 ? 1 : 0;
    args.dropExceptPeriod = args.dropPeriod;
}

RCShdPtr<LiTimeCode> createBuiltIn( const BuiltInFormat& format ) {
    LiTimeCodeCustom::Args args( LiRateRegistry::getInstance().get( format.rate ) );
    args.name = format.name;
    if( format.shortName != nullptr ) {
        args.shortName = format.shortName;
    }
    setDropFrames( args, format.dropFrames );
    args.hourMinuteSeparator = format.separators[0];
    args.minuteSecondSeparator = format.separators[1];
    args.secondFrameSeparator = format.separators[2];
    args.fieldSeparator = format.separators[3];
    args.nonIntegerRate = format.isNonInteger ? 1 : 0;
    args.fieldBased = format.isFieldBased;
    return RCShdPtr<LiTimeCode>( new LiTimeCodeCustom( args ) );
}

/// How many labels drop-frame leaves out at once: two at 29.97, 0 where there is no drop-frame.
int nbDroppedAt( const LiRateRegistry::Entry& rate ) {
    const Rational& base = rate.getBaseFactorRate();
    const bool isPulled = rate.getTimePullRate() == Rational( 1000, 1001 );
    const int nominal = base.getNumerator() / base.getDenominator();
    return isPulled && nominal % 30 == 0 ? nominal / 15 : 0;
}

RCShdPtr<LiTimeCode> createForRate( const LiRateRegistry::Entry& rate, bool isDropFrame ) {
    LiTimeCodeCustom::Args args( rate );
    args.name = rate.getNumericName();
    if( nbDroppedAt( rate ) > 0 ) {
        args.name = ( isDropFrame ? "DF " : "NDF " ) + args.name;
    }
    args.shortName = args.name;
    args.nonIntegerRate = rate.hasTimePullRate() ? 1 : 0;
    if( isDropFrame ) {
        setDropFrames( args, nbDroppedAt( rate ) );
        args.hourMinuteSeparator = ';';
        args.minuteSecondSeparator = ';';
        args.secondFrameSeparator = ';';
        args.fieldSeparator = ';';
    }
    return RCShdPtr<LiTimeCode>( new LiTimeCodeCustom( args ) );
}

} // namespace

LiTimeCodeFactory& LiTimeCodeFactory::getInstance() {
    QV_ASSERT_TEXT( !tcFactory.isNull(), "tcFactory != 0" );
    return *tcFactory;
}

void LiTimeCodeFactory::initialize() {
    QV_ASSERT_TEXT( tcFactory.isNull(), "tcFactory == 0" );
    OPtr<LiTimeCodeFactory> factory( new LiTimeCodeFactory );
    for( const BuiltInFormat& format : builtInFormats ) {
        factory->add( createBuiltIn( format ) );
    }
    tcFactory = factory;
}

void LiTimeCodeFactory::finalize() {
    QV_ASSERT_TEXT( !tcFactory.isNull(), "tcFactory != 0" );
    tcFactory.reset();
}

void LiTimeCodeFactory::add( const RCShdPtr<LiTimeCode>& format ) {
    QV_ASSERT( !format.isNull() );
    _formats.push_back( format );
}

RCShdPtr<LiTimeCode> LiTimeCodeFactory::create( const Rational& rate, bool isDropFrame ) const {
    const LiRateRegistry::Entry entry = LiRateRegistry::getInstance().get( rate );
    return entry.isNull() ? RCShdPtr<LiTimeCode>( new LiTimeCodePositiveNb( rate ) )
                          : create( entry, isDropFrame );
}

RCShdPtr<LiTimeCode> LiTimeCodeFactory::create( const LiRateRegistry::Entry& rate,
                                                bool isDropFrame ) const {
    RCShdPtr<LiTimeCode> found;
    for( const RCShdPtr<LiTimeCode>& format : _formats ) {
        const bool isOfRate = !rate.isNull() && format->getFrameRateEntry() == rate;
        if( isOfRate && format->isDropFrame() == isDropFrame ) {
            return format;
        }
        if( isOfRate && found.isNull() ) {
            found = format;
        }
    }
    if( found.isNull() ) {
        found = RCShdPtr<LiTimeCode>( rate.isNull() ? new LiTimeCodePositiveNb
                                                    : new LiTimeCodePositiveNb( rate ) );
    }
    return found;
}

RCShdPtr<LiTimeCode> LiTimeCodeFactory::create( double framesPerSecond, bool isDropFrame ) const {
    const LiRateRegistry::Entry rate =
        LiRateRegistry::getInstance().getFrameRate( framesPerSecond );
    isDropFrame = isDropFrame && nbDroppedAt( rate ) > 0;
    for( const RCShdPtr<LiTimeCode>& format : _formats ) {
        const LiRateRegistry::Entry& other = format->getFrameRateEntry();
        if( !other.isNull() && other.getComputedRate() == rate.getComputedRate() &&
            format->isDropFrame() == isDropFrame ) {
            return format;
        }
    }
    return createForRate( rate, isDropFrame );
}

} // namespace Qv
