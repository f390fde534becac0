#include <resmgt/literals/liTimeCode.h>

namespace Qv {

LiTimeCode::LiTimeCode( const std::string& name, const std::string& shortName )
    : LiTimeCode( name, shortName, LiRateRegistry::Entry() ) {}

LiTimeCode::LiTimeCode( const std::string& name, const std::string& shortName,
                        const LiRateRegistry::Entry& frameRate )
    : LiTimeCode( name, shortName, frameRate, LiRateRegistry::Entry(), false ) {}

LiTimeCode::LiTimeCode( const std::string& name, const std::string& shortName,
                        const LiRateRegistry::Entry& frameRate,
                        const LiRateRegistry::Entry& subFrameRate, bool isDropFrame )
    : _name( name )
    , _shortName( shortName )
    , _frameRate( frameRate )
    , _subFrameRate( subFrameRate )
    , _isDropFrame( isDropFrame ) {}

Rational LiTimeCode::getFrameRate() const {
    return _frameRate.isNull() ? Rational( 1, 1 ) : _frameRate.getComputedRate();
}

} // namespace Qv
