#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace Qv::Comp {

enum class Dithering { POSITION, NONE };

/// What decides whether a value between two bytes becomes the lower or the upper one.
///
/// By position, each of the three colours has thresholds of its own, which repeat after 64 pixels
/// across and down and take each of 4096 values once: the order in which a low-discrepancy sequence
/// hits the pixels. Areas of any size thus get bytes whose mean is their value, where rounding to
/// the nearest one would show bands. Without dithering all thresholds are the middle.
class Dither {
public:
    static constexpr int SIDE = 64;
    static constexpr int NB_COLOURS = 3;

    explicit Dither( Dithering );

    /// What is added to a value before its fraction is cut off, above 0 and below 1; `x` and `y`
    /// are at least 0.
    float at( int x, int y, int colour ) const noexcept {
        return ( *_thresholds )[getIndex( x % SIDE, y % SIDE, colour )];
    }

private:
    using Thresholds = std::array<float, std::size_t( SIDE ) * SIDE * NB_COLOURS>;

    static std::size_t getIndex( int x, int y, int colour ) noexcept {
        return static_cast<std::size_t>( ( y * SIDE + x ) * NB_COLOURS + colour );
    }

    std::unique_ptr<Thresholds> _thresholds = std::make_unique<Thresholds>();
};

} // namespace Qv::Comp
