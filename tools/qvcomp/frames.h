#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Qv::Comp {

/// A frame's number has at most so many digits, a sequence at most so many frames.
inline constexpr std::uint64_t MAX_FRAME = 999999999;
inline constexpr std::uint64_t MAX_FRAMES = 100000;

/// The frames of a sequence: from the first on each `step`-th, up to the last.
struct FrameRange {
    int first = 0;
    int last = 0;
    int step = 1;

    int getCount() const noexcept { return ( last - first ) / step + 1; }
    int at( int index ) const noexcept { return first + index * step; }
};

/// "1001-1100", "1001-1100x2" or "1001"; nothing for any other text, and for too many frames.
std::optional<FrameRange> parseFrames( std::string_view text );

/// Whether a file's name has a place for a frame's number: "####", with as many digits as there are
/// marks, or more where the number has more; "%04d", with that many; or "%d".
bool hasFramePlace( std::string_view name );

/// The name of the frame's file. "%%" and "%#" stand for "%" and "#" themselves.
std::string fillFrame( std::string_view name, int frame );

/// The frames, which ascend, as a person would write them: "1001, 1004-1010"; those that are `step`
/// apart count as neighbours, such as "1001-1009x2".
std::string describeFrames( std::span<const int> frames, int step );

} // namespace Qv::Comp
