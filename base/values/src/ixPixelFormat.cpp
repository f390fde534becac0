#include <base/values/ixPixelFormat.h>

#include <base/failure/assertions.h>
#include <base/failure/floatUtil.h>

#include <cfloat>
#include <cmath>

namespace Qv {

namespace {

/// Neither infinity nor 0/0 is above its tolerance.
void checkPositive( const Rational& aspectRatio ) {
    const auto value = static_cast<float>( aspectRatio.getDouble() );
    const float tolerance = FLT_EPSILON * std::fabs( value );
    if( !( value > tolerance ) ) {
        FloatUtil::ThrowAssertionFailed<float, 0>::throwAssertionFailed(
            QV_HERE, "aspectRatio.getFloat()", " is greater than ", "0.0f", value, 0.0F,
            tolerance );
    }
}

} // namespace

IxPixelFormat::IxPixelFormat( Comps comps, Depth depth, const Rational& aspectRatio )
    : _comps( comps )
    , _depth( depth )
    , _aspectRatio( aspectRatio ) {
    QV_ASSERT( _comps == ALPHA || _comps == RGB || _comps == RGBA );
    QV_ASSERT( _depth == UINT8 || _depth == FLOAT16 || _depth == FLOAT32 || _depth == COMPLEX );
    checkPositive( aspectRatio );
}

} // namespace Qv
