#pragma once

#include <tools/qvcomp/glowTaps.h>
#include <tools/qvcomp/options.h>
#include <tools/qvcomp/tileStore.h>

#include <vector>

namespace Qv::Comp {

/// The standard deviation of the glow, in pixels, in a frame of this width.
double getGlowSigma( const GlowRadius& radius, int frameWidth ) noexcept;

/// A wide blur of the picture's bright parts, which is added to it, some lines at a time. Outside
/// of the frame it is dark.
///
/// Filter:  a Gaussian, within 1e-3 of the exact one's peak, at a cost that doesn't depend on its
///          width. Light that is blurred needs few samples, as P. Burt shows in "Fast Filter
///          Transforms for Image Processing" (1981): along the lines the Gaussian is evaluated at
///          some columns alone, along those at each line, and what lies between the columns is
///          interpolated by cubic B-splines. Their variance, a third of the columns' distance
///          squared (M. Unser, "Splines: A Perfect Fit for Signal and Image Processing", 1999), is
///          taken from that of the Gaussian along the lines.
/// Threads: any, for different areas and tiles.
class Glow {
public:
    /// Added `strength` times, in a frame of `width` by `height` pixels. `sigma` is the standard
    /// deviation in pixels.
    Glow( double strength, double sigma, int width, int height );

    /// How many lines up and down the light of a line comes.
    int getReach() const noexcept { return _down.getReach(); }
    /// Of the plane in which light is spread along the lines.
    int getColumns() const noexcept { return _lattice.count; }

    /// Cuts the lines from `y0` up to, not including, `y1` of that plane into areas for `spread`.
    std::vector<PixelArea> listAreas( const TilePlane& picture, int y0, int y1 ) const;
    /// The tiles that `spread` reads.
    std::vector<TileRef> listInputs( TilePlane& picture, const PixelArea& area ) const;
    /// Spreads the light of `picture` along the lines of one of the areas, which it fills in
    /// `across`. Has access to one tile at a time.
    void spread( TilePlane& picture, TilePlane& across, const PixelArea& area ) const;

    /// The part of the plane of light across that makes the glow of `area` of the picture.
    PixelArea getSource( const PixelArea& area ) const noexcept;
    /// Adds the light to a tile of the picture. Has access to one tile of `across` at a time.
    void addTo( const TileWriter& tile, TilePlane& across ) const;

private:
    void spreadDown( const TileWriter& light, TilePlane& across ) const;

    Lattice _lattice;
    GaussianTaps _along;
    GaussianTaps _down;
    SplineTaps _between;
};

} // namespace Qv::Comp
