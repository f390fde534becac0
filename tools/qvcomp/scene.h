#pragma once

#include <tools/qvcomp/layerFile.h>
#include <tools/qvcomp/options.h>

#include <vector>

namespace Qv::Comp {

/// The frame and what goes into it, bottom first.
struct Scene {
    int width;
    int height;
    std::vector<LayerInfo> layers;
    /// Width over height of the frame's pixels.
    double pixelAspect = 1.0;
    Fit fit = Fit::COVER;
    Mattes mattes = Mattes::SOFT;
    /// The part of the bright light that the glow adds; 0 for none.
    double glow = 0.0;
    GlowRadius glowRadius = {};
    /// How many threads may unpack a layer at a time.
    int nbDecoders = 1;
};

} // namespace Qv::Comp
