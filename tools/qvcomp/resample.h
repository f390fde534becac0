#pragma once

#include <tools/qvcomp/matte.h>
#include <tools/qvcomp/placement.h>
#include <tools/qvcomp/tilePass.h>

#include <optional>

namespace Qv::Comp {

/// Puts an image into the frame, transparent where it has no pixels.
///
/// An image that isn't scaled passes as it is. Otherwise its lines are made as wide as the frame
/// first, in planes of their own, then those planes' columns as high.
///
/// Rings: beside the sun or a lamp the filter's negative weights would make a black ring, beside a
///        pixel below zero a bright one. Therefore the result is no less than half of what the
///        positive weights alone make, and what pixels have below zero is filtered by those alone.
///        As these are filters of the whole image, which are compared at its end, they have no
///        preferred direction.
class Resampling {
public:
    /// `matte`, when there is one, multiplies the result.
    Resampling( PassRunner& runner, TileStore& store, std::optional<Matte> matte );

    /// A plane of `width` by `height` pixels; `source` itself when nothing is to be done. `name` is
    /// for messages and for the progress.
    std::unique_ptr<TilePlane> run( std::unique_ptr<TilePlane> source, const std::string& name,
                                    const Placement& placement, int width, int height );

    /// How many passes `run` makes.
    static int countPasses( const Placement& placement, int width, int height,
                            bool hasMatte ) noexcept;

private:
    struct Widened;

    std::unique_ptr<TilePlane> place( TilePlane& source, const std::string& name,
                                      const Placement& placement, int width, int height );
    Widened runAcross( TilePlane& source, const std::string& name, const AxisPlacement& axis,
                       int width );
    std::unique_ptr<TilePlane> runDown( const Widened& source, const std::string& name,
                                        const AxisPlacement& axis, int height );

    PassRunner& _runner;
    TileStore& _store;
    std::optional<Matte> _matte;
};

} // namespace Qv::Comp
