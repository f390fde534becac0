#pragma once

#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/placedLayer.h>
#include <tools/qvcomp/scene.h>

#include <optional>
#include <vector>

namespace Qv::Comp {

/// The picture is taken so many lines at a time, which is the side of its file's tiles.
inline constexpr int TAKEN_LINES = 256;

/// How far a picture is: of each kind of work the lines that are through with it, all above these.
struct StreamLines {
    int composed = 0;
    /// Whose bright light is spread along them, where there is a glow.
    int spread = 0;
    int complete = 0;
    /// Which nobody needs any more, unless the picture is kept.
    int taken = 0;
};

/// In which steps a picture is made from its top down, so that only some lines of it and of its
/// layers are there at a time.
///
/// In one step some lines of the picture are composed. Meanwhile the light of those that
/// were composed before is spread along their lines, the glow is added to those whose light is
/// there from all lines in its reach, and those that were complete are taken; and the layers' lines
/// for the next step are read, if there is room for them. What is used up is given away after each
/// step.
class StreamPlan {
public:
    struct Settings {
        int tileSide;
        int threads;
        /// Tiles that there is room for.
        std::optional<std::size_t> tiles;
        /// Whether all of the picture is there at the end.
        bool keepsPicture = false;
    };

    /// Takes as many lines in a step as keep the threads at work, or fewer where there is no room
    /// for them.
    StreamPlan( const Scene& scene, const Settings& settings );

    /// How far the picture is after the next step.
    StreamLines advance( const StreamLines& lines ) const noexcept;
    /// The pieces in which lines are composed or get their glow, for the picture's lines from `y0`
    /// up to, not including, `y1`, as far as these come from `advance`.
    std::vector<PixelArea> listPieces( int y0, int y1 ) const;
    bool isDone( const StreamLines& lines ) const noexcept { return lines.taken == _height; }

    bool readsAhead() const noexcept { return _readsAhead; }
    bool keepsPicture() const noexcept { return _keepsPicture; }
    const std::vector<PlacedLayer>& getLayers() const noexcept { return _layers; }
    const std::optional<Glow>& getGlow() const noexcept { return _glow; }

    /// The pixels of a layer that the picture shows.
    PixelArea getSeen( std::size_t layer ) const noexcept;
    /// The lines of a layer for those of the picture from `y0` on.
    int getFirstLine( std::size_t layer, int y0 ) const noexcept;
    /// One beyond the last line of a layer for those of the picture above `y1`.
    int getEndLine( std::size_t layer, int y1 ) const noexcept;
    /// The first line of spread light that is needed when all above `complete` are.
    int getFirstSpread( int complete ) const noexcept;

    /// The most tiles that are there at a time.
    std::size_t countTiles() const noexcept;

private:
    struct Plane {
        TileSize tile;
        int columns;

        Plane( int width, int tileSide );
        /// With the columns of a plane of this width alone that have pixels from `x0` up to, not
        /// including, `x1`.
        Plane( int width, int tileSide, int x0, int x1 );
        std::size_t countTiles( int y0, int y1 ) const noexcept;
    };

    bool fits( const std::optional<std::size_t>& tiles ) const noexcept;
    void setPieces( int lines ) noexcept;
    int alignToPieces( int line ) const noexcept;
    int addPieces( int line, int rows ) const noexcept;
    int getReadingLine( std::size_t layer, const StreamLines& after ) const noexcept;
    std::size_t countTiles( const StreamLines& before, const StreamLines& after ) const noexcept;

    int _width;
    int _height;
    std::vector<PlacedLayer> _layers;
    std::vector<LayerInfo> _infos;
    std::optional<Glow> _glow;
    Plane _picture;
    std::vector<Plane> _sources;
    std::optional<Plane> _across;
    bool _keepsPicture;
    /// The tiles of the picture are made in pieces of so many lines, or fewer at the end.
    int _pieceLines;
    int _tilePieces;
    /// Rows of pieces that are composed in a step.
    int _stepRows;
    bool _readsAhead = true;
};

} // namespace Qv::Comp
