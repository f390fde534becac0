#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace Qv::Comp {

/// The neighbours that one target position sums, and their weights.
struct Taps {
    int first;
    std::span<const float> weights;

    /// One beyond the last.
    int getEnd() const noexcept { return first + static_cast<int>( weights.size() ); }
    /// Those from `begin` up to, not including, `end`, which isn't less.
    Taps within( int begin, int end ) const noexcept {
        const int from = std::clamp( first, begin, end );
        const int to = std::clamp( getEnd(), from, end );
        return { from, from == to ? std::span<const float>()
                                  : weights.subspan( static_cast<std::size_t>( from - first ),
                                                     static_cast<std::size_t>( to - from ) ) };
    }
};

/// Where the pixels of a line lie along a line of the frame.
struct AxisPlacement {
    int sourceSize;
    /// Frame pixels a source pixel.
    double scale;
    /// Where the first source pixel begins, in frame pixels; a whole number when the scale is 1.
    double origin;

    /// Each pixel is just one of the frame's.
    bool isUntouched() const noexcept { return scale == 1.0; }
};

/// Which of the filter's weights are taken.
enum class Lobes { ALL, POSITIVE };

/// For each position of a line of the frame, the source positions that make it and their weights.
class FilterTaps {
public:
    /// The filter is the bicubic one of D. Mitchell and A. Netravali, "Reconstruction Filters in
    /// Computer Graphics" (1988), with B = C = 1/3; when the line is made smaller it is widened by
    /// as much, so that no detail aliases. At the line's ends the neighbours that don't exist are
    /// left out.
    ///
    /// The weights sum to the part of the target position that the line covers: 1 but at its ends
    /// and beyond. A line that isn't scaled isn't filtered.
    FilterTaps( const AxisPlacement& axis, int targetSize, Lobes lobes );

    Taps at( int target ) const noexcept;
    /// Target positions.
    int getSize() const noexcept { return static_cast<int>( _firsts.size() ); }

private:
    void add( const AxisPlacement& axis, int target, Lobes lobes );

    std::vector<int> _firsts;
    std::vector<std::size_t> _offsets{ 0 };
    std::vector<float> _weights;
};

} // namespace Qv::Comp
