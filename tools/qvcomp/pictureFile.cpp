#include <tools/qvcomp/pictureFile.h>

#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/pngWriter.h>
#include <tools/qvcomp/toneMap.h>

#include <optional>

namespace Qv::Comp {

namespace {

/// Copies the pixels of `area`, whose lines are `lineWidth` pixels apart in `target`. Has access to
/// one tile at a time.
void copyArea( TilePlane& plane, const PixelArea& area, float* target, int lineWidth ) {
    const TilePos first = plane.getPos( area.x0, area.y0 );
    const TilePos last = plane.getPos( area.x1 - 1, area.y1 - 1 );
    for( int row = first.row; row <= last.row; ++row ) {
        for( int column = first.column; column <= last.column; ++column ) {
            const TileReader tile = plane.read( { column, row } );
            const PixelArea& from = tile.getArea();
            const int x0 = std::max( area.x0, from.x0 );
            const int x1 = std::min( area.x1, from.x1 );
            const int y1 = std::min( area.y1, from.y1 );
            for( int y = std::max( area.y0, from.y0 ); y < y1; ++y ) {
                std::copy_n( tile.at( x0, y ), toFloats( x1 - x0 ),
                             target +
                                 static_cast<std::size_t>( y - area.y0 ) * toFloats( lineWidth ) +
                                 toFloats( x0 - area.x0 ) );
            }
        }
    }
}

/// Gathers the tone-mapped tiles of one row to full lines.
class PreviewRow {
public:
    PreviewRow( PendingFile& file, int width, int height, Dithering dithering )
        : _writer( file, width, height )
        , _dither( dithering )
        , _width( width )
        , _bytes( static_cast<std::size_t>( width ) * FILE_TILE_SIDE * 3 ) {}

    void add( const PixelArea& area, const float* pixels ) {
        for( int line = 0; line < area.getHeight(); ++line ) {
            const std::size_t pixel =
                static_cast<std::size_t>( line ) * static_cast<std::size_t>( _width ) +
                static_cast<std::size_t>( area.x0 );
            toneMap( &_bytes[pixel * 3],
                     pixels + static_cast<std::size_t>( line ) * toFloats( FILE_TILE_SIDE ),
                     area.getWidth(), _dither, area.x0, area.y0 + line );
        }
    }

    void write( int lines ) { _writer.writeLines( _bytes.data(), lines ); }
    void finish() { _writer.finish(); }

private:
    PngWriter _writer;
    Dither _dither;
    int _width;
    std::vector<unsigned char> _bytes;
};

int countAlong( int size ) noexcept {
    return ( size + FILE_TILE_SIDE - 1 ) / FILE_TILE_SIDE;
}

PixelArea getFileTile( const TilePlane& picture, int column, int row ) noexcept {
    const int x = column * FILE_TILE_SIDE;
    const int y = row * FILE_TILE_SIDE;
    return { x, y, std::min( x + FILE_TILE_SIDE, picture.getWidth() ),
             std::min( y + FILE_TILE_SIDE, picture.getHeight() ) };
}

} // namespace

void writePicture( TilePlane& picture, const PictureHead& head, PendingFile& output,
                   PendingFile* preview, Dithering dithering, Passes& passes ) {
    const int columns = countAlong( picture.getWidth() );
    const int rows = countAlong( picture.getHeight() );
    passes.begin( "Writing",
                  countTiles( picture.getWidth(), picture.getHeight(), FILE_TILE_SIDE ) );
    ExrWriter image( output, picture.getWidth(), picture.getHeight(), head, FILE_TILE_SIDE );
    std::optional<PreviewRow> previewRow;
    if( preview != nullptr ) {
        previewRow.emplace( *preview, picture.getWidth(), picture.getHeight(), dithering );
    }
    std::vector<float> pixels( toFloats( FILE_TILE_SIDE ) * FILE_TILE_SIDE );
    for( int row = 0; row < rows; ++row ) {
        for( int column = 0; column < columns; ++column ) {
            InterruptNote::check();
            const PixelArea area = getFileTile( picture, column, row );
            copyArea( picture, area, pixels.data(), FILE_TILE_SIDE );
            image.writeTile( column, row, pixels.data() );
            if( previewRow ) {
                previewRow->add( area, pixels.data() );
            }
            passes.step();
        }
        if( previewRow ) {
            previewRow->write( getFileTile( picture, 0, row ).getHeight() );
        }
    }
    image.finish();
    if( previewRow ) {
        previewRow->finish();
    }
    passes.end();
}

} // namespace Qv::Comp
