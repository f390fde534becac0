#include <tools/qvcomp/layerHead.h>

#include <tools/qvcomp/failure.h>

#include <Iex.h>
#include <ImfTileDescription.h>
#include <ImfVersion.h>
#include <ImfXdr.h>

#include <algorithm>
#include <string>

namespace Qv::Comp {

namespace {

/// What OpenEXR 3.1 takes, rounded up: two copies of each value, an entry in two maps for each
/// attribute, and two heads with their default attributes for each part. A channel takes 18 bytes
/// of its list, or more, and an entry of 400 bytes in two maps.
constexpr std::uint64_t VALUE_COPIES = 2;
constexpr std::uint64_t LIST_COPIES = 48;
constexpr std::uint64_t ATTRIBUTE_BYTES = 1536;
constexpr std::uint64_t PART_BYTES = 32768;
/// An entry in the table of a part's chunks, which the attribute "chunkCount" makes as long as it
/// says, or the data window as it needs to be.
constexpr std::uint64_t CHUNK_BYTES = 16;
/// Along one side. No file has so many, and the sums have room for it.
constexpr std::uint64_t MOST_TILES = std::uint64_t{ 1 } << 24;
/// Of detail, along one side.
constexpr std::uint64_t MOST_LEVELS = 32;

/// What makes the table of a part's chunks.
struct Table {
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    /// 0 where there are none.
    std::uint64_t tileWidth = 0;
    std::uint64_t tileHeight = 0;
    int levelMode = Imf::ONE_LEVEL;

    /// Or more: a part of lines may have tile sides, too.
    std::uint64_t countEntries() const noexcept { return std::max( height, countTiles() ); }

private:
    /// Each level has half of the tiles along a side of the one before, and one more at most.
    std::uint64_t countTiles() const noexcept {
        if( tileWidth == 0 || tileHeight == 0 ) {
            return 0;
        }
        const std::uint64_t columns = std::min( width / tileWidth + 1, MOST_TILES );
        const std::uint64_t rows = std::min( height / tileHeight + 1, MOST_TILES );
        switch( levelMode ) {
        case Imf::ONE_LEVEL:
            return columns * rows;
        case Imf::MIPMAP_LEVELS:
            return columns * rows * 4 / 3 + 2 * ( columns + rows ) + MOST_LEVELS;
        default:
            return ( 2 * columns + MOST_LEVELS ) * ( 2 * rows + MOST_LEVELS );
        }
    }
};

/// From `first` to `last`, both included.
std::uint64_t getExtent( int first, int last ) noexcept {
    return static_cast<std::uint64_t>( std::max<std::int64_t>( std::int64_t{ last } - first, 0 ) +
                                       1 );
}

class HeadMeter {
public:
    explicit HeadMeter( LayerStream& stream )
        : _stream( stream ) {}

    HeadFacts measure() {
        _stream.seekg( sizeof( Imf::MAGIC ) );
        const bool isMultiPart = Imf::isMultiPart( readInt() );
        do {
            _bytes += PART_BYTES;
        } while( measurePart() && isMultiPart );
        return { _bytes, _stream.tellg(), isMultiPart };
    }

private:
    /// False when it is empty, as behind the last part.
    bool measurePart() {
        bool hasAttributes = false;
        _table = Table();
        for( std::string name = readText(); !name.empty(); name = readText() ) {
            hasAttributes = true;
            measureAttribute( name );
        }
        _bytes += _table.countEntries() * CHUNK_BYTES;
        return hasAttributes;
    }

    void measureAttribute( const std::string& name ) {
        const std::string type = readText();
        const auto size = static_cast<std::uint32_t>( readInt() );
        const std::uint64_t begin = _stream.tellg();
        if( size > _stream.getLength() - begin ) {
            throw Failure( Tag::LAYER_ATTRIBUTE, _stream.fileName(), name, size );
        }
        const bool isList = type == "chlist" || type == "stringvector";
        _bytes += ATTRIBUTE_BYTES + size * ( isList ? LIST_COPIES : VALUE_COPIES );
        measureTable( name, size );
        _stream.seekg( begin + size );
    }

    void measureTable( const std::string& name, std::uint32_t size ) {
        if( name == "chunkCount" && size == sizeof( int ) ) {
            _bytes += static_cast<std::uint32_t>( readInt() ) * CHUNK_BYTES;
        } else if( name == "dataWindow" && size == 4 * sizeof( int ) ) {
            const int left = readInt();
            const int top = readInt();
            _table.width = getExtent( left, readInt() );
            _table.height = getExtent( top, readInt() );
        } else if( name == "tiles" && size > 2 * sizeof( int ) ) {
            _table.tileWidth = static_cast<std::uint32_t>( readInt() );
            _table.tileHeight = static_cast<std::uint32_t>( readInt() );
            char mode = 0;
            _stream.read( &mode, 1 );
            // The upper half of the byte says how levels are rounded.
            _table.levelMode = mode & 0x0F;
        }
    }

    int readInt() {
        int value = 0;
        Imf::Xdr::read<Imf::StreamIO>( _stream, value );
        return value;
    }

    /// Up to the zero that ends it, of which OpenEXR refuses what is longer than 255 bytes.
    std::string readText() {
        std::string text;
        for( char c = 0; _stream.read( &c, 1 ), c != 0; ) {
            text += c;
            if( text.size() > 255 ) {
                throw Iex::InputExc( "Invalid attribute name." );
            }
        }
        return text;
    }

    LayerStream& _stream;
    std::uint64_t _bytes = 0;
    Table _table;
};

} // namespace

HeadFacts measureHead( LayerStream& stream ) {
    const HeadFacts facts = HeadMeter( stream ).measure();
    stream.seekg( 0 );
    return facts;
}

} // namespace Qv::Comp
