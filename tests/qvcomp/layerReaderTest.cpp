#include <tests/qvcomp/testImages.h>

#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>
#include <tools/qvcomp/layerReader.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/tilePass.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <fstream>
#include <random>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;

std::string readBytes( const fs::path& path ) {
    std::ifstream file( path, std::ios::binary );
    return { std::istreambuf_iterator<char>( file ), {} };
}

/// The bytes that this process has read from anywhere.
std::uint64_t countBytesRead() {
    std::ifstream file( "/proc/self/io" );
    std::string label;
    std::uint64_t bytes = 0;
    file >> label >> bytes;
    return bytes;
}

/// Holds all who write a tile until it is told otherwise.
class HeldTiles : public TileStore {
public:
    std::unique_ptr<TilePlane> createPlane( const std::string&, int width, int height ) override {
        return std::make_unique<Plane>( *this, width, height );
    }
    std::size_t getPrefetchDepth() const override { return 0; }

    HoldPoint writing{ "writing a tile" };
    std::atomic<int> nbWriters = 0;

private:
    struct Plane : TilePlane {
        Plane( HeldTiles& store, int width, int height )
            : TilePlane( width, height, { width, height } )
            , held( store )
            , pixels( static_cast<std::size_t>( width * height * CHANNELS ) ) {}

        std::shared_ptr<const float> performRead( std::size_t ) override { return {}; }
        std::shared_ptr<float> performWrite( std::size_t ) override {
            ++held.nbWriters;
            held.writing.pass();
            return { std::shared_ptr<float>(), pixels.data() };
        }
        void performPrefetch( std::size_t ) override {}
        void performFinish( std::size_t ) override {}
        void performDiscard( std::size_t ) override {}

        HeldTiles& held;
        std::vector<float> pixels;
    };
};

class QvcompLayerReaderTest : public ::testing::Test {
protected:
    /// Noise, which can't be packed much.
    void write( int width, int height, Imf::Compression compression, int tileWidth = 0 ) const {
        std::mt19937 random( 5 );
        std::uniform_real_distribution<float> values( 0.0F, 1.0F );
        const auto paint = [&]( int, int ) {
            return TestPixel{ values( random ), values( random ), values( random ),
                              values( random ) };
        };
        writeImage( _path, { .width = width,
                             .height = height,
                             .channels = "RGBA",
                             .tileWidth = tileWidth,
                             .originX = -3,
                             .originY = 8,
                             .paint = paint,
                             .complete = [&]( Imf::Header& header ) {
                                 header.compression() = compression;
                             } } );
    }

    /// Two parts of 40 by 30 pixels.
    void writeParts() const {
        std::vector<Imf::Header> headers;
        std::vector<float> pixels( 40 * 30, 0.5F );
        Imf::FrameBuffer buffer;
        for( const char* channel : { "R", "G", "B", "A" } ) {
            buffer.insert( channel, Imf::Slice::Make( Imf::FLOAT, pixels.data(), { 0, 0 }, 40, 30,
                                                      sizeof( float ), 40 * sizeof( float ) ) );
        }
        for( const char* name : { "first", "second" } ) {
            Imf::Header header( 40, 30 );
            header.setName( name );
            header.setType( "scanlineimage" );
            header.compression() = Imf::NO_COMPRESSION;
            for( const char* channel : { "R", "G", "B", "A" } ) {
                header.channels().insert( channel, Imf::Channel( Imf::FLOAT ) );
            }
            headers.push_back( header );
        }
        Imf::MultiPartOutputFile file( _path.c_str(), headers.data(), 2 );
        for( int i = 0; i < 2; ++i ) {
            Imf::OutputPart part( file, i );
            part.setFrameBuffer( buffer );
            part.writePixels( 30 );
        }
    }

    LayerInfo probe() const {
        return probeLayer( OsFilePath( _path.string() ), []( std::uint64_t ) {} );
    }

    void replaceBytes( const std::string& bytes ) const {
        std::ofstream( _path, std::ios::binary ) << bytes;
    }

