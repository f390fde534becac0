#include <tools/qvcomp/layerHead.h>

#include <tools/qvcomp/failure.h>

#include <Iex.h>
#include <ImfVersion.h>
#include <ImfXdr.h>

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
/// says.
constexpr std::uint64_t CHUNK_BYTES = 16;

class HeadMeter {
public:
    explicit HeadMeter( LayerStream& stream )
        : _stream( stream ) {}

    std::uint64_t measure() {
        _stream.seekg( sizeof( Imf::MAGIC ) );
        const int version = readInt();
        do {
            _bytes += PART_BYTES;
        } while( measurePart() && Imf::isMultiPart( version ) );
        return _bytes;
    }

private:
    /// False when it is empty, as behind the last part.
    bool measurePart() {
        bool hasAttributes = false;
        for( std::string name = readText(); !name.empty(); name = readText() ) {
            hasAttributes = true;
            measureAttribute( name );
        }
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
        if( name == "chunkCount" && size == sizeof( int ) ) {
            _bytes += static_cast<std::uint32_t>( readInt() ) * CHUNK_BYTES;
        }
        _stream.seekg( begin + size );
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
};

} // namespace

std::uint64_t measureHead( LayerStream& stream ) {
    const std::uint64_t bytes = HeadMeter( stream ).measure();
    stream.seekg( 0 );
    return bytes;
}

} // namespace Qv::Comp
