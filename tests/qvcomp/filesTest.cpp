#include <tests/qvcomp/testCommand.h>

#include <tests/support/deniedCall.h>
#include <tests/support/processLimit.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>
#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/managedTiles.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/pngWriter.h>
#include <tools/qvcomp/workers.h>

#include <resmgt/osal/test/failingCalls.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfStdIO.h>
#include <ImfTiledOutputFile.h>
#include <gmock/gmock.h>
#include <half.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <tuple>

#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;

/// The files of the command, each by itself.
class QvcompFilesTest : public ::testing::Test {
protected:
    fs::path getOutput() const { return _folder.path() / "out"; }

    struct stat getFacts() const {
        struct stat facts {};
        EXPECT_EQ( ::stat( getOutput().c_str(), &facts ), 0 );
        return facts;
    }

    long countEntries() const {
        return std::distance( fs::directory_iterator( _folder.path() ), {} );
    }

    TempDirectory _folder;
    // A file that is too large is an error, and doesn't end the process.
    InterruptNote _note;
};

TEST_F( QvcompFilesTest, PngWriterTellsOfAFullDisk ) {
    PendingFile file( getOutput().string() );
    const ProcessLimit limit( RLIMIT_FSIZE, 70 );
    PngWriter writer( file, 300, 20 );
    std::vector<unsigned char> noise( 300 * 20 * 3 );
    std::ranges::generate( noise, std::mt19937() );
    const auto write = [&] {
        writer.writeLines( noise.data(), 20 );
        writer.finish();
    };
    EXPECT_THROW( write(), Failure );
}

/// Writes an image of four halves a pixel into a string, by the library that made the format.
std::string writeByLibrary( const PictureHead& head, int width, int height, int tileSide,
                            const std::vector<half>& pixels ) {
    Imf::Header header = makeHeader( head, width, height );
    header.compression() = Imf::ZIP_COMPRESSION;
    const auto side = static_cast<unsigned>( tileSide );
    header.setTileDescription( Imf::TileDescription( side, side, Imf::ONE_LEVEL ) );
    Imf::FrameBuffer buffer;
    for( int c = 0; c < CHANNELS; ++c ) {
        const std::string name( 1, "RGBA"[c] );
        header.channels().insert( name, Imf::Channel( Imf::HALF ) );
        buffer.insert( name,
                       Imf::Slice::Make( Imf::HALF, &pixels[static_cast<std::size_t>( c )],
                                         header.dataWindow(), 4 * sizeof( half ),
                                         4 * sizeof( half ) * static_cast<std::size_t>( width ) ) );
    }
    Imf::StdOSStream stream;
    {
        Imf::TiledOutputFile file( stream, header );
        file.setFrameBuffer( buffer );
        file.writeTiles( 0, file.numXTiles() - 1, 0, file.numYTiles() - 1 );
    }
    return stream.str();
}

/// The same by ExrWriter, tiles in any order.
std::string writeByWriter( const PictureHead& head, int width, int height, int tileSide,
                           const std::vector<half>& pixels, std::mt19937& random ) {
    const TempDirectory folder;
    PendingFile file( ( folder.path() / "out" ).string() );
    ExrWriter writer( file, width, height, head, tileSide );
    std::vector<TilePos> tiles;
    for( int i = 0; i < writer.getColumns() * writer.getRows(); ++i ) {
        tiles.push_back( { i % writer.getColumns(), i / writer.getColumns() } );
    }
    std::ranges::shuffle( tiles, random );
    const std::vector<float> floats( pixels.begin(), pixels.end() );
    for( const TilePos& pos : tiles ) {
        FileTile tile( writer.getArea( pos ) );
        const PixelArea& area = tile.getArea();
        for( int y = area.y0; y < area.y1; ++y ) {
            const int half = area.getWidth() / 2;
            const float* line = &floats[toFloats( y * width + area.x0 )];
            tile.setPixels( area.x0 + half, y, area.getWidth() - half, line + toFloats( half ) );
            tile.setPixels( area.x0, y, half, line );
        }
        writer.put( writer.pack( std::move( tile ) ) );
    }
    writer.finish();
    file.commit();
    return readFile( folder.path() / "out" );
}

