#include <resmgt/literals/liTimeCodeUtil.h>

#include <resmgt/literals/liTimeCodeFactory.h>

namespace Qv {

bool LiTimeCodeUtil::hasTimeCodeCounterpart( const LiTimeCode& format ) {
    return !getTimeCodeCounterpart( format ).isNull();
}

RCShdPtr<LiTimeCode> LiTimeCodeUtil::getTimeCodeCounterpart( const LiTimeCode& format ) {
    const LiRateRegistry::Entry& rate = format.getFrameRateEntry();
    for( const RCShdPtr<LiTimeCode>& other : LiTimeCodeFactory::getInstance() ) {
        const LiRateRegistry::Entry& otherRate = other->getFrameRateEntry();
        if( !rate.isNull() && !otherRate.isNull() &&
            otherRate.getBaseFactorRate() == rate.getBaseFactorRate() &&
            otherRate.getTimePullRate() != rate.getTimePullRate() ) {
            return other;
        }
    }
    return RCShdPtr<LiTimeCode>();
}

} // namespace Qv
