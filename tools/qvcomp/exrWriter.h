#pragma once

#include <tools/qvcomp/pendingFile.h>
#include <tools/qvcomp/pictureHead.h>
#include <tools/qvcomp/tileStore.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Qv::Comp {

/// The pixels of one tile of an OpenEXR file as ZIP compression takes them: line by line A, B, G
/// and R as half floats, and of all of these first the low bytes, then the high ones.
class FileTile {
public:
    /// The pixels of the image that the tile has.
    explicit FileTile( const PixelArea& area );

    const PixelArea& getArea() const noexcept { return _area; }
    /// Takes `count` pixels of line `y` from `x` on, of four floats each; values beyond the range
    /// of a half float become its ends.
    void setPixels( int x, int y, int count, const float* pixels ) noexcept;
    std::vector<unsigned char> takeBytes() noexcept { return std::move( _bytes ); }

private:
    PixelArea _area;
    std::vector<unsigned char> _bytes;
};

/// Writes an OpenEXR image of half-float tiles, channels R, G, B, A, tiles row by row, packed by
/// ZIP. The file depends on the pixels alone.
///
/// Threads: `pack` and `put` from any thread, tiles in any order.
/// Memory:  twice the bytes of a tile's half floats for each thread that packs one; packed tiles
///          wait for those before them.
/// Errors:  Failure when the file can't be written.
class ExrWriter {
public:
    /// A tile as it is in the file.
    struct PackedTile {
        std::size_t index;
        std::vector<unsigned char> bytes;
    };

    ExrWriter( PendingFile& file, int width, int height, const PictureHead& head, int tileSide );
    ExrWriter( const ExrWriter& ) = delete;
    ExrWriter& operator=( const ExrWriter& ) = delete;

    int getColumns() const noexcept { return _columns; }
    int getRows() const noexcept { return _rows; }
    /// The pixels of the tile of this column and row.
    PixelArea getArea( TilePos pos ) const noexcept;

    PackedTile pack( FileTile tile ) const;
    /// Writes the tile, and those that waited for it, or lets it wait for those before it.
    void put( PackedTile tile );
    /// Completes the file when all tiles are put. Without it the file is unusable.
    void finish();

private:
    struct Chunk {
        std::uint64_t position;
        std::vector<unsigned char> bytes;
    };

    std::vector<Chunk> placeChunks( PackedTile tile );

    PendingFile& _file;
    const int _width;
    const int _height;
    const int _tileSide;
    const int _columns;
    const int _rows;
    int _level;
    /// All that comes before the table of the tiles' positions.
    std::string _head;
    std::mutex _lock;
    /// The place of the next tile in the file.
    std::uint64_t _end;
    std::vector<std::uint64_t> _positions;
    std::map<std::size_t, std::vector<unsigned char>> _waiting;
};

} // namespace Qv::Comp