    void expectPixels( TilePlane& plane ) const {
        const std::vector<TestPixel> expected = readImage( _path );
        for( const TilePos pos : orderByRows( plane ) ) {
            const TileReader tile = plane.read( pos );
            const PixelArea& area = tile.getArea();
            for( int y = area.y0; y < area.y1; ++y ) {
                const auto line = static_cast<std::size_t>( y * plane.getWidth() + area.x0 );
                ASSERT_EQ( std::memcmp( tile.at( area.x0, y ), &expected[line],
                                        sizeof( TestPixel ) *
                                            static_cast<std::size_t>( area.getWidth() ) ),
                           0 )
                    << y;
            }
        }
    }

    TempDirectory _folder;
    const fs::path _path = _folder.path() / "layer.exr";
};

TEST_F( QvcompLayerReaderTest, PartsAreTheImageWhateverTheFileAndWhoReadsThem ) {
    constexpr int NB_THREADS = 3;
    const std::tuple<int, int, Imf::Compression, int> files[] = {
        { 700, 300, Imf::ZIP_COMPRESSION, 0 },      { 700, 300, Imf::NO_COMPRESSION, 0 },
        { 5000, 70, Imf::PIZ_COMPRESSION, 0 },      { 300, 600, Imf::DWAB_COMPRESSION, 0 },
        { 700, 300, Imf::ZIP_COMPRESSION, 2 },      { 700, 300, Imf::RLE_COMPRESSION, 96 },
        { 300, 300, Imf::PXR24_COMPRESSION, 1000 }, { 1, 1, Imf::ZIPS_COMPRESSION, 0 } };
    for( const auto& [width, height, compression, tileWidth] : files ) {
        write( width, height, compression, tileWidth );
        for( const unsigned nbDecoders : { 1U, 3U } ) {
            SCOPED_TRACE( ::testing::Message() << width << " " << compression << " " << tileWidth );
            PlainTiles store( 48 );
            const LayerInfo layer = probe();
            DecoderPool pool( layer.readingMemory * nbDecoders );
            LayerReader reader( layer, { 0, 0, width, height }, store, pool );
            std::vector<TilePos> parts = reader.takeParts( 0, 40 );
            EXPECT_TRUE( reader.takeParts( 5, 40 ).empty() );
            for( const TilePos part : reader.takeParts( 30, height ) ) {
                parts.push_back( part );
            }
            std::atomic<std::size_t> next = 0;
            std::deque<TestThread> threads;
            for( int i = 0; i < NB_THREADS; ++i ) {
                threads.emplace_back( [&] {
                    for( std::size_t k = next++; k < parts.size(); k = next++ ) {
                        reader.read( parts[k] );
                    }
                } );
            }
            threads.clear();
            expectPixels( reader.getPlane() );
        }
    }
}

TEST_F( QvcompLayerReaderTest, ChunksAreReadOnceAndThoseThatNobodyWantsNever ) {
    // The lines of a chunk are more than a block.
    for( const int tileWidth : { 0, 128 } ) {
        write( 5000, 128, Imf::PIZ_COMPRESSION, tileWidth );
        const auto length = static_cast<double>( fs::file_size( _path ) );
        PlainTiles store( 64 );
        DecoderPool pool( 0 );
        LayerReader reader( probe(), { 1100, 64, 2000, 128 }, store, pool );
        const auto read = [&]( int y0, int y1 ) {
            const std::uint64_t before = countBytesRead();
            for( const TilePos part : reader.takeParts( y0, y1 ) ) {
                reader.read( part );
            }
            return static_cast<double>( countBytesRead() - before ) / length;
        };
        // Tiles of 128 by 64 pixels, which fill a block by 8 side by side; chunks of 32 lines.
        EXPECT_NEAR( read( 64, 96 ), tileWidth > 0 ? 0.1 : 0.25, 0.02 );
        EXPECT_NEAR( read( 64, 128 ), tileWidth > 0 ? 0.0 : 0.25, 0.02 );
    }
}

