#pragma once

#include <tools/qvcomp/tilePass.h>

namespace Qv::Comp {

/// The weights of a Gaussian over the distances -radius to radius, which sum to 1; the radius is
/// three standard deviations, rounded up. `sigma` is in pixels.
std::vector<float> makeGaussian( double sigma );

/// The standard deviation of the glow, in pixels, in a frame of this width.
double getGlowSigma( int frameWidth ) noexcept;

/// A new plane with `picture` and, added to it, a wide blur of its bright parts. Outside of the
/// frame it is dark. The tiles of `picture` are discarded once they are used.
///
/// The blur is separable: first along the lines into a plane of its own, then along its columns.
std::unique_ptr<TilePlane> addGlow( PassRunner& runner, TileStore& store, TilePlane& picture );

} // namespace Qv::Comp
