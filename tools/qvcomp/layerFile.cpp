#include <tools/qvcomp/layerFile.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/layerHead.h>
#include <tools/qvcomp/options.h>
#include <tools/qvcomp/pixelMath.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfTestFile.h>
#include <ImfTiledInputPart.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// So much is read at a time; more only costs memory.
constexpr std::size_t BLOCK_BYTES = std::size_t{ 4 } << 20;
constexpr std::size_t PIXEL_BYTES = CHANNELS * sizeof( float );
/// Of a chunk, beside its pixels as they are in the file: what OpenEXR 3.1 takes as a multiple of
/// those, rounded up, whatever the compression: 3.1 was measured for noise in ZIP and DWA.
constexpr std::uint64_t QUARTER_CHUNK_COPIES = 13;
/// OpenEXR's entries for a chunk, for all levels of detail.
constexpr std::uint64_t CHUNK_ENTRY_BYTES = 64;
/// The least that a chunk takes in a file: its place in the table, and its head.
constexpr std::uint64_t LEAST_CHUNK_BYTES = 16;
/// No compression makes pixels smaller than by this: DWA packs runs of 64 to 1 by zlib, which packs
/// up to 1032 to 1.
constexpr std::uint64_t LARGEST_RATIO = std::uint64_t{ 1 } << 17;

void checkKind( LayerStream& stream ) {
    bool isTiled = false;
    bool isDeep = false;
    if( !Imf::isOpenExrFile( stream, isTiled, isDeep ) ) {
        throw Failure( Tag::LAYER_NO_IMAGE, stream.fileName() );
    }
    if( isDeep ) {
        throw Failure( Tag::LAYER_DEEP, stream.fileName() );
    }
    stream.seekg( 0 );
}

/// Runs `read` and turns what OpenEXR raises into one sentence.
template <class Read>
auto guardReading( const OsFilePath& path, const Read& read ) {
    try {
        return read();
    } catch( const Failure& ) {
        throw;
    } catch( const std::bad_alloc& ) {
        throw Failure( Tag::LAYER_HUGE, path.toString() );
    } catch( const std::exception& e ) {
        InterruptNote::check();
        std::string text = e.what();
        // OpenEXR's texts are sentences of their own.
        while( !text.empty() && ( text.back() == '.' || text.back() == '\n' ) ) {
            text.pop_back();
        }
        throw Failure( Tag::LAYER_DAMAGED, path.toString(), text );
    }
}

void checkChannel( const OsFilePath& path, const Imf::ChannelList& channels, const char* name ) {
    const Imf::Channel* channel = channels.findChannel( name );
    if( channel != nullptr && ( channel->xSampling != 1 || channel->ySampling != 1 ) ) {
        throw Failure( Tag::LAYER_SUBSAMPLED, path.toString(), name );
    }
}

bool hasChannel( const Imf::ChannelList& channels, const char* name ) {
    return channels.findChannel( name ) != nullptr;
}

/// Y alone is grey. Beside others of its kind it is a part of a colour, or of a direction.
bool isGrey( const OsFilePath& path, const Imf::ChannelList& channels ) {
    const auto has = [&]( const char* name ) { return hasChannel( channels, name ); };
    if( has( "R" ) && has( "G" ) && has( "B" ) ) {
        return false;
    }
    if( !has( "Y" ) || has( "R" ) || has( "G" ) || has( "B" ) ) {
        throw Failure( Tag::LAYER_CHANNELS, path.toString() );
    }
    for( const char* name : { "X", "RY", "BY" } ) {
        if( has( name ) ) {
            throw Failure( Tag::LAYER_NOT_GREY, path.toString(), name );
        }
    }
    return true;
}

/// Lines of a chunk in a file of scan lines.
int getChunkLines( Imf::Compression compression ) noexcept {
    switch( compression ) {
    case Imf::NO_COMPRESSION:
    case Imf::RLE_COMPRESSION:
    case Imf::ZIPS_COMPRESSION:
        return 1;
    case Imf::ZIP_COMPRESSION:
    case Imf::PXR24_COMPRESSION:
        return 16;
    case Imf::DWAB_COMPRESSION:
        return 256;
    default:
        return 32;
    }
}

int divideUp( int value, int divisor ) noexcept {
    return value / divisor + ( value % divisor == 0 ? 0 : 1 );
}

/// How the pixels of an image of `width` by `height` lie in its file.
struct Layout {
    Layout( const Imf::Header& header, int width, int height )
        : isTiled( header.hasType() ? Imf::isTiled( header.type() ) : header.hasTileDescription() )
        , chunkWidth( width )
        , chunkHeight( std::min( getChunkLines( header.compression() ), height ) ) {
        if( isTiled ) {
            const Imf::TileDescription& tiles = header.tileDescription();
            chunkWidth = clampSide( tiles.xSize, width );
            chunkHeight = clampSide( tiles.ySize, height );
        }
        columns = divideUp( width, chunkWidth );
        rows = divideUp( height, chunkHeight );
    }

