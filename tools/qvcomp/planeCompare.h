#pragma once

#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

/// Holds `picture` against `expected`, a plane of the same size and tiles, bit for bit.
///
/// Errors: Failure that names the first line that differs, in the order of the tiles.
void checkIdentical( TilePlane& picture, TilePlane& expected );

} // namespace Qv::Comp
