#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace Qv::Comp {

/// The neighbours that one target position sums, and their weights.
struct Taps {
    int first;
    std::span<const float> weights;

    /// The weight of the neighbour at `position`, one of those.
    float at( int position ) const noexcept {
        return weights[static_cast<std::size_t>( position - first )];
    }
    /// One beyond the last.
    int getEnd() const noexcept { return first + static_cast<int>( weights.size() ); }
};

/// For each position of a target line, the source positions that make it and their weights, which
/// sum to 1.
class FilterTaps {
public:
    /// Source positions `sourceSize` many are scaled by `scale` (target over source) about the
    /// centre of the line. The filter is the bicubic one of D. Mitchell and A. Netravali,
    /// "Reconstruction Filters in Computer Graphics" (1988), with B = C = 1/3; when the line is
    /// made smaller it is widened by as much, so that no detail aliases. At the line's ends the
    /// neighbours that don't exist are left out.
    FilterTaps( int sourceSize, int targetSize, double scale );

    Taps at( int target ) const noexcept;
    /// Target positions.
    int getSize() const noexcept { return static_cast<int>( _firsts.size() ); }

private:
    std::vector<int> _firsts;
    std::vector<std::size_t> _offsets;
    std::vector<float> _weights;
};

} // namespace Qv::Comp
