#include <resmgt/literals/liTimeCodeAes31Tcf.h>

#include <resmgt/literals/liTimeCodeCustom.h>

namespace Qv {

namespace {

struct SampleRateLetter {
    const char* enumName;
    char letter;
};

const SampleRateLetter sampleRateLetters[] = {
    { "S48000", '/' }, { "S47952", '-' },  { "S48048", '+' }, { "S46080", '<' }, { "S50000", '>' },
    { "S44100", '|' }, { "S44055", '~' },  { "S44144", '^' }, { "S42336", '[' }, { "S45937", ']' },
    { "S32000", '=' }, { "S31968", '\'' }, { "S32032", '"' }, { "S30720", '(' }, { "S33333", ')' },
    { "S96000", '*' }, { "S95904", '&' },  { "S96096", '#' }, { "S92160", '{' }, { "S100000", '}' },
    { "S88200", '@' }, { "S88111", '?' },  { "S88288", '$' }, { "S84672", '`' }, { "S91875", '!' },
};

char sampleRateLetter( const LiRateRegistry::Entry& rate ) {
    for( const SampleRateLetter& known : sampleRateLetters ) {
        if( rate.getEnumName() == known.enumName ) {
            return known.letter;
        }
    }
    return '%';
}

char frameRateLetter( const LiRateRegistry::Entry& rate ) {
    constexpr Rational PULLED_25{ 25000, 1001 };
    const std::string& name = rate.getEnumName();
    if( name == "F23_976" ) {
        return '-';
    }
    if( name == "F24" ) {
        return '=';
    }
    if( rate.getComputedRate() == PULLED_25 ) {
        return '/';
    }
    if( name == "F25" ) {
        return '.';
    }
    if( name == "F29_97" ) {
        return ':';
    }
    if( name == "F30" ) {
        return '|';
    }
    const Rational& base = rate.getBaseRate();
    return base == Rational( 25, 1 ) ? '!' : base == Rational( 24, 1 ) ? '#' : '?';
}

} // namespace

RCShdPtr<LiTimeCode> LiTimeCodeAes31Tcf::create( const LiRateRegistry::Entry& frameRate,
                                                 const LiRateRegistry::Entry& sampleRate ) {
    LiTimeCodeCustom::Args args( frameRate );
    args.name = "AES31-3 TCF Timecode based on " + frameRate.getEnumName() + " and " +
                sampleRate.getEnumName();
    args.hourMinuteSeparator = frameRateLetter( frameRate );
    args.minuteSecondSeparator = args.hourMinuteSeparator;
    args.secondFrameSeparator = '.';
    args.hasSubFrames = true;
    args.subFrameRate = sampleRate;
    args.subFrameSeparator = sampleRateLetter( sampleRate );
    return RCShdPtr<LiTimeCode>( new LiTimeCodeCustom( args ) );
}

} // namespace Qv