TEST_F( QvcompFilesTest, ExrWriterMakesTheFilesOfTheFormatsOwnLibrary ) {
    std::mt19937 random( 7 );
    PictureHead head;
    head.corner = { -3, 5 };
    head.display = { { 0, 0 }, { 99, 49 } };
    head.first.chromaticities = Imf::Chromaticities();
    const auto makeNoise = [&]( std::size_t ) {
        const half value( half::FromBits, static_cast<std::uint16_t>( random() ) );
        return value.isFinite() ? value : half( 0.0F );
    };
    const std::vector<std::pair<bool, std::function<half( std::size_t )>>> kinds{
        { false, []( std::size_t ) { return half( 0.25F ); } },
        { false, []( std::size_t i ) { return half( static_cast<float>( i % 700 ) ); } },
        // Can't be packed.
        { true, makeNoise } };
    for( const auto& [width, height, side] : { std::tuple{ 1, 1, 256 },
                                               { 7, 1, 16 },
                                               { 255, 257, 256 },
                                               { 256, 256, 256 },
                                               { 300, 113, 64 } } ) {
        for( const auto& [isPlain, paint] : kinds ) {
            std::vector<half> pixels( toFloats( width ) * static_cast<std::size_t>( height ) );
            for( std::size_t i = 0; i < pixels.size(); ++i ) {
                pixels[i] = paint( i );
            }
            const std::string expected = writeByLibrary( head, width, height, side, pixels );
            const std::string bytes = writeByWriter( head, width, height, side, pixels, random );
            SCOPED_TRACE( std::to_string( width ) + " x " + std::to_string( height ) );
            // It packs by zlib, whose bytes differ.
            if( isPlain ) {
                EXPECT_TRUE( bytes == expected );
            }
            std::ofstream( getOutput() ) << bytes;
            const auto written = readImage( getOutput() );
            std::ofstream( getOutput() ) << expected;
            const auto library = readImage( getOutput() );
            ASSERT_EQ( written.size(), library.size() );
            EXPECT_EQ(
                std::memcmp( written.data(), library.data(), written.size() * sizeof( TestPixel ) ),
                0 );
        }
    }
}

TEST_F( QvcompFilesTest, ExrWriterTellsOfAFullDisk ) {
    PictureHead head;
    head.display = { { 0, 0 }, { 15, 15 } };
    PendingFile file( getOutput().string() );
    ExrWriter writer( file, 16, 32, head, 16 );
    const auto put = [&]( int row ) {
        writer.put( writer.pack( FileTile( writer.getArea( { 0, row } ) ) ) );
    };
    put( 0 );
    const ProcessLimit limit( RLIMIT_FSIZE, 8 );
    EXPECT_THROW( put( 1 ), Failure );
    // The table of the tiles, near the file's beginning, is written last.
    EXPECT_THROW( writer.finish(), Failure );
}

TEST_F( QvcompFilesTest, FileHasNoNameUntilItIsComplete ) {
    for( const auto hiding :
         { PendingFile::Hiding::NAMELESS_IF_POSSIBLE, PendingFile::Hiding::HIDDEN_NAME } ) {
        const int hidden = hiding == PendingFile::Hiding::HIDDEN_NAME ? 1 : 0;
        {
            PendingFile file( getOutput().string(), hiding );
            file.write( 4, "late", 4 );
            EXPECT_EQ( countEntries(), hidden );
        }
        EXPECT_EQ( countEntries(), 0 );
        PendingFile file( getOutput().string(), hiding );
        file.write( 4, "late", 4 );
        file.write( 0, "soon", 4 );
        file.sync();
        EXPECT_EQ( countEntries(), hidden );
        file.commit();
        EXPECT_EQ( readFile( getOutput() ), "soonlate" );
        EXPECT_EQ( countEntries(), 1 );
        fs::remove( getOutput() );
    }
}

TEST_F( QvcompFilesTest, ReplacedFileIsThereUntilTheNewOneIsAndGivesItItsRights ) {
    const bool isRoot = ::geteuid() == 0;
    for( const auto hiding :
         { PendingFile::Hiding::NAMELESS_IF_POSSIBLE, PendingFile::Hiding::HIDDEN_NAME } ) {
        for( const mode_t mode : { 0600U, 0640U, 0666U } ) {
            std::ofstream( getOutput() ) << "former";
            ::chmod( getOutput().c_str(), mode );
            if( isRoot ) {
                ASSERT_EQ( ::chown( getOutput().c_str(), 1234, 5678 ), 0 );
            }
            const struct stat before = getFacts();
            PendingFile file( getOutput().string(), hiding );
            file.write( 0, "next", 4 );
            EXPECT_EQ( readFile( getOutput() ), "former" );
            file.sync();
            file.commit();
            EXPECT_EQ( readFile( getOutput() ), "next" );
            EXPECT_NE( getFacts().st_ino, before.st_ino );
            EXPECT_EQ( getFacts().st_mode, before.st_mode );
            EXPECT_EQ( getFacts().st_uid, before.st_uid );
            EXPECT_EQ( getFacts().st_gid, before.st_gid );
            EXPECT_EQ( countEntries(), 1 );
        }
    }
}

