#pragma once

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/passes.h>
#include <tools/qvcomp/pendingFile.h>
#include <tools/qvcomp/pictureHead.h>
#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

/// Side of the tiles of the OpenEXR image, whatever the side of the tiles in work, so that the
/// file is the same.
inline constexpr int FILE_TILE_SIDE = 256;

/// Writes `picture` as an OpenEXR image of half-float tiles, and, when `preview` isn't null, as a
/// PNG picture over black: tone-mapped, 8 bits a channel, dithered or not, sRGB.
///
/// Memory: one tile of the file, and one row of such tiles at 3 bytes a pixel for the preview.
/// Errors: Failure when a file can't be written.
void writePicture( TilePlane& picture, const PictureHead& head, PendingFile& output,
                   PendingFile* preview, Dithering dithering, Passes& passes );

} // namespace Qv::Comp
