#pragma once

#include <tools/qvcomp/layerFile.h>
#include <tools/qvcomp/options.h>

#include <cstdint>
#include <limits>
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
    /// Bytes that the decoders of all layers may take, see DecoderPool.
    std::uint64_t readingMemory = std::numeric_limits<std::uint64_t>::max();
};

} // namespace Qv::Comp
