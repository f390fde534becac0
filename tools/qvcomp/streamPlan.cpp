#include <tools/qvcomp/streamPlan.h>

#include <tools/qvcomp/placement.h>

#include <algorithm>

namespace Qv::Comp {

namespace {

std::optional<Matte> makeMatte( const Scene& scene, std::size_t layer ) {
    if( scene.layers[layer].hasAlpha || scene.mattes == Mattes::NONE ) {
        return std::nullopt;
    }
    return Matte( static_cast<int>( layer ), static_cast<int>( scene.layers.size() ), scene.width,
                  scene.height );
}

std::vector<PlacedLayer> placeLayers( const Scene& scene ) {
    std::vector<PlacedLayer> layers;
    for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
        layers.emplace_back( placeLayer( scene.layers[i], scene ), scene.width, scene.height,
                             makeMatte( scene, i ), scene.layers[i].options, i == 0 );
    }
    return layers;
}

std::optional<Glow> makeGlow( const Scene& scene ) {
    return scene.glow > 0.0 ? std::optional<Glow>( std::in_place, scene.glow,
                                                   getGlowSigma( scene.glowRadius, scene.width ),
                                                   scene.width, scene.height )
                            : std::nullopt;
}

int alignDown( int line, int unit ) noexcept {
    return line / unit * unit;
}

int alignUp( int line, int unit ) noexcept {
    return divideUp( line, unit ) * unit;
}

} // namespace

StreamPlan::Plane::Plane( int width, int tileSide )
    : tile( getTileSize( tileSide, width ) )
    , columns( divideUp( width, tile.width ) ) {}

StreamPlan::Plane::Plane( int width, int tileSide, int x0, int x1 )
    : tile( getTileSize( tileSide, width ) )
    , columns( x0 < x1 ? divideUp( x1, tile.width ) - x0 / tile.width : 0 ) {}

std::size_t StreamPlan::Plane::countTiles( int y0, int y1 ) const noexcept {
    return y0 >= y1
               ? 0
               : static_cast<std::size_t>( columns ) *
                     static_cast<std::size_t>( divideUp( y1, tile.height ) - y0 / tile.height );
}

StreamPlan::StreamPlan( const Scene& scene, const Settings& settings )
    : _width( scene.width )
    , _height( scene.height )
    , _layers( placeLayers( scene ) )
    , _infos( scene.layers )
    , _glow( makeGlow( scene ) )
    , _picture( scene.width, settings.tileSide )
    , _keepsPicture( settings.keepsPicture )
    // Two pieces for each thread, so that none waits for long at the end of a step.
    , _stepRows( divideUp( 2 * settings.threads, _picture.columns ) ) {
    for( std::size_t i = 0; i < _layers.size(); ++i ) {
        const PixelArea seen = getSeen( i );
        _sources.emplace_back( _infos[i].width, settings.tileSide, seen.x0, seen.x1 );
    }
    if( _glow ) {
        _across.emplace( _glow->getColumns(), settings.tileSide );
    }
    // The high tiles of a narrow picture are made in pieces as low as the widest tiles.
    const int lines = divideUp( _picture.tile.height,
                                _picture.tile.height / getLeastHeight( settings.tileSide ) );
    setPieces( lines );
    while( _stepRows > 1 && !fits( settings.tiles ) ) {
        _stepRows /= 2;
    }
    // Where a layer is made much smaller, a few lines are made of many. Still lower pieces would
    // make the lines again and again that the filter takes above and below them.
    constexpr int LEAST_PART = 4;
    const int leastLines = std::max( lines / LEAST_PART, 1 );
    while( _pieceLines > leastLines && !fits( settings.tiles ) ) {
        setPieces( divideUp( _pieceLines, 2 ) );
    }
    if( !fits( settings.tiles ) ) {
        // What has no room then is put away meanwhile.
        _readsAhead = false;
        setPieces( lines );
    }
}

bool StreamPlan::fits( const std::optional<std::size_t>& tiles ) const noexcept {
    return !tiles || countTiles() <= *tiles;
}

