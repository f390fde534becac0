#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/pixelMath.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfTiledOutputFile.h>

#include <array>
#include <exception>

namespace Qv::Comp {

namespace {

constexpr std::array<const char*, CHANNELS> CHANNEL_NAMES{ "R", "G", "B", "A" };

/// OpenEXR's way to the file. Keeps the first failure, since OpenEXR swallows those that come up
/// while it completes a file.
class Stream : public Imf::OStream {
public:
    explicit Stream( PendingFile& file )
        : OStream( file.getPath().getChars() )
        , _file( file ) {}

    void write( const char* bytes, int count ) override {
        const auto size = static_cast<std::size_t>( count );
        try {
            _file.write( _position, bytes, size );
        } catch( const Failure& ) {
            if( !_failure ) {
                _failure = std::current_exception();
            }
            throw;
        }
        _position += size;
    }

    std::uint64_t tellp() override { return _position; }
    void seekp( std::uint64_t position ) override { _position = position; }

    void raiseFailure() const {
        if( _failure ) {
            std::rethrow_exception( _failure );
        }
    }

private:
    PendingFile& _file;
    std::uint64_t _position = 0;
    std::exception_ptr _failure;
};

Imf::Header makeTiledHeader( const PictureHead& head, int width, int height, int tileSide ) {
    Imf::Header header = makeHeader( head, width, height );
    header.compression() = Imf::ZIP_COMPRESSION;
    header.lineOrder() = Imf::INCREASING_Y;
    const auto side = static_cast<unsigned>( tileSide );
    header.setTileDescription( Imf::TileDescription( side, side, Imf::ONE_LEVEL ) );
    for( const char* name : CHANNEL_NAMES ) {
        header.channels().insert( name, Imf::Channel( Imf::HALF ) );
    }
    return header;
}

} // namespace

struct ExrWriter::Imp {
    Imp( PendingFile& file, int width, int height, const PictureHead& head, int side )
        : stream( file )
        , tileSide( side )
        , image( std::make_unique<Imf::TiledOutputFile>(
              stream, makeTiledHeader( head, width, height, side ), 0 ) )
        , halves( toFloats( side ) * static_cast<std::size_t>( side ) ) {}

    Stream stream;
    int tileSide;
    std::unique_ptr<Imf::TiledOutputFile> image;
    std::vector<half> halves;
};

ExrWriter::ExrWriter( PendingFile& file, int width, int height, const PictureHead& head,
                      int tileSide )
    : _imp( std::make_unique<Imp>( file, width, height, head, tileSide ) ) {}

ExrWriter::~ExrWriter() = default;

void ExrWriter::writeTile( int column, int row, const float* pixels ) {
    std::vector<half>& halves = _imp->halves;
    for( std::size_t i = 0; i < halves.size(); ++i ) {
        halves[i] = half( std::clamp( pixels[i], -LARGEST_HALF, LARGEST_HALF ) );
    }
    const std::size_t pixelBytes = CHANNELS * sizeof( half );
    Imf::FrameBuffer buffer;
    for( std::size_t c = 0; c < CHANNELS; ++c ) {
        buffer.insert( CHANNEL_NAMES[c],
                       Imf::Slice( Imf::HALF, reinterpret_cast<char*>( &halves[c] ), pixelBytes,
                                   pixelBytes * static_cast<std::size_t>( _imp->tileSide ), 1, 1,
                                   0.0, true, true ) );
    }
    _imp->image->setFrameBuffer( buffer );
    _imp->image->writeTile( column, row );
}

void ExrWriter::finish() {
    _imp->image.reset();
    _imp->stream.raiseFailure();
}

} // namespace Qv::Comp
