#pragma once

#include <tools/qvcomp/layerReader.h>
#include <tools/qvcomp/options.h>
#include <tools/qvcomp/tilePass.h>

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

/// The most tiles that rendering needs at one time if none is put away.
std::size_t countWorkingTiles( const Scene& scene, int tileSide ) noexcept;

/// The phases that `renderScene` shows, each as the nanoseconds that it may take with so many
/// threads at work at a time; only their proportions count.
std::vector<double> getPhaseWeights( const Scene& scene, int threads );

/// Reads the layers and puts them into the frame, composites them and adds the glow.
///
/// Result: the same bit for bit whatever the store, the tiles' side and the number of threads.
std::unique_ptr<TilePlane> renderScene( const Scene& scene, TileStore& store, PassRunner& runner );

} // namespace Qv::Comp