void StreamPlan::setPieces( int lines ) noexcept {
    _pieceLines = lines;
    _tilePieces = divideUp( _picture.tile.height, lines );
}

StreamLines StreamPlan::advance( const StreamLines& lines ) const noexcept {
    StreamLines next;
    next.composed = addPieces( lines.composed, _stepRows );
    next.spread = lines.composed;
    next.complete = next.composed;
    if( _glow ) {
        const int lit = lines.spread == _height ? _height : lines.spread - _glow->getReach();
        // No faster than lines are taken, or the picture would have to wait once more.
        next.complete = std::clamp( alignToPieces( lit ), lines.complete,
                                    addPieces( lines.complete, _stepRows ) );
    }
    next.taken = lines.complete == _height ? _height : alignDown( lines.complete, TAKEN_LINES );
    return next;
}

std::vector<PixelArea> StreamPlan::listPieces( int y0, int y1 ) const {
    std::vector<PixelArea> pieces;
    for( int y = y0, end = y0; y < y1; y = end ) {
        end = std::min( addPieces( y, 1 ), y1 );
        for( int x = 0; x < _width; x += _picture.tile.width ) {
            pieces.push_back( { x, y, std::min( x + _picture.tile.width, _width ), end } );
        }
    }
    return pieces;
}

/// The end of the pieces that are above `line` as a whole.
int StreamPlan::alignToPieces( int line ) const noexcept {
    const int inTile = line % _picture.tile.height;
    return line == _height ? _height : line - inTile % _pieceLines;
}

/// The line so many rows of pieces below the border of one at `line`.
int StreamPlan::addPieces( int line, int rows ) const noexcept {
    const int height = _picture.tile.height;
    const int row = line / height * _tilePieces + line % height / _pieceLines + rows;
    return std::min( row / _tilePieces * height + row % _tilePieces * _pieceLines, _height );
}

PixelArea StreamPlan::getSeen( std::size_t layer ) const noexcept {
    return _layers[layer].getSource( { 0, 0, _width, _height } );
}

int StreamPlan::getFirstLine( std::size_t layer, int y0 ) const noexcept {
    const PixelArea area = _layers[layer].getSource( { 0, y0, _width, _height } );
    return area.isEmpty() ? _infos[layer].height : area.y0;
}

int StreamPlan::getEndLine( std::size_t layer, int y1 ) const noexcept {
    return _layers[layer].getSource( { 0, 0, _width, y1 } ).y1;
}

int StreamPlan::getFirstSpread( int complete ) const noexcept {
    return complete == _height ? _height : std::max( complete - _glow->getReach(), 0 );
}

/// One beyond the last line of the layer that is read in the step that ends with `after`.
int StreamPlan::getReadingLine( std::size_t layer, const StreamLines& after ) const noexcept {
    const int end = getEndLine( layer, _readsAhead ? advance( after ).composed : after.composed );
    return std::min( alignUp( end, _infos[layer].part.height ), _infos[layer].height );
}

std::size_t StreamPlan::countTiles( const StreamLines& before,
                                    const StreamLines& after ) const noexcept {
    std::size_t tiles = _picture.countTiles( _keepsPicture ? 0 : before.taken, after.composed );
    for( std::size_t i = 0; i < _layers.size(); ++i ) {
        const int first = getFirstLine( i, before.composed );
        tiles += _sources[i].countTiles( alignDown( first, _infos[i].part.height ),
                                         getReadingLine( i, after ) );
    }
    if( _across ) {
        tiles += _across->countTiles( getFirstSpread( before.complete ), after.spread );
    }
    return tiles;
}

std::size_t StreamPlan::countTiles() const noexcept {
    std::size_t most = 0;
    for( StreamLines lines; !isDone( lines ); ) {
        const StreamLines next = advance( lines );
        most = std::max( most, countTiles( lines, next ) );
        lines = next;
    }
    return most;
}

} // namespace Qv::Comp
