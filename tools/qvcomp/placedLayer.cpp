#include <tools/qvcomp/placedLayer.h>

#include <tools/qvcomp/areaMemory.h>
#include <tools/qvcomp/composite.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileSum.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// Light that is so little below zero makes no ring; the noise of a dark plate stays as it is.
constexpr float NEGLIGIBLE = 1.0F / 256.0F;
/// The result is no less than this part of what the positive weights alone make.
constexpr float LEAST_PART = 0.5F;
/// Of a block, which is resampled in the caches of one processor.
constexpr int BLOCK_WIDTH = 256;
constexpr int BLOCK_HEIGHT = 32;
/// Lines that are made as wide as the frame at a time.
constexpr int STRIP_HEIGHT = 16;

/// Of a pixel what isn't dark. Whether there is any dark.
bool getLight( float* light, const float* pixel ) noexcept {
    bool isDark = false;
    for( int c = 0; c < CHANNELS; ++c ) {
        light[c] = std::max( pixel[c], -NEGLIGIBLE );
        isDark |= light[c] != pixel[c];
    }
    return isDark;
}

/// Of a pixel what it has below zero, if that isn't negligible. Whether there is any.
bool getDark( float* dark, const float* pixel ) noexcept {
    bool isThere = false;
    for( int c = 0; c < CHANNELS; ++c ) {
        dark[c] = std::min( pixel[c] + NEGLIGIBLE, 0.0F );
        isThere |= dark[c] != 0.0F;
    }
    return isThere;
}

/// Applies `change( pixel, x, y )` to all pixels of the tile.
template <class Change>
void changePixels( const TileWriter& tile, const Change& change ) {
    const PixelArea& area = tile.getArea();
    for( int y = area.y0; y < area.y1; ++y ) {
        float* pixel = tile.at( area.x0, y );
        for( int x = area.x0; x < area.x1; ++x, pixel += CHANNELS ) {
            change( pixel, x, y );
        }
    }
}

/// The positions of the frame that have source positions: one run.
std::pair<int, int> findExtent( const FilterTaps& filter ) noexcept {
    int begin = 0;
    int end = filter.getSize();
    while( begin < end && filter.at( begin ).weights.empty() ) {
        ++begin;
    }
    while( end > begin && filter.at( end - 1 ).weights.empty() ) {
        --end;
    }
    return { begin, end };
}

PixelArea makeExtent( const FilterTaps& across, const FilterTaps& down ) noexcept {
    const auto [x0, x1] = findExtent( across );
    const auto [y0, y1] = findExtent( down );
    return { x0, y0, x1, y1 };
}

} // namespace

/// Makes the layer's pixels block by block.
class PlacedLayer::Block {
public:
    Block( const PlacedLayer& layer, TilePlane& source, const PixelArea& largest )
        : _layer( layer )
        , _source( source )
        , _sharp( largest.getWidth(), largest.getHeight() )
        , _soft( largest.getWidth(), largest.getHeight() )
        , _sharpStrip( largest.getWidth(), STRIP_HEIGHT )
        , _softStrip( largest.getWidth(), STRIP_HEIGHT ) {}

    /// The layer's pixels for `area`, which it reaches everywhere. They last until the next call.
    TileReader make( const PixelArea& area ) const {
        const TileWriter pixels = _sharp.getZeros( area );
        if( _layer._placement.isUntouched() ) {
            copy( pixels );
        } else {
            resample( pixels );
        }
        if( const auto& matte = _layer._matte ) {
            changePixels( pixels, [&]( float* pixel, int x, int y ) {
                const float factor = matte->at( x, y );
                for( int c = 0; c < CHANNELS; ++c ) {
                    pixel[c] *= factor;
                }
            } );
        }
        return toReader( pixels );
    }

private:
    void copy( const TileWriter& pixels ) const {
        const PixelArea& area = pixels.getArea();
        const PixelArea wanted = _layer.getSource( area );
        for( const TileRef& input : listAreaInputs( _source, wanted ) ) {
            const TileReader tile = _source.read( input.pos );
            const PixelArea from = intersect( tile.getArea(), wanted );
            for( int y = from.y0; y < from.y1; ++y ) {
                std::copy_n( tile.at( from.x0, y ), toFloats( from.getWidth() ),
                             pixels.at( area.x0 + from.x0 - wanted.x0, area.y0 + y - wanted.y0 ) );
            }
        }
    }

    void resample( const TileWriter& pixels ) const {
        const TileWriter soft = _soft.getZeros( pixels.getArea() );
        if( addLight( pixels, soft ) ) {
            limitRings( pixels, toReader( soft ) );
            addDark( pixels );
        } else {
            limitRings( pixels, toReader( soft ) );
        }
    }