TEST_F( QvcompLayerReaderTest, AsManyPartsOfAllLayersAreReadAtATimeAsThereIsRoomForDecoders ) {
    write( 5000, 128, Imf::ZIP_COMPRESSION );
    const LayerInfo layer = probe();
    for( const int nbDecoders : { 1, 2 } ) {
        HeldTiles store;
        DecoderPool pool( layer.readingMemory * static_cast<unsigned>( nbDecoders ) );
        const PixelArea all{ 0, 0, 5000, 128 };
        LayerReader reader( layer, all, store, pool );
        LayerReader other( layer, all, store, pool );
        const std::vector<TilePos> parts = reader.takeParts( 0, 128 );
        std::deque<TestThread> threads;
        for( std::size_t i = 0; i < 3; ++i ) {
            threads.emplace_back( [&, i] { ( i == 0 ? other : reader ).read( parts[i] ); } );
        }
        store.writing.waitUntilReached( nbDecoders );
        for( TestThread& thread : threads ) {
            thread.waitUntilBlocked();
        }
        EXPECT_EQ( store.nbWriters, nbDecoders );
        store.writing.release();
        threads.clear();
        EXPECT_GE( store.nbWriters, 3 );
    }
}

TEST_F( QvcompLayerReaderTest, FileThatIsWrittenOverMeanwhileIsNamed ) {
    write( 400, 400, Imf::ZIPS_COMPRESSION );
    const std::string other = readBytes( _path );
    write( 400, 400, Imf::ZIP_COMPRESSION );
    // As long as the other one.
    const std::string bytes = readBytes( _path ) + std::string( other.size(), '\0' );
    replaceBytes( bytes );
    HeldTiles store;
    const LayerInfo layer = probe();
    DecoderPool pool( 2 * layer.readingMemory );
    LayerReader reader( layer, { 0, 0, 400, 400 }, store, pool );
    const std::vector<TilePos> parts = reader.takeParts( 0, 400 );
    TestThread first( [&] { reader.read( parts[0] ); } );
    store.writing.waitUntilReached();
    std::fstream( _path, std::ios::binary | std::ios::in | std::ios::out ) << other;
    EXPECT_THAT( raisedBy<Failure>( [&] { reader.read( parts[1] ); } ),
                 ::testing::HasSubstr( "changed" ) );
    store.writing.release();
}

TEST_F( QvcompLayerReaderTest, FileThatIsCutShortIsFoundBeforeItIsRead ) {
    const std::vector<std::function<void()>> kinds{
        [&] { write( 40, 30, Imf::NO_COMPRESSION ); },
        [&] { write( 90, 80, Imf::ZIP_COMPRESSION ); },
        [&] { write( 90, 80, Imf::ZIP_COMPRESSION, 16 ); }, [&] { writeParts(); } };
    for( const auto& makeFile : kinds ) {
        makeFile();
        const std::string whole = readBytes( _path );
        EXPECT_NO_THROW( probe() );
        // Behind the chunks of the first part nothing is looked at.
        const std::size_t needed = &makeFile == &kinds.back() ? whole.size() / 2 : whole.size() - 1;
        for( std::size_t size = needed; size > 1; size -= std::min( size - 1, needed / 16 ) ) {
            replaceBytes( whole.substr( 0, size ) );
            EXPECT_THROW( probe(), Failure ) << size << " of " << whole.size();
        }
        replaceBytes( whole );
        LayerStream stream( OsFilePath( _path.string() ) );
        const std::uint64_t table = measureHead( stream ).tablePosition;
        for( const std::uint64_t position : { std::uint64_t{ 0 }, ~std::uint64_t{ 0 } } ) {
            std::string bytes = whole;
            std::memcpy( &bytes[table + 8], &position, sizeof position );
            replaceBytes( bytes );
            EXPECT_THROW( probe(), Failure ) << position;
        }
    }
}

} // namespace
} // namespace Qv::Comp
