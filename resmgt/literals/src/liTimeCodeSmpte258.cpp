#include <resmgt/literals/liTimeCodeSmpte258.h>

#include <resmgt/literals/liTimeCodeCustom.h>

namespace Qv {

RCShdPtr<LiTimeCode> LiTimeCodeSmpte258::create( const LiRateRegistry::Entry& rate,
                                                 int integerDigits, int decimals ) {
    LiTimeCodeCustom::Args args( rate );
    args.name = "SMPTE 258 Timecode based on " + rate.getEnumName();
    args.hasSubFrames = true;
    args.subFrameIntegerDigits = integerDigits;
    args.subFrameDecimals = decimals;
    return RCShdPtr<LiTimeCode>( new LiTimeCodeCustom( args ) );
}

} // namespace Qv
