#pragma once

#include <tools/qvcomp/layerFile.h>
#include <tools/qvcomp/tilePass.h>

namespace Qv::Comp {

/// The frame and what goes into it, bottom first.
struct Scene {
    int width;
    int height;
    std::vector<LayerInfo> layers;
};

/// The most tiles that rendering needs at one time if none is put away.
std::size_t countWorkingTiles( const Scene& scene, int tileSide, int threads ) noexcept;

/// The phases that `renderScene` shows, each as the nanoseconds that it may take with so many
/// threads at work at a time; only their proportions count.
std::vector<double> getPhaseWeights( const Scene& scene, int threads );

/// Reads and resamples the layers, composites them and adds the glow.
///
/// Result: the same bit for bit whatever the store, the tiles' side and the number of threads.
std::unique_ptr<TilePlane> renderScene( const Scene& scene, TileStore& store, PassRunner& runner );

} // namespace Qv::Comp
