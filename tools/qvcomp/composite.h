#pragma once

#include <tools/qvcomp/layerOptions.h>
#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

/// Joins `layer`, which lies in `target`, to what is there, by the operation and with the opacity
/// of `options`.
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
void joinPixels( const TileWriter& target, const TileReader& layer, const LayerOptions& options );

/// Puts `layer` into `target`, multiplied by `opacity`: the lowest one, which keeps each bit.
void putPixels( const TileWriter& target, const TileReader& layer, float opacity ) noexcept;

} // namespace Qv::Comp
