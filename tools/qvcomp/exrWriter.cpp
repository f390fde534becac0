#include <tools/qvcomp/exrWriter.h>

#include <tools/qvcomp/pixelMath.h>

#include <base/failure/assertions.h>

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfStdIO.h>
#include <ImfVersion.h>
#include <ImfXdr.h>

#include <memory>
#include <new>

#include <half.h>
#include <libdeflate.h>

namespace Qv::Comp {

namespace {

/// Column, row, two levels of detail, and the number of bytes that follow.
constexpr std::size_t CHUNK_HEAD_BYTES = 5 * sizeof( int );

Imf::Header makeTiledHeader( const PictureHead& head, int width, int height, int tileSide ) {
    Imf::Header header = makeHeader( head, width, height );
    header.compression() = Imf::ZIP_COMPRESSION;
    header.lineOrder() = Imf::INCREASING_Y;
    const auto side = static_cast<unsigned>( tileSide );
    header.setTileDescription( Imf::TileDescription( side, side, Imf::ONE_LEVEL ) );
    for( const char* name : { "R", "G", "B", "A" } ) {
        header.channels().insert( name, Imf::Channel( Imf::HALF ) );
    }
    return header;
}

std::string makeHead( const Imf::Header& header ) {
    Imf::StdOSStream stream;
    Imf::Xdr::write<Imf::StreamIO>( stream, Imf::MAGIC );
    Imf::Xdr::write<Imf::StreamIO>( stream, Imf::EXR_VERSION | Imf::TILED_FLAG );
    header.writeTo( stream, true );
    return stream.str();
}

/// Makes each byte the difference from the one before it, as the format has it: plus 128.
void makeDifferences( std::vector<unsigned char>& bytes ) noexcept {
    for( std::size_t i = bytes.size() - 1; i > 0; --i ) {
        bytes[i] = static_cast<unsigned char>( bytes[i] - bytes[i - 1] + 128 );
    }
}

void undoDifferences( std::vector<unsigned char>& bytes ) noexcept {
    for( std::size_t i = 1; i < bytes.size(); ++i ) {
        bytes[i] = static_cast<unsigned char>( bytes[i] + bytes[i - 1] - 128 );
    }
}

/// Low and high bytes side by side.
void joinHalves( const std::vector<unsigned char>& bytes, unsigned char* target ) noexcept {
    const std::size_t count = bytes.size() / 2;
    for( std::size_t i = 0; i < count; ++i ) {
        *target++ = bytes[i];
        *target++ = bytes[count + i];
    }
}

/// Fills `target` with the packed bytes, or with the plain ones where packing makes them no
/// smaller, and returns how many these are. There is room for as many as `bytes` has.
std::size_t packBytes( std::vector<unsigned char> bytes, unsigned char* target, int level ) {
    const std::unique_ptr<libdeflate_compressor, void ( * )( libdeflate_compressor* )> compressor(
        ::libdeflate_alloc_compressor( level ), ::libdeflate_free_compressor );
    if( !compressor ) {
        throw std::bad_alloc();
    }
    makeDifferences( bytes );
    const std::size_t size = ::libdeflate_zlib_compress( compressor.get(), bytes.data(),
                                                         bytes.size(), target, bytes.size() - 1 );
    if( size > 0 ) {
        return size;
    }
    undoDifferences( bytes );
    joinHalves( bytes, target );
    return bytes.size();
}

} // namespace

FileTile::FileTile( const PixelArea& area )
    : _area( area )
    , _bytes( toFloats( area.getWidth() ) * static_cast<std::size_t>( area.getHeight() ) *
              sizeof( half ) ) {}

void FileTile::setPixels( int x, int y, int count, const float* pixels ) noexcept {
    const auto width = static_cast<std::size_t>( _area.getWidth() );
    const std::size_t nbHalves = _bytes.size() / 2;
    for( std::size_t c = 0; c < CHANNELS; ++c ) {
        // The file has the channels by name: A, B, G, R.
        const std::size_t line = static_cast<std::size_t>( y - _area.y0 ) * CHANNELS + 3 - c;
        unsigned char* low = &_bytes[line * width + static_cast<std::size_t>( x - _area.x0 )];
        for( const float* value = pixels + c; value < pixels + toFloats( count );
             value += CHANNELS, ++low ) {
            const auto bits = half( std::clamp( *value, -LARGEST_HALF, LARGEST_HALF ) ).bits();
            low[0] = static_cast<unsigned char>( bits );
            low[nbHalves] = static_cast<unsigned char>( bits >> 8 );
        }
    }
}

ExrWriter::ExrWriter( PendingFile& file, int width, int height, const PictureHead& head,
                      int tileSide )
    : _file( file )
    , _width( width )
    , _height( height )
    , _tileSide( tileSide )
    , _columns( divideUp( width, tileSide ) )
    , _rows( divideUp( height, tileSide ) ) {
    const Imf::Header header = makeTiledHeader( head, width, height, tileSide );
    _level = header.zipCompressionLevel();
    _head = makeHead( header );
    const std::size_t nbTiles = countTiles( width, height, { tileSide, tileSide } );
    _positions.reserve( nbTiles );
    _end = _head.size() + nbTiles * sizeof( std::uint64_t );
}

PixelArea ExrWriter::getArea( TilePos pos ) const noexcept {
    const int x = pos.column * _tileSide;
    const int y = pos.row * _tileSide;
    return { x, y, std::min( x + _tileSide, _width ), std::min( y + _tileSide, _height ) };
}

ExrWriter::PackedTile ExrWriter::pack( FileTile tile ) const {
    const int column = tile.getArea().x0 / _tileSide;
    const int row = tile.getArea().y0 / _tileSide;
    std::vector<unsigned char> plain = tile.takeBytes();
    std::vector<unsigned char> bytes( CHUNK_HEAD_BYTES + plain.size() );
    const std::size_t size = packBytes( std::move( plain ), &bytes[CHUNK_HEAD_BYTES], _level );
    bytes.resize( CHUNK_HEAD_BYTES + size );
    bytes.shrink_to_fit();
    char* head = reinterpret_cast<char*>( bytes.data() );
    for( const int value : { column, row, 0, 0, static_cast<int>( size ) } ) {
        Imf::Xdr::write<Imf::CharPtrIO>( head, value );
    }
    return { static_cast<std::size_t>( row ) * static_cast<std::size_t>( _columns ) +
                 static_cast<std::size_t>( column ),
             std::move( bytes ) };
}

void ExrWriter::put( PackedTile tile ) {
    for( const Chunk& chunk : placeChunks( std::move( tile ) ) ) {
        _file.write( chunk.position, chunk.bytes.data(), chunk.bytes.size() );
    }
}

/// What can be written now, the tiles before it having their places.
std::vector<ExrWriter::Chunk> ExrWriter::placeChunks( PackedTile tile ) {
    std::vector<Chunk> chunks;
    const std::lock_guard guard( _lock );
    _waiting.emplace( tile.index, std::move( tile.bytes ) );
    for( auto next = _waiting.begin();
         next != _waiting.end() && next->first == _positions.size(); ) {
        _positions.push_back( _end );
        _end += next->second.size();
        chunks.push_back( { _positions.back(), std::move( next->second ) } );
        next = _waiting.erase( next );
    }
    return chunks;
}

void ExrWriter::finish() {
    QV_ASSERT( _positions.size() == countTiles( _width, _height, { _tileSide, _tileSide } ) );
    Imf::StdOSStream table;
    for( const std::uint64_t position : _positions ) {
        Imf::Xdr::write<Imf::StreamIO>( table, position );
    }
    const std::string bytes = _head + table.str();
    _file.write( 0, bytes.data(), bytes.size() );
}

} // namespace Qv::Comp
