#pragma once

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/pictureStream.h>
#include <tools/qvcomp/pngWriter.h>

#include <optional>
#include <vector>

namespace Qv::Comp {

/// Side of the tiles of the OpenEXR image, whatever the side of the tiles in work, so that the
/// file is the same.
inline constexpr int FILE_TILE_SIDE = TAKEN_LINES;

/// Tone-mapped lines on their way into a PNG picture, which packs them one after another: those
/// that were taken before, while the next ones are made.
///
/// Threads: `setPixels` from any thread, for different pixels, beside one `writeFormer`; all else
///          while nobody does these.
/// Memory:  3 bytes a pixel of the lines that are made, and of those that are written.
/// Errors:  Failure when the file can't be written.
class PreviewLines {
public:
    PreviewLines( PendingFile& file, int width, int height, Dithering dithering );

    /// The lines from `y0` up to, not including, `y1` come next; `writeFormer` is for those before.
    void begin( int y0, int y1 );
    bool hasFormer() const noexcept { return !_former.empty(); }
    void setPixels( int x, int y, int count, const float* pixels ) noexcept;
    void writeFormer();
    void finish();

private:
    const std::size_t _lineBytes;
    const Dither _dither;
    PngWriter _writer;
    int _y0 = 0;
    std::vector<unsigned char> _lines;
    std::vector<unsigned char> _former;
};

/// Writes a picture as an OpenEXR image of half-float tiles, and, when `preview` isn't null, as a
/// PNG picture over black: tone-mapped, 8 bits a channel, dithered or not, sRGB.
///
/// Threads: tiles are written by any thread, in any order; those of lower rows that come early
///          wait in memory.
/// Memory:  as ExrWriter and PreviewLines have it.
/// Errors:  Failure when a file can't be written.
class PictureFiles final : public PictureSink {
public:
    PictureFiles( int width, int height, const PictureHead& head, PendingFile& output,
                  PendingFile* preview, Dithering dithering );

    std::string getKind() const override { return "Writing"; }
    std::vector<Unit> take( TilePlane& picture, int y0, int y1 ) override;
    /// Completes the files, when all lines are taken.
    void finish();

private:
    void write( TilePlane& picture, const PixelArea& area );

    ExrWriter _image;
    std::optional<PreviewLines> _preview;
};

} // namespace Qv::Comp
