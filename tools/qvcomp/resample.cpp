#include <tools/qvcomp/resample.h>

#include <tools/qvcomp/filterTaps.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileSum.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// Light that is so little below zero makes no ring; the noise of a dark plate stays as it is.
constexpr float NEGLIGIBLE = 1.0F / 256.0F;
/// The result is no less than this part of what the positive weights alone make.
constexpr float LEAST_PART = 0.5F;

/// Of a pixel what isn't dark.
void getLight( float* light, const float* pixel ) noexcept {
    for( int c = 0; c < CHANNELS; ++c ) {
        light[c] = std::max( pixel[c], -NEGLIGIBLE );
    }
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

void applyMatte( const TileWriter& tile, const std::optional<Matte>& matte ) {
    if( matte ) {
        changePixels( tile, [&]( float* pixel, int x, int y ) {
            const float factor = matte->at( x, y );
            for( int c = 0; c < CHANNELS; ++c ) {
                pixel[c] *= factor;
            }
        } );
    }
}

/// Copies what `source`, moved by `left` and `top`, has for `target`.
void copyMoved( const TileWriter& target, const TileReader& source, int left, int top ) noexcept {
    const PixelArea& to = target.getArea();
    const PixelArea& from = source.getArea();
    const int x0 = std::max( to.x0, from.x0 + left );
    const int x1 = std::min( to.x1, from.x1 + left );
    const int y1 = std::min( to.y1, from.y1 + top );
    for( int y = std::max( to.y0, from.y0 + top ); x0 < x1 && y < y1; ++y ) {
        std::copy_n( source.at( x0 - left, y - top ), toFloats( x1 - x0 ), target.at( x0, y ) );
    }
}

/// The pixel of the source that lies at the frame's first one; beyond that, the same from any
/// place.
int getShift( const AxisPlacement& axis, int frameSize ) noexcept {
    return static_cast<int>( std::clamp<double>( axis.origin, -axis.sourceSize, frameSize ) );
}

/// Whether a line of the image is a line of the frame, with nothing left.
bool fills( const AxisPlacement& axis, int frameSize ) noexcept {
    return axis.isUntouched() && axis.origin == 0.0 && axis.sourceSize == frameSize;
}

} // namespace

/// An image as wide as the frame.
struct Resampling::Widened {
    /// Its light by all weights, and by the positive ones alone.
    std::unique_ptr<TilePlane> sharp;
    std::unique_ptr<TilePlane> soft;
    /// What is below zero, by the positive weights, in the tiles where there is any; the others
    /// aren't written.
    std::unique_ptr<TilePlane> dark;
    /// Of each tile, row by row. Each is set by the thread that writes the tile.
    std::vector<char> areDark;

    std::size_t toIndex( TilePos pos ) const noexcept {
        return static_cast<std::size_t>( pos.row ) *
                   static_cast<std::size_t>( dark->getColumns() ) +
               static_cast<std::size_t>( pos.column );
    }
};

namespace {

/// Keeps each pixel of the tile from being less than a part of its soft one. Those are made some
/// lines at a time, since there is no room for another tile.
void limitRings( const TileWriter& tile, TilePlane& soft, const std::vector<TileRef>& inputs,
                 const FilterTaps& filter ) {
    constexpr int LINES = 8;
    const PixelArea& area = tile.getArea();
    const std::size_t lineFloats = tile.getLineFloats();
    const std::shared_ptr<float> pixels( new float[LINES * lineFloats],
                                         std::default_delete<float[]>() );
    std::optional<TileReader> reader;
    const TileRef* read = nullptr;
    for( int y = area.y0; y < area.y1; y += LINES ) {
        const TileWriter lines( { area.x0, y, area.x1, std::min( y + LINES, area.y1 ) },
                                soft.getTile().width, pixels );
        clear( lines );
        for( const TileRef& input : inputs ) {
            const PixelArea from = soft.getArea( input.pos );
            if( filter.at( y ).first >= from.y1 ||
                filter.at( lines.getArea().y1 - 1 ).getEnd() <= from.y0 ) {
                continue;
            }
            if( read != &input ) {
                reader.reset();
                reader.emplace( soft.read( input.pos ) );
                read = &input;
            }
            addDown( lines, *reader, filter );
        }
        changePixels( lines, [&]( const float* pixel, int x, int line ) {
            float* limited = tile.at( x, line );
            for( int c = 0; c < CHANNELS; ++c ) {
                limited[c] =
                    std::max( limited[c], pixel[c] - ( 1.0F - LEAST_PART ) * std::abs( pixel[c] ) );
            }
            limited[3] = std::min( limited[3], 1.0F );
        } );
    }
}

} // namespace

Resampling::Resampling( PassRunner& runner, TileStore& store, std::optional<Matte> matte )
    : _runner( runner )
    , _store( store )
    , _matte( matte ) {}

int Resampling::countPasses( const Placement& placement, int width, int height,
                             bool hasMatte ) noexcept {
    if( !placement.isUntouched() ) {
        return 2;
    }
    return hasMatte || !fills( placement.x, width ) || !fills( placement.y, height ) ? 1 : 0;
}