    static int clampSide( unsigned side, int size ) noexcept {
        return static_cast<int>( std::clamp( side, 1U, static_cast<unsigned>( size ) ) );
    }

    std::uint64_t countChunks() const noexcept {
        return static_cast<std::uint64_t>( columns ) * static_cast<std::uint64_t>( rows );
    }

    std::uint64_t countChunkPixels() const noexcept {
        return static_cast<std::uint64_t>( chunkWidth ) * static_cast<std::uint64_t>( chunkHeight );
    }

    bool isTiled;
    int chunkWidth;
    int chunkHeight;
    int columns;
    int rows;
};

std::uint64_t getFilePixelBytes( const Imf::ChannelList& channels ) {
    std::uint64_t bytes = 0;
    for( auto channel = channels.begin(); channel != channels.end(); ++channel ) {
        bytes += channel.channel().type == Imf::HALF ? 2U : 4U;
    }
    return bytes;
}

std::uint64_t getReadingMemory( const Imf::Header& header, const Layout& layout ) {
    const std::uint64_t block = layout.isTiled ? layout.countChunkPixels() * PIXEL_BYTES : 0;
    const std::uint64_t chunk = layout.countChunkPixels() * getFilePixelBytes( header.channels() );
    return std::max<std::uint64_t>( block, BLOCK_BYTES ) +
           QUARTER_CHUNK_COPIES * ( chunk / 4 + 1 ) + CHUNK_ENTRY_BYTES * layout.countChunks();
}

DisplayWindow getDisplay( const Imf::Header& header ) {
    const Imath::Box2i& data = header.dataWindow();
    const Imath::Box2i& display = header.displayWindow();
    return { std::int64_t{ display.min.x } - data.min.x, std::int64_t{ display.min.y } - data.min.y,
             std::int64_t{ display.max.x } - display.min.x + 1,
             std::int64_t{ display.max.y } - display.min.y + 1 };
}

LayerInfo toInfo( const OsFilePath& path, const LayerStream& stream, const Imf::Header& header ) {
    const Imath::Box2i& window = header.dataWindow();
    const auto width = std::int64_t{ window.max.x } - window.min.x + 1;
    const auto height = std::int64_t{ window.max.y } - window.min.y + 1;
    if( width < 1 || height < 1 || width > MAX_SIDE || height > MAX_SIDE ) {
        throw Failure( Tag::LAYER_WINDOW, path.toString(), width, height, MAX_SIDE );
    }
    const Imf::ChannelList& channels = header.channels();
    for( const char* name : { "R", "G", "B", "A", "Y" } ) {
        checkChannel( path, channels, name );
    }
    isGrey( path, channels );
    const Layout layout( header, static_cast<int>( width ), static_cast<int>( height ) );
    const auto pixelBytes =
        static_cast<std::uint64_t>( width * height ) * getFilePixelBytes( channels );
    if( layout.countChunks() > stream.getLength() / LEAST_CHUNK_BYTES ||
        pixelBytes / LARGEST_RATIO > stream.getLength() ) {
        throw Failure( Tag::LAYER_SHORT, path.toString(), width, height );
    }
    return { path,
             static_cast<int>( width ),
             static_cast<int>( height ),
             hasChannel( channels, "A" ),
             getDisplay( header ),
             header.pixelAspectRatio(),
             stream.getId(),
             getReadingMemory( header, layout ),
             readLayerHead( header ) };
}

float sanitise( float value ) noexcept {
    return std::isnan( value ) ? 0.0F : std::clamp( value, -LARGEST_HALF, LARGEST_HALF );
}

/// A layer's file, open to be read.
class LayerImage {
public:
    /// The head is gone through before OpenEXR reads it.
    template <class CheckHead>
    LayerImage( const OsFilePath& path, const CheckHead& checkHead )
        : _stream( path )
        , _headMemory( measure( _stream, checkHead ) )
        , _file( _stream, 0 )
        , _info( toInfo( path, _stream, _file.header( 0 ) ) )
        , _layout( _file.header( 0 ), _info.width, _info.height ) {
        _info.readingMemory += _headMemory;
    }

    const LayerInfo& getInfo() const noexcept { return _info; }
    const Layout& getLayout() const noexcept { return _layout; }
    Imf::MultiPartInputFile& getFile() noexcept { return _file; }

private:
    template <class CheckHead>
    static std::uint64_t measure( LayerStream& stream, const CheckHead& checkHead ) {
        checkKind( stream );
        const std::uint64_t bytes = measureHead( stream );
        checkHead( bytes );
        return bytes;
    }

