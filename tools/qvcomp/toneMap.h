#pragma once

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

/// Turns `count` linear pixels of any brightness into sRGB bytes, 3 a pixel, as they look over
/// black. They lie side by side in the picture, from `x`, `y` on.
///
/// The luminance is compressed by the extended curve of E. Reinhard et al., "Photographic Tone
/// Reproduction for Digital Images" (2002); colours that are still too bright are cut off.
void toneMap( unsigned char* bytes, const float* pixels, int count, const Dither& dither, int x,
              int y ) noexcept;

} // namespace Qv::Comp
