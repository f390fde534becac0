#include <tools/qvcomp/glow.h>

#include <tools/qvcomp/areaMemory.h>
#include <tools/qvcomp/tileSum.h>

namespace Qv::Comp {

namespace {

/// Light above this glows.
constexpr float THRESHOLD = 1.0F;
/// Light beyond this glows no more than this: a sun of some thousands would flood the frame.
constexpr float CEILING = 12.0F;
/// Of a pixel the light above the threshold, with its colour; no alpha. Whether there is any.
bool extractBright( float* bright, const float* pixel ) noexcept {
    const float light = getLuminance( pixel );
    if( !( light > THRESHOLD ) ) {
        std::fill_n( bright, CHANNELS, 0.0F );
        return false;
    }
    const float factor = ( std::min( light, CEILING ) - THRESHOLD ) / light;
    for( int c = 0; c < 3; ++c ) {
        bright[c] = std::max( pixel[c], 0.0F ) * factor;
    }
    bright[3] = 0.0F;
    return true;
}

/// Of the areas in which light is spread, which a thread has in its own memory.
constexpr int AREA_COLUMNS = 256;
constexpr int AREA_LINES = 16;

bool keep( float* to, const float* from ) noexcept {
    std::copy_n( from, CHANNELS, to );
    return true;
}

} // namespace

double getGlowSigma( const GlowRadius& radius, int frameWidth ) noexcept {
    constexpr double LEAST_PART = 1.0;
    return radius.isPercentage ? std::max( LEAST_PART, radius.value / 100.0 * frameWidth )
                               : radius.value;
}

Glow::Glow( double strength, double sigma, int width, int height )
    : _lattice( sigma, width )
    , _along( _lattice, sigma * sigma - _lattice.getSplineVariance(), width )
    , _down( Lattice( 1.0, height ), sigma * sigma, height )
    , _between( _lattice, strength ) {}

std::vector<PixelArea> Glow::listAreas( const TilePlane& picture, int y0, int y1 ) const {
    std::vector<PixelArea> areas;
    for( int y = y0; y < y1; ) {
        const int rowEnd = picture.getArea( picture.getPos( 0, y ) ).y1;
        const int end = std::min( { y + AREA_LINES, rowEnd, y1 } );
        for( int x = 0; x < _lattice.count; x += AREA_COLUMNS ) {
            areas.push_back( { x, y, std::min( x + AREA_COLUMNS, _lattice.count ), end } );
        }
        y = end;
    }
    return areas;
}

std::vector<TileRef> Glow::listInputs( TilePlane& picture, const PixelArea& area ) const {
    return listRowInputs( picture, picture.getPos( 0, area.y0 ).row, _along.at( area.x0 ).first,
                          _along.at( area.x1 - 1 ).getEnd() - 1 );
}

void Glow::spread( TilePlane& picture, TilePlane& across, const PixelArea& area ) const {
    const AreaMemory memory( area.getWidth(), area.getHeight() );
    const TileWriter light = memory.getZeros( area );
    for( const TileRef& input : listInputs( picture, area ) ) {
        addAcross( light, picture.read( input.pos ), _along, extractBright );
    }
    for( const TileRef& output : listAreaInputs( across, area ) ) {
        copyPixels( across.write( output.pos ), toReader( light ) );
    }
}

PixelArea Glow::getSource( const PixelArea& area ) const noexcept {
    return { _between.at( area.x0 ).first, _down.at( area.y0 ).first,
             _between.at( area.x1 - 1 ).getEnd(), _down.at( area.y1 - 1 ).getEnd() };
}

void Glow::addTo( const TileWriter& tile, TilePlane& across ) const {
    const PixelArea& area = tile.getArea();
    // So wide that few columns are made twice, where they are far apart.
    const int width = std::min( area.getWidth(), AREA_COLUMNS * _lattice.step );
    const AreaMemory memory( std::min( width / _lattice.step + 5, _lattice.count ), AREA_LINES );
    for( int y = area.y0; y < area.y1; y += AREA_LINES ) {
        for( int x = area.x0; x < area.x1; x += width ) {
            const PixelArea block = intersect( area, { x, y, x + width, y + AREA_LINES } );
            const PixelArea source = getSource( block );
            const TileWriter light =
                memory.getZeros( { source.x0, block.y0, source.x1, block.y1 } );
            spreadDown( light, across );
            addAcross( tile.within( block ), toReader( light ), _between, keep );
        }
    }
}

void Glow::spreadDown( const TileWriter& light, TilePlane& across ) const {
    const PixelArea& area = light.getArea();
    const PixelArea source{ area.x0, _down.at( area.y0 ).first, area.x1,
                            _down.at( area.y1 - 1 ).getEnd() };
    for( const TileRef& input : listAreaInputs( across, source ) ) {
        const PixelArea tile = across.getArea( input.pos );
        const PixelArea part{ std::max( area.x0, tile.x0 ), area.y0, std::min( area.x1, tile.x1 ),
                              area.y1 };
        addDown( light.within( part ), across.read( input.pos ), _down );
    }
}

} // namespace Qv::Comp