    LayerStream _stream;
    std::uint64_t _headMemory;
    Imf::MultiPartInputFile _file;
    LayerInfo _info;
    Layout _layout;
};

/// Pixels of a part of the image, read at once.
class Block {
public:
    Block( LayerImage& image, const PixelArea& largest )
        : _origin( image.getFile().header( 0 ).dataWindow().min )
        , _isGrey( isGrey( image.getInfo().path, image.getFile().header( 0 ).channels() ) )
        , _pixels( std::make_unique_for_overwrite<float[]>(
              toFloats( largest.getWidth() ) * static_cast<std::size_t>( largest.getHeight() ) ) ) {
    }

    /// Where the pixels of `area` are to be put.
    Imf::FrameBuffer makeBuffer( const PixelArea& area ) {
        _area = area;
        const Imath::V2i corner( _origin.x + area.x0, _origin.y + area.y0 );
        constexpr std::array<const char*, CHANNELS> NAMES{ "R", "G", "B", "A" };
        Imf::FrameBuffer buffer;
        for( std::size_t c = 0; c < CHANNELS; ++c ) {
            buffer.insert( _isGrey && c == 0 ? "Y" : NAMES[c],
                           Imf::Slice::Make( Imf::FLOAT, &_pixels[c], corner, area.getWidth(),
                                             area.getHeight(), PIXEL_BYTES,
                                             toFloats( area.getWidth() ) * sizeof( float ), 1, 1,
                                             1.0 ) );
        }
        return buffer;
    }

    /// Lines of the image for the file.
    int toFileLine( int y ) const noexcept { return _origin.y + y; }

    /// Copies the pixels into the tiles that they belong to.
    void store( TilePlane& plane ) {
        clean();
        const TilePos first = plane.getPos( _area.x0, _area.y0 );
        const TilePos last = plane.getPos( _area.x1 - 1, _area.y1 - 1 );
        for( int row = first.row; row <= last.row; ++row ) {
            for( int column = first.column; column <= last.column; ++column ) {
                storeTile( plane.write( { column, row } ) );
            }
        }
    }

private:
    void clean() {
        const std::size_t count =
            toFloats( _area.getWidth() ) * static_cast<std::size_t>( _area.getHeight() );
        for( std::size_t i = 0; i < count; i += CHANNELS ) {
            if( _isGrey ) {
                _pixels[i + 1] = _pixels[i + 2] = _pixels[i];
            }
            for( std::size_t c = 0; c < 3; ++c ) {
                _pixels[i + c] = sanitise( _pixels[i + c] );
            }
            _pixels[i + 3] = std::clamp( sanitise( _pixels[i + 3] ), 0.0F, 1.0F );
        }
    }

    void storeTile( const TileWriter& tile ) const {
        const PixelArea& to = tile.getArea();
        const int x0 = std::max( _area.x0, to.x0 );
        const int x1 = std::min( _area.x1, to.x1 );
        const int y1 = std::min( _area.y1, to.y1 );
        for( int y = std::max( _area.y0, to.y0 ); y < y1; ++y ) {
            const std::size_t line =
                static_cast<std::size_t>( y - _area.y0 ) * toFloats( _area.getWidth() );
            std::copy_n( &_pixels[line + toFloats( x0 - _area.x0 )], toFloats( x1 - x0 ),
                         tile.at( x0, y ) );
        }
    }

    const Imath::V2i _origin;
    bool _isGrey;
    PixelArea _area{};
    /// Not touched before OpenEXR has found the pixels.
    std::unique_ptr<float[]> _pixels;
};

/// Fills a plane from the top down, and finishes its rows of tiles as they become complete.
class PlaneFiller {
public:
    PlaneFiller( TilePlane& plane, LayerImage& image, Passes& passes )
        : _plane( plane )
        , _image( image )
        , _passes( passes ) {}

    void fillFromLines() {
        const int width = _plane.getWidth();
        const int height = _plane.getHeight();
        const int lines = alignDown( countAtOnce( static_cast<std::uint64_t>( width ), height ),
                                     _plane.getTile().height );
        auto part = open<Imf::InputPart>();
        Block block( _image, { 0, 0, width, lines } );
        for( int y = 0; y < height; y += lines ) {
            const PixelArea area{ 0, y, width, std::min( y + lines, height ) };
            fill( block, area, [&]( const Imf::FrameBuffer& buffer ) {
                part.setFrameBuffer( buffer );
                part.readPixels( block.toFileLine( area.y0 ), block.toFileLine( area.y1 - 1 ) );
            } );
            finishAbove( area.y1 );
        }
    }

