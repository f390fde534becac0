#pragma once

#include <tools/qvcomp/layerOptions.h>
#include <tools/qvcomp/tilePass.h>

namespace Qv::Comp {

/// Joins `layers`, bottom first, into a new plane by the operation and with the opacity of each,
/// and discards their tiles once they are used. All have one size; there is at least one.
///
/// Colours are multiplied by alpha. With a layer's colour `s` and alpha `a`, those below `d` and
/// `b`:
///
/// OVER:     s + (1 - a) d, by T. Porter and T. Duff, "Compositing Digital Images" (1984)
/// PLUS:     s + d, alpha at most 1
/// MULTIPLY: s d + (1 - b) s + (1 - a) d, as the W3C's "Compositing and Blending Level 1" has it:
///           where one of both is transparent the other one stays
/// SCREEN:   s + d - s d, by the same; where either is above 1 that would make light dark, and the
///           greater one stays
///
/// Alpha is a + (1 - a) b in all others than PLUS.
std::unique_ptr<TilePlane> compositeLayers( PassRunner& runner, TileStore& store,
                                            const std::vector<std::unique_ptr<TilePlane>>& layers,
                                            const std::vector<LayerOptions>& options );

} // namespace Qv::Comp
