#include <tests/qvcomp/fileSizeLimit.h>
#include <tests/qvcomp/testCommand.h>

#include <tests/support/gate.h>
#include <tests/support/tempDirectory.h>
#include <tools/qvcomp/exrWriter.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/pngWriter.h>
#include <tools/qvcomp/tileProtocol.h>

#include <resmgt/locks/lkAsyncHandle.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;

class MockHandle : public LkAsyncHandle {
public:
    MOCK_METHOD( void, asyncSucceeded, (), ( override ) );
    MOCK_METHOD( void, asyncFailed, (), ( override ) );
};

/// The files of the command, each by itself.
class QvcompFiles : public ::testing::Test {
protected:
    static constexpr std::size_t TILE_BYTES = 1024;

    fs::path getOutput() const { return _folder.path() / "out"; }

    /// Takes the content of the scratch file away, as a failing disk does.
    void emptyScratchFile() const {
        for( const fs::directory_entry& entry : fs::directory_iterator( "/proc/self/fd" ) ) {
            std::error_code error;
            if( fs::read_symlink( entry.path(), error )
                    .string()
                    .starts_with( _folder.path().string() ) ) {
                fs::resize_file( entry.path(), 0 );
            }
        }
    }

    /// Returns once all that the worker had to do is done.
    static void waitForWorker( Spill& spill ) {
        Gate done( "the worker's operations" );
        if( spill.worker.tryPost( [&done] { done.open(); } ) ) {
            done.wait();
        }
    }

    TempDirectory _folder;
    // A file that is too large is an error, and doesn't end the process.
    InterruptNote _note;
};

TEST_F( QvcompFiles, PngWriterTellsOfAFullDisk ) {
    PendingFile file( getOutput().string() );
    const FileSizeLimit limit( 70 );
    PngWriter writer( file, 300, 20 );
    std::vector<unsigned char> noise( 300 * 20 * 3 );
    std::ranges::generate( noise, std::mt19937() );
    const auto write = [&] {
        writer.writeLines( noise.data(), 20 );
        writer.finish();
    };
    EXPECT_THROW( write(), Failure );
}

TEST_F( QvcompFiles, ExrWriterTellsOfAFailureWhileItCompletesTheFile ) {
    PendingFile file( getOutput().string() );
    ExrWriter writer( file, 16, 16, 16 );
    const std::vector<float> pixels( 16 * 16 * 4, 0.5F );
    writer.writeTile( 0, 0, pixels.data() );
    // The table of the tiles, near the file's beginning, is written last.
    const FileSizeLimit limit( 8 );
    EXPECT_THROW( writer.finish(), Failure );
}

TEST_F( QvcompFiles, TileComesBackByEitherWay ) {
    // Without and with room at the worker.
    for( const std::size_t maxPending : { std::size_t{ 0 }, std::size_t{ 4 } } ) {
        Spill spill( _folder.path().string(), TILE_BYTES, maxPending );
        TileProtocol first( spill );
        TileProtocol second( spill );
        std::vector<unsigned char> content( TILE_BYTES );
        std::iota( content.begin(), content.end(), static_cast<unsigned char>( 1 ) );
        std::vector<unsigned char> other( TILE_BYTES, 200 );
        ASSERT_TRUE( first.unload( content.data(), TILE_BYTES ) );
        ASSERT_TRUE( second.unload( other.data(), TILE_BYTES ) );

        std::vector<unsigned char> memory( TILE_BYTES );
        ::testing::StrictMock<MockHandle> handle;
        EXPECT_CALL( handle, asyncSucceeded );
        first.asyncReload( memory.data(), TILE_BYTES, &handle );
        second.reload( other.data(), TILE_BYTES );
        EXPECT_EQ( other, std::vector<unsigned char>( TILE_BYTES, 200 ) );
        waitForWorker( spill );
        EXPECT_EQ( memory, content );
    }
}

TEST_F( QvcompFiles, FailedReadAheadIsReportedToTheBufferAndKept ) {
    Spill spill( _folder.path().string(), TILE_BYTES, 4 );
    TileProtocol protocol( spill );
    std::vector<unsigned char> memory( TILE_BYTES );
    ASSERT_TRUE( protocol.unload( memory.data(), TILE_BYTES ) );
    emptyScratchFile();
    ::testing::StrictMock<MockHandle> handle;
    EXPECT_CALL( handle, asyncFailed );
    protocol.asyncReload( memory.data(), TILE_BYTES, &handle );
    waitForWorker( spill );
    EXPECT_THROW( spill.failure.raise(), Failure );
    EXPECT_THROW( protocol.reload( memory.data(), TILE_BYTES ), Failure );
}

} // namespace
} // namespace Qv::Comp