    /// Adds what isn't dark, by all weights and by the positive ones alone. Whether any pixel is
    /// dark.
    bool addLight( const TileWriter& sharp, const TileWriter& soft ) const {
        bool isDark = false;
        forEachStrip( sharp.getArea(), [&]( const PixelArea& strip ) {
            const TileWriter sharpLines = _sharpStrip.getZeros( strip );
            const TileWriter softLines = _softStrip.getZeros( strip );
            forEachInput( strip, [&]( const TileReader& tile ) {
                walkAcross(
                    sharpLines, tile, _layer._sharpAcross,
                    [&]( float* to, const float* from ) {
                        isDark |= getLight( to, from );
                        return true;
                    },
                    [&]( const GatheredLines& lines ) {
                        lines.addTo( sharpLines, _layer._sharpAcross );
                        lines.addTo( softLines, _layer._softAcross );
                    } );
            } );
            addDown( sharp, toReader( sharpLines ), _layer._sharpDown );
            addDown( soft, toReader( softLines ), _layer._softDown );
        } );
        return isDark;
    }

    /// Adds what is dark, by the positive weights.
    void addDark( const TileWriter& pixels ) const {
        forEachStrip( pixels.getArea(), [&]( const PixelArea& strip ) {
            const TileWriter lines = _softStrip.getZeros( strip );
            forEachInput( strip, [&]( const TileReader& tile ) {
                addAcross( lines, tile, _layer._softAcross, getDark );
            } );
            addDown( pixels, toReader( lines ), _layer._softDown );
        } );
    }

    /// Keeps each pixel from being less than a part of its soft one.
    static void limitRings( const TileWriter& pixels, const TileReader& soft ) {
        changePixels( pixels, [&]( float* limited, int x, int y ) {
            const float* pixel = soft.at( x, y );
            for( int c = 0; c < CHANNELS; ++c ) {
                limited[c] =
                    std::max( limited[c], pixel[c] - ( 1.0F - LEAST_PART ) * std::abs( pixel[c] ) );
            }
            limited[3] = std::min( limited[3], 1.0F );
        } );
    }

    /// Calls `use( strip )` for the source's lines that make those of `area`, downwards: each strip
    /// has the columns of the area and some lines of the source, all in one row of its tiles.
    template <class Use>
    void forEachStrip( const PixelArea& area, const Use& use ) const {
        const PixelArea lines = _layer.getSource( area );
        for( int y = lines.y0; y < lines.y1; ) {
            const int rowEnd = _source.getArea( _source.getPos( 0, y ) ).y1;
            const int end = std::min( { y + STRIP_HEIGHT, rowEnd, lines.y1 } );
            use( PixelArea{ area.x0, y, area.x1, end } );
            y = end;
        }
    }

    /// Calls `use( tile )` for the source's tiles that make the strip, left to right.
    template <class Use>
    void forEachInput( const PixelArea& strip, const Use& use ) const {
        const int first = _layer._sharpAcross.at( strip.x0 ).first;
        const int last = _layer._sharpAcross.at( strip.x1 - 1 ).getEnd() - 1;
        const int row = _source.getPos( 0, strip.y0 ).row;
        for( const TileRef& input : listRowInputs( _source, row, first, last ) ) {
            use( _source.read( input.pos ) );
        }
    }

    const PlacedLayer& _layer;
    TilePlane& _source;
    AreaMemory _sharp;
    AreaMemory _soft;
    AreaMemory _sharpStrip;
    AreaMemory _softStrip;
};

PlacedLayer::PlacedLayer( const Placement& placement, int width, int height,
                          std::optional<Matte> matte, const LayerOptions& options, bool isBottom )
    : _placement( placement )
    , _matte( matte )
    , _options( options )
    , _isBottom( isBottom )
    , _sharpAcross( placement.x, width, Lobes::ALL )
    , _softAcross( placement.x, width, Lobes::POSITIVE )
    , _sharpDown( placement.y, height, Lobes::ALL )
    , _softDown( placement.y, height, Lobes::POSITIVE )
    , _extent( makeExtent( _sharpAcross, _sharpDown ) ) {}

PixelArea PlacedLayer::getSource( const PixelArea& area ) const noexcept {
    const PixelArea reached = intersect( area, _extent );
    if( reached.isEmpty() ) {
        return {};
    }
    return { _sharpAcross.at( reached.x0 ).first, _sharpDown.at( reached.y0 ).first,
             _sharpAcross.at( reached.x1 - 1 ).getEnd(), _sharpDown.at( reached.y1 - 1 ).getEnd() };
}

void PlacedLayer::joinTo( const TileWriter& tile, TilePlane& source ) const {
    const PixelArea reached = intersect( tile.getArea(), _extent );
    if( reached.isEmpty() ) {
        return;
    }
    const Block block( *this, source,
                       { 0, 0, std::min( reached.getWidth(), BLOCK_WIDTH ),
                         std::min( reached.getHeight(), BLOCK_HEIGHT ) } );
    for( int y = reached.y0; y < reached.y1; y += BLOCK_HEIGHT ) {
        for( int x = reached.x0; x < reached.x1; x += BLOCK_WIDTH ) {
            const TileReader pixels =
                block.make( intersect( reached, { x, y, x + BLOCK_WIDTH, y + BLOCK_HEIGHT } ) );
            if( _isBottom ) {
                putPixels( tile, pixels, _options.opacity );
            } else {
                joinPixels( tile, pixels, _options );
            }
        }
    }
}

} // namespace Qv::Comp
