#pragma once

#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/matte.h>
#include <tools/qvcomp/tilePass.h>

#include <optional>

namespace Qv::Comp {

/// The bicubic resampling of an image to a frame that it covers: scaled evenly, centred, what
/// stands over cut off.
///
/// First the lines of the image are made as wide as the frame, in a plane of their own, then that
/// plane's columns as high.
class Resampling {
public:
    /// `matte`, when there is one, multiplies the result.
    Resampling( PassRunner& runner, TileStore& store, std::optional<Matte> matte );

    /// A new plane of `width` by `height` pixels. `name` is for messages and for the progress.
    std::unique_ptr<TilePlane> run( TilePlane& source, const std::string& name, int width,
                                    int height );

private:
    std::unique_ptr<TilePlane> runAcross( TilePlane& source, const std::string& name,
                                          const FilterTaps& filter );
    std::unique_ptr<TilePlane> runDown( TilePlane& source, const std::string& name,
                                        const FilterTaps& filter );

    PassRunner& _runner;
    TileStore& _store;
    std::optional<Matte> _matte;
};

/// Target over source, such that the source covers the target.
double getCoverScale( int sourceWidth, int sourceHeight, int width, int height ) noexcept;

} // namespace Qv::Comp
