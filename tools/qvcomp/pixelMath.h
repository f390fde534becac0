#pragma once

#include <tools/qvcomp/tileStore.h>

#include <array>
#include <span>

namespace Qv::Comp {

// Sums over neighbours are built tile by tile in the accumulators of the target, always in
// ascending order of the neighbour's position. Each pixel thus sees the same operations on the same
// values whatever the tile size, which makes pictures identical bit for bit.

/// Adds `weight` times each of `count` floats of `source` to those of `target`.
inline void addWeighted( float* __restrict target, const float* __restrict source, float weight,
                         std::size_t count ) noexcept {
    for( std::size_t i = 0; i < count; ++i ) {
        target[i] += weight * source[i];
    }
}

/// Adds to `FLOATS` floats of `target` those of each line of `source`, weighted, in order; lines
/// are `stride` floats apart, and there is one for each weight. The sums stay in registers.
template <std::size_t FLOATS>
void addLinesWeighted( float* target, const float* source, std::size_t stride,
                       std::span<const float> weights ) noexcept {
    std::array<float, FLOATS> sums;
    std::copy_n( target, FLOATS, sums.begin() );
    for( const float weight : weights ) {
        for( std::size_t i = 0; i < FLOATS; ++i ) {
            sums[i] += weight * source[i];
        }
        source += stride;
    }
    std::copy_n( sums.begin(), FLOATS, target );
}

/// The largest finite value of a half float, as which pictures are written.
inline constexpr float LARGEST_HALF = 65504.0F;

/// Floats of `pixels` pixels.
constexpr std::size_t toFloats( int pixels ) noexcept {
    return static_cast<std::size_t>( pixels ) * CHANNELS;
}

/// Makes all pixels of the tile zero.
void clear( const TileWriter& tile ) noexcept;

/// Copies to `target` the pixels that `source` has of it.
void copyPixels( const TileWriter& target, const TileReader& source ) noexcept;

/// The light of a pixel as the eye weighs it: the luminance weights of ITU-R BT.709.
inline float getLuminance( const float* pixel ) noexcept {
    return 0.2126F * pixel[0] + 0.7152F * pixel[1] + 0.0722F * pixel[2];
}

/// 0 up to `from`, 1 from `to` on, a smooth cubic between.
float smoothStep( float from, float to, float value ) noexcept;

} // namespace Qv::Comp
