#include <tools/qvcomp/layerImage.h>

#include <tools/qvcomp/options.h>

#include <Iex.h>
#include <ImfChannelList.h>
#include <ImfPartType.h>
#include <ImfTestFile.h>
#include <ImfXdr.h>

#include <algorithm>

namespace Qv::Comp {

namespace {

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

void checkChannel( const char* file, const Imf::ChannelList& channels, const char* name ) {
    const Imf::Channel* channel = channels.findChannel( name );
    if( channel != nullptr && ( channel->xSampling != 1 || channel->ySampling != 1 ) ) {
        throw Failure( Tag::LAYER_SUBSAMPLED, file, name );
    }
}

bool hasChannel( const Imf::ChannelList& channels, const char* name ) {
    return channels.findChannel( name ) != nullptr;
}

/// Y alone is grey. Beside others of its kind it is a part of a colour, or of a direction.
bool isGrey( const char* file, const Imf::ChannelList& channels ) {
    const auto has = [&]( const char* name ) { return hasChannel( channels, name ); };
    if( has( "R" ) && has( "G" ) && has( "B" ) ) {
        return false;
    }
    if( !has( "Y" ) || has( "R" ) || has( "G" ) || has( "B" ) ) {
        throw Failure( Tag::LAYER_CHANNELS, file );
    }
    for( const char* name : { "X", "RY", "BY" } ) {
        if( has( name ) ) {
            throw Failure( Tag::LAYER_NOT_GREY, file, name );
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

int clampSide( unsigned side, int size ) noexcept {
    return static_cast<int>( std::clamp( side, 1U, static_cast<unsigned>( size ) ) );
}

std::uint64_t getFilePixelBytes( const Imf::ChannelList& channels ) {
    std::uint64_t bytes = 0;
    for( auto channel = channels.begin(); channel != channels.end(); ++channel ) {
        bytes += channel.channel().type == Imf::HALF ? 2U : 4U;
    }
    return bytes;
}

/// As many chunks side by side as fit a block, and whole rows of them.
TileSize getPartSize( const Layout& layout ) noexcept {
    const std::uint64_t pixels = layout.countChunkPixels();
    const auto columns = static_cast<std::uint64_t>( layout.columns );
    return { countAtOnce( pixels, layout.columns ) * layout.chunkWidth,
             countAtOnce( pixels * columns, layout.rows ) * layout.chunkHeight };
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
        throw Failure( Tag::LAYER_WINDOW, stream.fileName(), width, height, MAX_SIDE );
    }
    const Imf::ChannelList& channels = header.channels();
    for( const char* name : { "R", "G", "B", "A", "Y" } ) {
        checkChannel( stream.fileName(), channels, name );
    }
    isGrey( stream.fileName(), channels );
    const Layout layout( header, static_cast<int>( width ), static_cast<int>( height ) );
    const auto pixelBytes =
        static_cast<std::uint64_t>( width * height ) * getFilePixelBytes( channels );
    if( layout.countChunks() > stream.getLength() / LEAST_CHUNK_BYTES ||
        pixelBytes / LARGEST_RATIO > stream.getLength() ) {
        throw Failure( Tag::LAYER_SHORT, stream.fileName(), width, height );
    }
    return { path,
             static_cast<int>( width ),
             static_cast<int>( height ),
             hasChannel( channels, "A" ),
             getDisplay( header ),
             header.pixelAspectRatio(),
             stream.getId(),
             getReadingMemory( header, layout ),
             getPartSize( layout ),
             readLayerHead( header ) };
}

HeadFacts lookAtHead( LayerStream& stream, const CheckHead& checkHead ) {
    checkKind( stream );
    const HeadFacts head = measureHead( stream );
    checkHead( head.bytes );
    return head;
}

/// Raises when a chunk doesn't lie in the file as far as that can be known without its bytes: the
/// last one must be there to its end, so that the others are.
void checkChunks( LayerStream& stream, const HeadFacts& head, const Layout& layout ) {
    const std::uint64_t former = stream.tellg();
    std::uint64_t last = 0;
    stream.seekg( head.tablePosition );
    for( std::uint64_t i = 0; i < layout.countChunks(); ++i ) {
        std::uint64_t position = 0;
        Imf::Xdr::read<Imf::StreamIO>( stream, position );
        if( position == 0 || position > stream.getLength() ) {
            throw Iex::InputExc( position == 0 ? "Its table of chunks isn't complete."
                                               : "Unexpected end of file." );
        }
        last = std::max( last, position );
    }
    // The part's number, and the line, or column, row and levels.
    const std::uint64_t place = ( head.isMultiPart ? 4U : 0U ) + ( layout.isTiled ? 16U : 4U );
    stream.seekg( last + place );
    int size = 0;
    Imf::Xdr::read<Imf::StreamIO>( stream, size );
    if( static_cast<std::uint32_t>( size ) > stream.getLength() - stream.tellg() ) {
        throw Iex::InputExc( "Unexpected end of file." );
    }
    stream.seekg( former );
}

} // namespace

Layout::Layout( const Imf::Header& header, int width, int height )
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

LayerImage::LayerImage( const OsFilePath& path, const LayerStream& stream,
                        const CheckHead& checkHead )
    : _stream( stream )
    , _head( lookAtHead( _stream, checkHead ) )
    , _file( _stream, 0 )
    , _info( toInfo( path, _stream, _file.header( 0 ) ) )
    , _isGrey( Comp::isGrey( _stream.fileName(), _file.header( 0 ).channels() ) )
    , _layout( _file.header( 0 ), _info.width, _info.height ) {
    _info.readingMemory += _head.bytes;
    checkChunks( _stream, _head, _layout );
}

} // namespace Qv::Comp
