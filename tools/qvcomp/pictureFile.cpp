#include <tools/qvcomp/pictureFile.h>

#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/toneMap.h>

namespace Qv::Comp {

namespace {

std::vector<TileRef> listInputs( TilePlane& picture, const PixelArea& area ) {
    const TilePos first = picture.getPos( area.x0, area.y0 );
    const TilePos last = picture.getPos( area.x1 - 1, area.y1 - 1 );
    std::vector<TileRef> inputs;
    for( int row = first.row; row <= last.row; ++row ) {
        for( int column = first.column; column <= last.column; ++column ) {
            inputs.push_back( { &picture, { column, row } } );
        }
    }
    return inputs;
}

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

std::vector<TilePos> PictureFiles::listTiles() const {
    std::vector<TilePos> tiles;
    for( int row = 0; row < _image.getRows(); ++row ) {
        for( int column = 0; column < _image.getColumns(); ++column ) {
            tiles.push_back( { column, row } );
        }
    }
    return tiles;
}

void PictureFiles::write( TilePlane& picture, TilePos pos ) {
    const PixelArea area = getArea( pos );
    FileTile tile( area );
    unsigned char* const bytes = _preview ? _preview->begin( area.y0 ) : nullptr;
    for( const TileRef& input : listInputs( picture, area ) ) {
        forEachLine( picture.read( input.pos ), area,
                     [&]( int x, int y, int count, const float* pixels ) {
                         tile.setPixels( x, y, count, pixels );
                         if( _preview ) {
                             _preview->setPixels( bytes, x, y, count, pixels );
                         }
                     } );
    }
    if( _preview ) {
        _preview->end( area.y0 );
    }
    _image.put( _image.pack( std::move( tile ) ) );
}

void PictureFiles::finish() {
    _image.finish();
    if( _preview ) {
        _preview->finish();
    }
}

void writePicture( TilePlane& picture, PictureFiles& files, PassRunner& runner ) {
    runner.run( { "Writing", files.listTiles(),
                  [&]( TilePos pos ) { return listInputs( picture, files.getArea( pos ) ); },
                  [&]( TilePos pos ) { files.write( picture, pos ); } } );
    files.finish();
}

} // namespace Qv::Comp
