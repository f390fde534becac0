#pragma once

#include <tools/qvcomp/tilePass.h>

namespace Qv::Comp {

/// Lays `layers`, bottom first, over each other into a new plane, and discards their tiles once
/// they are used. All have one size; there is at least one.
///
/// The operation is "over" of T. Porter and T. Duff, "Compositing Digital Images" (1984), on
/// colours multiplied by alpha.
std::unique_ptr<TilePlane> compositeLayers( PassRunner& runner, TileStore& store,
                                            const std::vector<std::unique_ptr<TilePlane>>& layers );

} // namespace Qv::Comp
