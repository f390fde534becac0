#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/layerFile.h>
#include <tools/qvcomp/options.h>
#include <tools/qvcomp/pixelMath.h>

#include <resmgt/osal/osFile.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfTestFile.h>

#include <cmath>
#include <filesystem>

namespace Qv::Comp {

namespace {

/// A band of lines is read at a time; more bytes than this only cost memory.
constexpr std::size_t BAND_BYTES = std::size_t{ 4 } << 20;

/// Distinguishes what OpenEXR would only call a file that it can't read.
void checkReadable( const OsFilePath& path ) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status( path.toString(), error );
    if( !std::filesystem::exists( status ) ) {
        throw Failure( Tag::LAYER_MISSING, path.toString() );
    }
    // A pipe would keep us waiting.
    if( !std::filesystem::is_regular_file( status ) ) {
        throw Failure( Tag::LAYER_NO_FILE, path.toString() );
    }
    const OsFile file( path );
    if( !file.isReadable() ) {
        throw Failure( Tag::LAYER_FORBIDDEN, path.toString() );
    }
    if( file.getSize() == 0 ) {
        throw Failure( Tag::LAYER_EMPTY, path.toString() );
    }
    bool isTiled = false;
    bool isDeep = false;
    if( !Imf::isOpenExrFile( path.getChars(), isTiled, isDeep ) ) {
        throw Failure( Tag::LAYER_NO_IMAGE, path.toString() );
    }
    if( isDeep ) {
        throw Failure( Tag::LAYER_DEEP, path.toString() );
    }
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

bool isGrey( const Imf::ChannelList& channels ) {
    return channels.findChannel( "R" ) == nullptr && channels.findChannel( "Y" ) != nullptr;
}

LayerInfo toInfo( const OsFilePath& path, const Imf::Header& header ) {
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
    if( !isGrey( channels ) &&
        ( channels.findChannel( "R" ) == nullptr || channels.findChannel( "G" ) == nullptr ||
          channels.findChannel( "B" ) == nullptr ) ) {
        throw Failure( Tag::LAYER_CHANNELS, path.toString() );
    }
    return { path, static_cast<int>( width ), static_cast<int>( height ),
             channels.findChannel( "A" ) != nullptr };
}

float sanitise( float value ) noexcept {
    return std::isnan( value ) ? 0.0F : std::clamp( value, -LARGEST_HALF, LARGEST_HALF );
}

/// Lines of the image, as wide as the image, that go to one row of tiles.
class Band {
public:
    Band( Imf::InputFile& file, int width, int maxLines )
        : _file( file )
        , _isGrey( isGrey( file.header().channels() ) )
        , _width( width )
        , _pixels( toFloats( width ) * static_cast<std::size_t>( maxLines ) ) {}

    /// Reads `lines` lines from the line `y`, counted from the image's first.
    void read( int y, int lines ) {
        const Imath::V2i origin( _file.header().dataWindow().min.x,
                                 _file.header().dataWindow().min.y + y );
        Imf::FrameBuffer buffer;
        constexpr std::array<const char*, CHANNELS> NAMES{ "R", "G", "B", "A" };
        for( std::size_t c = 0; c < CHANNELS; ++c ) {
            const char* name = _isGrey && c == 0 ? "Y" : NAMES[c];
            buffer.insert( name, Imf::Slice::Make( Imf::FLOAT, &_pixels[c], origin, _width, lines,
                                                   CHANNELS * sizeof( float ), getRowBytes(), 1, 1,
                                                   1.0 ) );
        }
        _file.setFrameBuffer( buffer );
        _file.readPixels( origin.y, origin.y + lines - 1 );
        clean( lines );
    }

    /// The pixel `x` of the line `line` of the band.
    const float* at( int x, int line ) const {
        return &_pixels[static_cast<std::size_t>( line ) * toFloats( _width ) + toFloats( x )];
    }

private:
    std::size_t getRowBytes() const { return toFloats( _width ) * sizeof( float ); }

    void clean( int lines ) {
        const std::size_t count = toFloats( _width ) * static_cast<std::size_t>( lines );
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

    Imf::InputFile& _file;
    bool _isGrey;
    int _width;
    std::vector<float> _pixels;
};

/// How many lines are read at once, at most those of a row of tiles.
int getBandLines( const TilePlane& plane ) {
    const std::size_t rowBytes = toFloats( plane.getWidth() ) * sizeof( float );
    const auto lines = static_cast<int>( std::max<std::size_t>( BAND_BYTES / rowBytes, 1 ) );
    return std::min( { lines, plane.getTileSide(), plane.getHeight() } );
}

/// Copies `lines` lines of the band, which start at `y`, into the tiles of their row.
void storeBand( TilePlane& plane, const Band& band, int y, int lines ) {
    for( int column = 0; column < plane.getColumns(); ++column ) {
        const TilePos pos{ column, plane.getPos( 0, y ).row };
        const TileWriter tile = plane.write( pos );
        const PixelArea& area = tile.getArea();
        for( int line = 0; line < lines; ++line ) {
            std::copy_n( band.at( area.x0, line ), toFloats( area.getWidth() ),
                         tile.at( area.x0, y + line ) );
        }
    }
}

void finishRow( TilePlane& plane, int row ) {
    for( int column = 0; column < plane.getColumns(); ++column ) {
        plane.finish( { column, row } );
    }
}

void readLines( TilePlane& plane, Imf::InputFile& file, Progress& progress ) {
    const int bandLines = getBandLines( plane );
    Band band( file, plane.getWidth(), bandLines );
    for( int row = 0; row < plane.getRows(); ++row ) {
        const PixelArea area = plane.getArea( { 0, row } );
        for( int y = area.y0; y < area.y1; y += bandLines ) {
            InterruptNote::check();
            const int lines = std::min( bandLines, area.y1 - y );
            guardReading( file.fileName(), [&] { band.read( y, lines ); } );
            storeBand( plane, band, y, lines );
            progress.step( static_cast<std::size_t>( lines ) );
        }
        finishRow( plane, row );
    }
}

std::unique_ptr<Imf::InputFile> openUnchanged( const LayerInfo& layer ) {
    auto file = std::make_unique<Imf::InputFile>( layer.path.getChars() );
    const LayerInfo now = toInfo( layer.path, file->header() );
    if( now.width != layer.width || now.height != layer.height || now.hasAlpha != layer.hasAlpha ) {
        throw Failure( Tag::LAYER_CHANGED, layer.path.toString() );
    }
    return file;
}

} // namespace

LayerInfo probeLayer( const OsFilePath& path ) {
    checkReadable( path );
    return guardReading(
        path, [&] { return toInfo( path, Imf::InputFile( path.getChars() ).header() ); } );
}

std::unique_ptr<TilePlane> readLayer( const LayerInfo& layer, TileStore& store,
                                      Progress& progress ) {
    const std::string name = layer.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString();
    progress.begin( "Reading " + name, static_cast<std::size_t>( layer.height ) );
    const auto file = guardReading( layer.path, [&] { return openUnchanged( layer ); } );
    auto plane = store.createPlane( name + " source", layer.width, layer.height );
    readLines( *plane, *file, progress );
    return plane;
}

} // namespace Qv::Comp
