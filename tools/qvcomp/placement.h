#pragma once

#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/scene.h>

namespace Qv::Comp {

/// Where the pixels of a layer lie in the frame, along both axes.
struct Placement {
    AxisPlacement x;
    AxisPlacement y;

    /// Each pixel is just one of the frame's.
    bool isUntouched() const noexcept { return x.isUntouched() && y.isUntouched(); }
};

/// To cover and to be contained, the layer's display window is scaled evenly, with regard to the
/// shape of its pixels and the frame's, and centred; along an axis that isn't scaled, to a whole
/// pixel. Without scaling its upper left corner lies on that of the frame; pixels of another shape
/// than the frame's are made as wide as they have to be then. All of the data window goes with it.
/// Then it is moved by the layer's offset.
Placement placeLayer( const LayerInfo& layer, const Scene& scene ) noexcept;

} // namespace Qv::Comp