TEST_F( QvcompFilesTest, FileIsOnTheDiskWithItsRightsBeforeItGetsItsName ) {
    constexpr auto NAMELESS = PendingFile::Hiding::NAMELESS_IF_POSSIBLE;
    constexpr auto HIDDEN = PendingFile::Hiding::HIDDEN_NAME;
    const std::string noticed = " fchmod fsync linkat pwrite renameat ";
    for( const auto& [hiding, hasFormer, expected] :
         { std::tuple( NAMELESS, false, "pwrite fsync linkat fsync " ),
           { NAMELESS, true, "pwrite fchmod fsync linkat renameat fsync " },
           { HIDDEN, false, "pwrite fsync renameat fsync " },
           { HIDDEN, true, "pwrite fchmod fsync renameat fsync " } } ) {
        if( !hasFormer ) {
            fs::remove( getOutput() );
        }
        std::string calls;
        const CallHook hook( nullptr, [&]( const SystemCall& call ) {
            const std::string name = std::string( call.name ) + ' ';
            calls += noticed.find( ' ' + name ) != std::string::npos ? name : "";
            return 0;
        } );
        PendingFile file( getOutput().string(), hiding );
        file.write( 0, "next", 4 );
        file.sync();
        file.commit();
        EXPECT_EQ( calls, expected );
    }
}

TEST_F( QvcompFilesTest, WhateverCallFailsThereIsTheFormerFileOrTheNewOneAndNothingElse ) {
    const auto replace = [&] {
        try {
            PendingFile file( getOutput().string() );
            file.write( 0, "next", 4 );
            file.sync();
            file.commit();
        } catch( const Failure& ) {}
    };
    std::ofstream( getOutput() ) << "former";
    forEachFailingCall( EMFILE, replace, [&]( const FailedRun& run ) {
        const std::string content = readFile( getOutput() );
        EXPECT_TRUE( content == "next" || content == "former" ) << run.number;
        EXPECT_TRUE( countEntries() == 1 || run.times == FailingCall::FOR_GOOD ) << run.number;
        for( const fs::directory_entry& entry : fs::directory_iterator( _folder.path() ) ) {
            fs::remove( entry.path() );
        }
        std::ofstream( getOutput() ) << "former";
    } );
}

TEST_F( QvcompFilesTest, GroupThatCantBeKeptGetsTheRightsOfAllOthers ) {
    if( ::geteuid() != 0 ) {
        return; // Who isn't root has no file of a group that isn't theirs.
    }
    constexpr uid_t NOBODY = 65534;
    fs::permissions( _folder.path(), fs::perms::all );
    std::ofstream( getOutput() ) << "former";
    ASSERT_EQ( ::chown( getOutput().c_str(), NOBODY, 5678 ), 0 );
    ::chmod( getOutput().c_str(), 0664 );
    ::setfsuid( NOBODY );
    PendingFile file( getOutput().string() );
    file.sync();
    file.commit();
    ::setfsuid( 0 );
    EXPECT_EQ( getFacts().st_mode & 0777U, 0644U );
}

TEST_F( QvcompFilesTest, LinkStaysAndWhatItLeadsToIsReplacedOrMade ) {
    fs::create_symlink( "second", _folder.path() / "first" );
    fs::create_symlink( getOutput(), _folder.path() / "second" );
    for( const char* text : { "made", "new!" } ) {
        PendingFile file( ( _folder.path() / "first" ).string() );
        file.write( 0, text, 4 );
        file.commit();
        EXPECT_EQ( readFile( getOutput() ), text );
        EXPECT_FALSE( fs::is_symlink( getOutput() ) );
        EXPECT_EQ( countEntries(), 3 );
    }
}

TEST_F( QvcompFilesTest, NameThatTurnsOutToBeTheOtherFilesIsNoticed ) {
    const std::string second = _folder.path() / "second";
    PendingFile file( getOutput().string() );
    const PendingFile other( second );
    EXPECT_FALSE( other.hasPlaceOf( file ) );
    file.sync();
    file.commit();
    EXPECT_FALSE( other.hasPlaceOf( file ) );
    // As where "out" and "OUT" are one.
    fs::create_hard_link( getOutput(), second );
    EXPECT_TRUE( other.hasPlaceOf( file ) );
}

TEST_F( QvcompFilesTest, ThreadThatCantBeStartedIsOneSentence ) {
    const auto start = [] {
        denyCall( SYS_clone3, EAGAIN );
        denyCall( SYS_clone, EAGAIN );
        std::cerr << raisedBy<Failure>( [] { makeWorkers( "test", 3, 1 ); } );
        std::_Exit( 0 );
    };
    EXPECT_EXIT( start(), ::testing::ExitedWithCode( 0 ), "--threads" );
}

TEST_F( QvcompFilesTest, ComputingThreadsAreNoHigherThanThoseOfTheCache ) {
    const auto workers = makeWorkers( "test", 1, 1 );
    const ManagedTiles store( { .tileSide = 16,
                                .threads = 1,
                                .workingTiles = 2,
                                .memory = std::nullopt,
                                .strategy = Strategy::LRU,
                                .policy = Policy::RELAXED,
                                .manager = Manager::HEAP,
                                .cache = { _folder.path().string(), false, std::nullopt } },
                              *workers );
    EXPECT_THROW( PriorityRelation( "content<compute", store.getServer().getServerPriority(),
                                    PriorityRelation::LESS, *workers ),
                  ExAssertionFailed );
}

} // namespace
} // namespace Qv::Comp
