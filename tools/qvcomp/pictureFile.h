#pragma once

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/pictureStream.h>
#include <tools/qvcomp/pngWriter.h>

#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace Qv::Comp {

/// Side of the tiles of the OpenEXR image, whatever the side of the tiles in work, so that the
/// file is the same.
inline constexpr int FILE_TILE_SIDE = TAKEN_LINES;

/// Tone-mapped lines on their way into a PNG picture, gathered by rows of the file's tiles.
///
/// Threads: from any thread; rows become complete in any order.
/// Memory:  3 bytes a pixel of each row in work, and of one that is being written: before a row is
///          begun, all that can be written is.
/// Errors:  Failure when the file can't be written.
class PreviewRows {
public:
    PreviewRows( PendingFile& file, int width, int height, Dithering dithering );

    /// Bytes of the row that holds line `y`, the first part of it in work; one `end` follows for
    /// each of its tiles.
    unsigned char* begin( int y );
    void end( int y );
    /// `bytes` is that of the row's `begin`.
    void setPixels( unsigned char* bytes, int x, int y, int count, const float* pixels ) const;
    void finish() { _writer.finish(); }

private:
    struct Row {
        std::vector<unsigned char> bytes;
        int nbMissing;
    };

    unsigned char* find( int row );
    void writeComplete();
    const Row* findComplete();

    const int _width;
    const int _height;
    const Dither _dither;
    std::mutex _lock;
    std::map<int, Row> _rows;
    /// Held where lines are written, taken before the other one.
    std::mutex _writing;
    PngWriter _writer;
    int _next = 0;
};

/// Writes a picture as an OpenEXR image of half-float tiles, and, when `preview` isn't null, as a
/// PNG picture over black: tone-mapped, 8 bits a channel, dithered or not, sRGB.
///
/// Threads: tiles are written by any thread, in any order; those of lower rows that come early
///          wait in memory.
/// Memory:  as ExrWriter and PreviewRows have it.
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
    std::optional<PreviewRows> _preview;
};

} // namespace Qv::Comp
