#pragma once

#include <tools/qvcomp/render.h>
#include <tools/qvcomp/tilePass.h>

namespace Qv::Comp {

/// The standard deviation of the glow, in pixels, in a frame of this width.
double getGlowSigma( const GlowRadius& radius, int frameWidth ) noexcept;

/// The passes of `addGlow`.
inline constexpr int GLOW_PASSES = 3;

/// Columns of the plane in which the light is spread, for a standard deviation in pixels.
int countGlowColumns( double sigma, int frameWidth ) noexcept;

/// Adds to `picture` a wide blur of its bright parts, `strength` times. Outside of the frame it is
/// dark.
///
/// Filter: a Gaussian, within 1e-3 of the exact one's peak, at a cost that doesn't depend on its
///         width. Light that is blurred needs few samples, as P. Burt shows in "Fast Filter
///         Transforms for Image Processing" (1981): along the lines the Gaussian is evaluated at
///         some columns alone, along those at each line, and what lies between the columns is
///         interpolated by cubic B-splines. Their variance, a third of the columns' distance
///         squared (M. Unser, "Splines: A Perfect Fit for Signal and Image Processing", 1999), is
///         taken from that of the Gaussian along the lines.
void addGlow( PassRunner& runner, TileStore& store, TilePlane& picture, double strength,
              double sigma );

} // namespace Qv::Comp
