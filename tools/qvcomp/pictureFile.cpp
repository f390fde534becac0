#include <tools/qvcomp/pictureFile.h>

#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileSum.h>
#include <tools/qvcomp/toneMap.h>

namespace Qv::Comp {

namespace {

/// Calls `take( x, y, count, pixels )` for the part of each line that the tile has of `area`.
template <class Take>
void forEachLine( const TileReader& tile, const PixelArea& area, const Take& take ) {
    const PixelArea& from = tile.getArea();
    const int x0 = std::max( area.x0, from.x0 );
    const int x1 = std::min( area.x1, from.x1 );
    const int y1 = std::min( area.y1, from.y1 );
    for( int y = std::max( area.y0, from.y0 ); y < y1; ++y ) {
        take( x0, y, x1 - x0, tile.at( x0, y ) );
    }
}

} // namespace

PreviewRows::PreviewRows( PendingFile& file, int width, int height, Dithering dithering )
    : _width( width )
    , _height( height )
    , _dither( dithering )
    , _writer( file, width, height ) {}

unsigned char* PreviewRows::begin( int y ) {
    const int row = y / FILE_TILE_SIDE;
    if( unsigned char* bytes = find( row ) ) {
        return bytes;
    }
    const std::lock_guard writing( _writing );
    writeComplete();
    const std::lock_guard guard( _lock );
    const auto [place, isNew] = _rows.try_emplace( row );
    if( isNew ) {
        const int lines = std::min( FILE_TILE_SIDE, _height - row * FILE_TILE_SIDE );
        place->second.bytes.resize( static_cast<std::size_t>( _width ) *
                                    static_cast<std::size_t>( lines ) * Dither::NB_COLOURS );
        place->second.nbMissing = ( _width + FILE_TILE_SIDE - 1 ) / FILE_TILE_SIDE;
    }
    return place->second.bytes.data();
}

/// Null when the row isn't there yet.
unsigned char* PreviewRows::find( int row ) {
    const std::lock_guard guard( _lock );
    const auto place = _rows.find( row );
    return place == _rows.end() ? nullptr : place->second.bytes.data();
}

void PreviewRows::setPixels( unsigned char* bytes, int x, int y, int count,
                             const float* pixels ) const {
    const std::size_t pixel =
        static_cast<std::size_t>( y % FILE_TILE_SIDE ) * static_cast<std::size_t>( _width ) +
        static_cast<std::size_t>( x );
    toneMap( bytes + pixel * Dither::NB_COLOURS, pixels, count, _dither, x, y );
}

void PreviewRows::end( int y ) {
    {
        const std::lock_guard guard( _lock );
        if( --_rows.at( y / FILE_TILE_SIDE ).nbMissing > 0 ) {
            return;
        }
    }
    const std::lock_guard writing( _writing );
    writeComplete();
}

/// REQUIRES: the caller holds _writing.
void PreviewRows::writeComplete() {
    while( const Row* const row = findComplete() ) {
        const std::size_t lineBytes = static_cast<std::size_t>( _width ) * Dither::NB_COLOURS;
        _writer.writeLines( row->bytes.data(), static_cast<int>( row->bytes.size() / lineBytes ) );
        const std::lock_guard guard( _lock );
        _rows.erase( _next++ );
    }
}

/// The row to be written next, null unless it is complete.
const PreviewRows::Row* PreviewRows::findComplete() {
    const std::lock_guard guard( _lock );
    const auto place = _rows.find( _next );
    return place == _rows.end() || place->second.nbMissing > 0 ? nullptr : &place->second;
}

PictureFiles::PictureFiles( int width, int height, const PictureHead& head, PendingFile& output,
                            PendingFile* preview, Dithering dithering )
    : _image( output, width, height, head, FILE_TILE_SIDE ) {
    if( preview != nullptr ) {
        _preview.emplace( *preview, width, height, dithering );
    }
}

std::vector<Unit> PictureFiles::take( TilePlane& picture, int y0, int y1 ) {
    std::vector<Unit> units;
    for( int row = y0 / FILE_TILE_SIDE; row < divideUp( y1, FILE_TILE_SIDE ); ++row ) {
        for( int column = 0; column < _image.getColumns(); ++column ) {
            const PixelArea area = _image.getArea( { column, row } );
            units.push_back( { [&picture, area] { return listAreaInputs( picture, area ); },
                               [this, &picture, area] { write( picture, area ); } } );
        }
    }
    return units;
}

/// Has access to one tile of `picture` at a time.
void PictureFiles::write( TilePlane& picture, const PixelArea& area ) {
    FileTile tile( area );
    unsigned char* const bytes = _preview ? _preview->begin( area.y0 ) : nullptr;
    for( const TileRef& input : listAreaInputs( picture, area ) ) {
        forEachLine( picture.read( input.pos ), area,
                     [&]( int x, int y, int count, const float* pixels ) {
                         tile.setPixels( x, y, count, pixels );
                         if( _preview ) {
                             _preview->setPixels( bytes, x, y, count, pixels );
                         }
                     } );
    }
    _image.put( _image.pack( std::move( tile ) ) );
    if( _preview ) {
        _preview->end( area.y0 );
    }
}

void PictureFiles::finish() {
    _image.finish();
    if( _preview ) {
        _preview->finish();
    }
}

} // namespace Qv::Comp