std::unique_ptr<TilePlane> Resampling::run( std::unique_ptr<TilePlane> source,
                                            const std::string& name, const Placement& placement,
                                            int width, int height ) {
    switch( countPasses( placement, width, height, _matte.has_value() ) ) {
    case 0:
        return source;
    case 1:
        return place( *source, name, placement, width, height );
    default:
        const Widened widened = runAcross( *source, name, placement.x, width );
        source.reset();
        return runDown( widened, name, placement.y, height );
    }
}

std::unique_ptr<TilePlane> Resampling::place( TilePlane& source, const std::string& name,
                                              const Placement& placement, int width, int height ) {
    auto result = _store.createPlane( name, width, height, TileShape::SQUARE );
    const int left = getShift( placement.x, width );
    const int top = getShift( placement.y, height );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listAreaInputs( source,
                               { area.x0 - left, area.y0 - top, area.x1 - left, area.y1 - top } );
    };
    _runner.run( { "Placing " + name, orderByRows( *result ), getInputs, [&]( TilePos pos ) {
                      sumTile(
                          *result, pos, getInputs( pos ),
                          [&]( auto& to, const auto& from ) { copyMoved( to, from, left, top ); },
                          [&]( auto& tile ) { applyMatte( tile, _matte ); } );
                  } } );
    return result;
}

Resampling::Widened Resampling::runAcross( TilePlane& source, const std::string& name,
                                           const AxisPlacement& axis, int width ) {
    const auto createPlane = [&]( const char* kind ) {
        return _store.createPlane( name + kind, width, source.getHeight(), TileShape::SQUARE );
    };
    Widened result{ createPlane( " sharp" ), createPlane( " soft" ), createPlane( " dark" ), {} };
    result.areDark.resize( result.dark->getTileCount() );
    const FilterTaps sharpFilter( axis, width, Lobes::ALL );
    const FilterTaps softFilter( axis, width, Lobes::POSITIVE );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result.sharp->getArea( pos );
        return listRowInputs( source, pos.row, sharpFilter.at( area.x0 ).first,
                              sharpFilter.at( area.x1 - 1 ).getEnd() - 1 );
    };
    const auto filter = [&]( TilePlane& plane, TilePos pos, const FilterTaps& taps,
                             const auto& convert ) {
        sumTile(
            plane, pos, getInputs( pos ),
            [&]( auto& to, const auto& from ) { addAcross( to, from, taps, convert ); },
            []( auto& ) {} );
    };
    const auto work = [&]( TilePos pos ) {
        bool isDark = false;
        filter( *result.sharp, pos, sharpFilter, [&]( float* to, const float* from ) {
            getLight( to, from );
            isDark |= !std::equal( from, from + CHANNELS, to );
            return true;
        } );
        filter( *result.soft, pos, softFilter, []( float* to, const float* from ) {
            getLight( to, from );
            return true;
        } );
        if( isDark ) {
            result.areDark[result.toIndex( pos )] = 1;
            filter( *result.dark, pos, softFilter, getDark );
        }
    };
    _runner.run(
        { "Resampling " + name + " across", orderByRows( *result.sharp ), getInputs, work } );
    return result;
}

std::unique_ptr<TilePlane> Resampling::runDown( const Widened& source, const std::string& name,
                                                const AxisPlacement& axis, int height ) {
    auto result = _store.createPlane( name, source.sharp->getWidth(), height, TileShape::SQUARE );
    const FilterTaps sharpFilter( axis, height, Lobes::ALL );
    const FilterTaps softFilter( axis, height, Lobes::POSITIVE );
    const auto getInputs = [&]( TilePos pos ) {
        const PixelArea area = result->getArea( pos );
        return listColumnInputs( *source.sharp, pos.column, sharpFilter.at( area.y0 ).first,
                                 sharpFilter.at( area.y1 - 1 ).getEnd() - 1 );
    };
    const auto work = [&]( TilePos pos ) {
        const std::vector<TileRef> inputs = getInputs( pos );
        const auto complete = [&]( const TileWriter& tile ) {
            limitRings( tile, *source.soft, inputs, softFilter );
            for( const TileRef& input : inputs ) {
                if( source.areDark[source.toIndex( input.pos )] != 0 ) {
                    addDown( tile, source.dark->read( input.pos ), softFilter );
                }
            }
            applyMatte( tile, _matte );
        };
        sumTile(
            *result, pos, inputs,
            [&]( auto& to, const auto& from ) { addDown( to, from, sharpFilter ); }, complete );
    };
    const auto getAllInputs = [&]( TilePos pos ) {
        std::vector<TileRef> inputs = getInputs( pos );
        for( std::size_t i = 0, count = inputs.size(); i < count; ++i ) {
            inputs.push_back( { source.soft.get(), inputs[i].pos } );
        }
        return inputs;
    };
    _runner.run(
        { "Resampling " + name + " down", orderByColumns( *result ), getAllInputs, work } );
    return result;
}

} // namespace Qv::Comp