    /// As many tiles of the file at once as fit a block, side by side, and whole rows of them.
    void fillFromTiles() {
        const Layout& layout = _image.getLayout();
        const std::uint64_t tilePixels = layout.countChunkPixels();
        const int columns = countAtOnce( tilePixels, layout.columns );
        const int rows = alignDown(
            countAtOnce( tilePixels * static_cast<std::uint64_t>( layout.columns ), layout.rows ),
            _plane.getTile().height / layout.chunkHeight );
        auto part = open<Imf::TiledInputPart>();
        Block block( _image, { 0, 0, columns * layout.chunkWidth, rows * layout.chunkHeight } );
        for( int row = 0; row < layout.rows; row += rows ) {
            const int rowEnd = std::min( row + rows, layout.rows );
            for( int column = 0; column < layout.columns; column += columns ) {
                const int columnEnd = std::min( column + columns, layout.columns );
                fill( block, getArea( column, row, columnEnd, rowEnd ),
                      [&]( const Imf::FrameBuffer& buffer ) {
                          part.setFrameBuffer( buffer );
                          part.readTiles( column, columnEnd - 1, row, rowEnd - 1 );
                      } );
            }
            finishAbove( getArea( 0, row, 1, rowEnd ).y1 );
        }
    }

private:
    /// How many of `count` pieces of so many pixels fit a block, at least 1.
    static int countAtOnce( std::uint64_t pixels, int count ) noexcept {
        const std::uint64_t fitting = BLOCK_BYTES / PIXEL_BYTES / pixels;
        return static_cast<int>(
            std::clamp<std::uint64_t>( fitting, 1, static_cast<std::uint64_t>( count ) ) );
    }

    /// So that blocks end where rows of the plane's tiles do, when they are that large.
    static int alignDown( int count, int unit ) noexcept {
        return unit > 0 && count > unit ? count - count % unit : count;
    }

    template <class Part>
    Part open() {
        return guardReading( _image.getInfo().path, [&] { return Part( _image.getFile(), 0 ); } );
    }

    /// Of the file's tiles from `column` and `row` up to, not including, the ends.
    PixelArea getArea( int column, int row, int columnEnd, int rowEnd ) const noexcept {
        const Layout& layout = _image.getLayout();
        return { column * layout.chunkWidth, row * layout.chunkHeight,
                 std::min( columnEnd * layout.chunkWidth, _plane.getWidth() ),
                 std::min( rowEnd * layout.chunkHeight, _plane.getHeight() ) };
    }

    template <class Read>
    void fill( Block& block, const PixelArea& area, const Read& read ) {
        InterruptNote::check();
        guardReading( _image.getInfo().path, [&] { read( block.makeBuffer( area ) ); } );
        block.store( _plane );
    }

    /// All lines above `y` are there.
    void finishAbove( int y ) {
        _passes.step( static_cast<std::size_t>( y - _linesDone ) );
        _linesDone = y;
        for( ; _rowsDone < _plane.getRows() && _plane.getArea( { 0, _rowsDone } ).y1 <= y;
             ++_rowsDone ) {
            for( int column = 0; column < _plane.getColumns(); ++column ) {
                _plane.finish( { column, _rowsDone } );
            }
        }
    }

    TilePlane& _plane;
    LayerImage& _image;
    Passes& _passes;
    int _linesDone = 0;
    int _rowsDone = 0;
};

void checkUnchanged( const LayerInfo& layer, const LayerInfo& now ) {
    if( now.width != layer.width || now.height != layer.height || now.hasAlpha != layer.hasAlpha ||
        now.display != layer.display || now.pixelAspect != layer.pixelAspect ||
        now.readingMemory > layer.readingMemory ) {
        throw Failure( Tag::LAYER_CHANGED, layer.path.toString() );
    }
}

} // namespace

LayerInfo probeLayer( const OsFilePath& path,
                      const std::function<void( std::uint64_t )>& checkHead ) {
    return guardReading( path, [&] { return LayerImage( path, checkHead ).getInfo(); } );
}

std::unique_ptr<TilePlane> readLayer( const LayerInfo& layer, TileStore& store, Passes& passes ) {
    const std::string name = layer.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString();
    passes.begin( "Reading " + name, static_cast<std::size_t>( layer.height ) );
    const auto checkHead = [&layer]( std::uint64_t bytes ) {
        if( bytes > layer.readingMemory ) {
            throw Failure( Tag::LAYER_CHANGED, layer.path.toString() );
        }
    };
    const auto image = guardReading(
        layer.path, [&] { return std::make_unique<LayerImage>( layer.path, checkHead ); } );
    checkUnchanged( layer, image->getInfo() );
    auto plane = store.createPlane( name + " source", layer.width, layer.height, TileShape::BAND );
    PlaneFiller filler( *plane, *image, passes );
    image->getLayout().isTiled ? filler.fillFromTiles() : filler.fillFromLines();
    passes.end();
    return plane;
}

} // namespace Qv::Comp
