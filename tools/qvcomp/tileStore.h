#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Qv::Comp {

/// Floats a pixel: red, green, blue, alpha, the colours multiplied by alpha.
inline constexpr int CHANNELS = 4;

/// Pixels from `x0`, `y0` up to, not including, `x1`, `y1`.
struct PixelArea {
    int x0;
    int y0;
    int x1;
    int y1;

    int getWidth() const noexcept { return x1 - x0; }
    int getHeight() const noexcept { return y1 - y0; }
    bool isEmpty() const noexcept { return x0 >= x1 || y0 >= y1; }
};

/// The pixels that are in both; possibly none.
constexpr PixelArea intersect( const PixelArea& a, const PixelArea& b ) noexcept {
    return { std::max( a.x0, b.x0 ), std::max( a.y0, b.y0 ), std::min( a.x1, b.x1 ),
             std::min( a.y1, b.y1 ) };
}

/// Of a tile, in pixels.
struct TileSize {
    int width;
    int height;
};

/// Column and row of a tile in its plane.
struct TilePos {
    int column;
    int row;
};

/// Access to the pixels of one tile, which stays in memory as long as a copy of this lives.
template <class Float>
class TileAccess {
public:
    TileAccess( const PixelArea& area, int lineWidth, std::shared_ptr<Float> pixels )
        : _area( area )
        , _lineWidth( lineWidth )
        , _pixels( std::move( pixels ) ) {}

    /// The pixels of the plane that the tile holds.
    const PixelArea& getArea() const noexcept { return _area; }

    /// The pixel at plane position `x`, `y`, inside of the area; the rest of its row follows it.
    Float* at( int x, int y ) const noexcept {
        const auto row = static_cast<std::size_t>( y - _area.y0 );
        const auto column = static_cast<std::size_t>( x - _area.x0 );
        return _pixels.get() + row * getLineFloats() + column * CHANNELS;
    }

    /// Access to a part of the area alone.
    TileAccess within( const PixelArea& area ) const {
        return { area, _lineWidth, std::shared_ptr<Float>( _pixels, at( area.x0, area.y0 ) ) };
    }

    /// Floats from one line to the next.
    std::size_t getLineFloats() const noexcept {
        return static_cast<std::size_t>( _lineWidth ) * CHANNELS;
    }

private:
    PixelArea _area;
    int _lineWidth;
    std::shared_ptr<Float> _pixels;
};

using TileReader = TileAccess<const float>;
using TileWriter = TileAccess<float>;

/// An image cut into tiles, which may be out of memory while nobody has access to them.
///
/// Threads: all operations from any thread. Those who have access to a tile at one time, if the
///          store lets them, write pixels that none of the others uses: steps are made so.
/// Memory:  `read`, `write` and `prefetch` may block until another thread gives a tile up. A thread
///          has access to at most one tile when it calls `read` or `write`, and to none when it
///          calls `prefetch`, `finish` or `discard`.
/// Errors:  what the storage behind the plane raises.
class TilePlane {
public:
    TilePlane( int width, int height, TileSize tile );
    TilePlane( const TilePlane& ) = delete;
    TilePlane& operator=( const TilePlane& ) = delete;
    virtual ~TilePlane() = default;

    int getWidth() const noexcept { return _width; }
    int getHeight() const noexcept { return _height; }
    const TileSize& getTile() const noexcept { return _tile; }
    int getColumns() const noexcept { return _columns; }
    int getRows() const noexcept { return _rows; }
    std::size_t getTileCount() const noexcept;
    /// The tile that holds pixel `x`, `y`.
    TilePos getPos( int x, int y ) const noexcept { return { x / _tile.width, y / _tile.height }; }
    PixelArea getArea( TilePos pos ) const noexcept;

    TileReader read( TilePos pos ) {
        return { getArea( pos ), _tile.width, performRead( toIndex( pos ) ) };
    }
    /// A tile that was never written has undefined content.
    TileWriter write( TilePos pos ) {
        return { getArea( pos ), _tile.width, performWrite( toIndex( pos ) ) };
    }
    /// Starts to bring a tile in that will be read soon.
    void prefetch( TilePos pos ) { performPrefetch( toIndex( pos ) ); }
    /// The tile is complete: its content may be put away.
    void finish( TilePos pos ) { performFinish( toIndex( pos ) ); }
    /// The tile's content isn't needed any more.
    void discard( TilePos pos ) { performDiscard( toIndex( pos ) ); }

private:
    virtual std::shared_ptr<const float> performRead( std::size_t index ) = 0;
    virtual std::shared_ptr<float> performWrite( std::size_t index ) = 0;
    virtual void performPrefetch( std::size_t index ) = 0;
    virtual void performFinish( std::size_t index ) = 0;
    virtual void performDiscard( std::size_t index ) = 0;

    std::size_t toIndex( TilePos pos ) const noexcept;

    int _width;
    int _height;
    TileSize _tile;
    int _columns;
    int _rows;
};

/// A tile of some plane.
struct TileRef {
    TilePlane* plane;
    TilePos pos;
};

/// Makes planes; they must be gone before it.
class TileStore {
public:
    TileStore() = default;
    TileStore( const TileStore& ) = delete;
    TileStore& operator=( const TileStore& ) = delete;
    virtual ~TileStore() = default;

    /// `name` is for messages.
    virtual std::unique_ptr<TilePlane> createPlane( const std::string& name, int width,
                                                    int height ) = 0;
    /// How many tiles each computing thread may ask for ahead of need.
    virtual std::size_t getPrefetchDepth() const = 0;
};

/// Of the tiles of a plane of this width: bands up to eight times as wide as `side` and as much
/// less high, since planes are filled and used line by line. They have as many pixels as a square
/// of that side, or a few less, and all columns are about as wide.
TileSize getTileSize( int side, int planeWidth ) noexcept;

/// Lines of the widest of these bands.
int getLeastHeight( int side ) noexcept;

/// Tiles along a line of so many pixels, with the part of one at its end.
constexpr int divideUp( int size, int tile ) noexcept {
    return size / tile + ( size % tile == 0 ? 0 : 1 );
}

/// Tiles that a plane of this size has.
std::size_t countTiles( int width, int height, TileSize tile ) noexcept;

} // namespace Qv::Comp
