#pragma once

#include <tools/qvcomp/layerOptions.h>
#include <tools/qvcomp/matte.h>
#include <tools/qvcomp/placement.h>
#include <tools/qvcomp/tileStore.h>

#include <optional>

namespace Qv::Comp {

/// A layer where it stands in the frame, to be joined to the picture tile by tile.
///
/// A layer that isn't scaled passes as it is. Otherwise its lines are made as wide as the frame,
/// and their columns as high, some lines of a small block at a time.
///
/// Rings:   beside the sun or a lamp the filter's negative weights would make a black ring, beside
///          a pixel below zero a bright one. Therefore the result is no less than half of what the
///          positive weights alone make, and what pixels have below zero is filtered by those
///          alone. As these are filters of the whole image, which are compared at its end, they
///          have no preferred direction.
/// Threads: any number join different tiles at once.
class PlacedLayer {
public:
    /// In a frame of `width` by `height` pixels. `matte`, when there is one, multiplies the layer.
    /// The bottom one is taken as it is, with its opacity but without an operation.
    PlacedLayer( const Placement& placement, int width, int height, std::optional<Matte> matte,
                 const LayerOptions& options, bool isBottom );

    /// The pixels of the source that make those of `area` in the frame; none where the layer
    /// doesn't reach.
    PixelArea getSource( const PixelArea& area ) const noexcept;

    /// Joins the layer to what `tile` has of the frame. Pixels to which the layer doesn't reach
    /// stay as they are. Has access to one tile of `source` at a time.
    void joinTo( const TileWriter& tile, TilePlane& source ) const;

private:
    class Block;

    Placement _placement;
    std::optional<Matte> _matte;
    LayerOptions _options;
    bool _isBottom;
    FilterTaps _sharpAcross;
    FilterTaps _softAcross;
    FilterTaps _sharpDown;
    FilterTaps _softDown;
    /// The part of the frame to which the layer reaches.
    PixelArea _extent;
};

} // namespace Qv::Comp
