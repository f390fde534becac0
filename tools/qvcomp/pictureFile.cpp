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

PreviewLines::PreviewLines( PendingFile& file, int width, int height, Dithering dithering )
    : _lineBytes( static_cast<std::size_t>( width ) * Dither::NB_COLOURS )
    , _dither( dithering )
    , _writer( file, width, height ) {}

void PreviewLines::begin( int y0, int y1 ) {
    _former.swap( _lines );
    _lines.resize( _lineBytes * static_cast<std::size_t>( y1 - y0 ) );
    _y0 = y0;
}

void PreviewLines::setPixels( int x, int y, int count, const float* pixels ) noexcept {
    unsigned char* const bytes = &_lines[static_cast<std::size_t>( y - _y0 ) * _lineBytes +
                                         static_cast<std::size_t>( x ) * Dither::NB_COLOURS];
    toneMap( bytes, pixels, count, _dither, x, y );
}

void PreviewLines::writeFormer() {
    _writer.writeLines( _former.data(), static_cast<int>( _former.size() / _lineBytes ) );
}

void PreviewLines::finish() {
    _former.swap( _lines );
    writeFormer();
    _writer.finish();
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
    if( _preview ) {
        _preview->begin( y0, y1 );
        if( _preview->hasFormer() ) {
            units.push_back( { nullptr, [this] { _preview->writeFormer(); } } );
        }
    }
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
    for( const TileRef& input : listAreaInputs( picture, area ) ) {
        forEachLine( picture.read( input.pos ), area,
                     [&]( int x, int y, int count, const float* pixels ) {
                         tile.setPixels( x, y, count, pixels );
                         if( _preview ) {
                             _preview->setPixels( x, y, count, pixels );
                         }
                     } );
    }
    _image.put( _image.pack( std::move( tile ) ) );
}

void PictureFiles::finish() {
    _image.finish();
    if( _preview ) {
        _preview->finish();
    }
}

} // namespace Qv::Comp
