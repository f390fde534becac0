#include <tools/qvcomp/toneMap.h>

#include <tools/qvcomp/pixelMath.h>

#include <cmath>

namespace Qv::Comp {

namespace {

constexpr float EXPOSURE = 1.3F;
/// The luminance, after exposure, that becomes full white.
constexpr float WHITE = 6.0F;

/// The factor that compresses a luminance.
float getCompression( float luminance ) noexcept {
    return ( 1.0F + luminance / ( WHITE * WHITE ) ) / ( 1.0F + luminance );
}

/// The transfer function of IEC 61966-2-1. The larger the threshold is, the more values become
/// the next byte; black and white stay themselves by all.
unsigned char encode( float linear, float threshold ) noexcept {
    const float value = std::clamp( linear, 0.0F, 1.0F );
    const float encoded =
        value <= 0.0031308F ? 12.92F * value : 1.055F * std::pow( value, 1.0F / 2.4F ) - 0.055F;
    return static_cast<unsigned char>( encoded * 255.0F + threshold );
}

} // namespace

void toneMap( unsigned char* bytes, const float* pixels, int count, const Dither& dither, int x,
              int y ) noexcept {
    for( int i = 0; i < count; ++i, pixels += CHANNELS ) {
        const float luminance = EXPOSURE * std::max( getLuminance( pixels ), 0.0F );
        const float factor = EXPOSURE * getCompression( luminance );
        for( int c = 0; c < Dither::NB_COLOURS; ++c ) {
            *bytes++ = encode( factor * pixels[c], dither.at( x + i, y, c ) );
        }
    }
}

} // namespace Qv::Comp
