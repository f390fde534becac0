#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osUnbufferedInfo.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

namespace Qv {
namespace {

using OsFileTypes::FROM_BEGINNING;
using OsFileTypes::FROM_END;
using OsFileTypes::Permissions;
using OsFileTypes::UnbufferedInfo;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::size_t PAGES = 0x10000;
const Permissions mine( 3, 0, 0 );

class OsUnbuffered : public ::testing::Test {
protected:
    OsUnbuffered()
        : _info( OsFile( _files.path( "file" ) ).getUnbufferedInfo() )
        , _sector( _info.sectorSize ) {
        std::memset( _buffer.get(), 'x', PAGES );
    }
    void SetUp() override {
        if( !_info.supported ) {
            GTEST_SKIP() << "the volume of the temporary files refuses unbuffered transfers";
        }
        ASSERT_LE( 2 * _sector, PAGES );
    }

    struct Free {
        void operator()( char* memory ) const { std::free( memory ); }
    };

    const TestFiles _files;
    const UnbufferedInfo _info;
    const std::size_t _sector;
    const std::unique_ptr<char, Free> _buffer{
        static_cast<char*>( std::aligned_alloc( PAGES, PAGES ) ) };
};

TEST_F( OsUnbuffered, VolumeTellsTheSameForAllItsFilesAndIsAskedOnce ) {
    EXPECT_EQ( _sector & ( _sector - 1 ), 0U );
    EXPECT_GT( _sector, 1U );
    EXPECT_EQ( _info.clusterSize % 512, 0U );
    EXPECT_EQ( _info.maxTransferSize, 0x7fffffffU );
    _files.write( "file", "content" );
    const CallHook asked( "fstatfs", []( const SystemCall& ) { return 0; } );
    EXPECT_EQ( OsFile( _files.path( "file" ) ).getUnbufferedInfo(), _info );
    EXPECT_EQ( OsFile( _files.path() ).getUnbufferedInfo(), _info );
    EXPECT_EQ( OsFile( _files.path( "none/below/it" ) ).getUnbufferedInfo(), _info );
    EXPECT_EQ( asked.nbCalls(), 0 );
}

TEST_F( OsUnbuffered, TransferThatIsOffIsRefusedBeforeTheSystemSeesIt ) {
    OsFileWriter writer( _files.path( "file" ), mine, true, true );
    OsMTFileWriter shared( _files.path( "file" ), mine, false, true );
    OsFileReader reader( _files.path( "file" ), true );
    OsMTFileReader sharedReader( _files.path( "file" ), true );
    writer.write( _buffer.get(), 2 * _sector );
    const struct {
        std::size_t _buffer, _at, _size;
    } cases[] = { { 1, 0, _sector },
                  { 0, 1, _sector },
                  { 0, 0, _sector - 1 },
                  { _sector / 2, _sector / 2, _sector / 2 } };
    for( const auto& off : cases ) {
        char* const buffer = _buffer.get() + off._buffer;
        const auto at = static_cast<long long>( off._at );
        const std::pair<const char*, std::function<void()>> transfers[] = {
            { "OsFileReader::performRead:",
              [&] {
                  reader.seek( at, FROM_BEGINNING );
                  reader.read( buffer, off._size );
              } },
            { "OsFileWriter::performRead:",
              [&] {
                  writer.seek( at, FROM_BEGINNING );
                  writer.read( buffer, off._size );
              } },
            { "OsFileWriter::performWrite:",
              [&] {
                  writer.seek( at, FROM_BEGINNING );
                  writer.write( buffer, off._size );
              } },
            { "OsFileReader::performRead( multi-thread ):",
              [&] { sharedReader.read( buffer, at, off._size ); } },
            { "OsFileReader::performRead( multi-thread ):",
              [&] { shared.read( buffer, at, off._size ); } },
            { "OsFileReader::performWrite( multi-threaded ):",
              [&] { shared.write( buffer, at, off._size ); } } };
        for( const auto& [where, transfer] : transfers ) {
            const auto none = []( const SystemCall& ) { return 0; };
            const CallHook reads( "read", none );
            const CallHook writes( "write", none );
            const CallHook preads( "pread", none );
            const CallHook pwrites( "pwrite", none );
            EXPECT_THAT( reasonOf<ExSysErrorGeneric>( transfer ),
                         AllOf( StartsWith( where ), HasSubstr( "/file:" ),
                                HasSubstr( "offset " + std::to_string( at ) + " and size " +
                                           std::to_string( off._size ) ),
                                HasSubstr( "multiples of " + std::to_string( _sector ) ) ) );
            EXPECT_EQ( reads.nbCalls() + writes.nbCalls() + preads.nbCalls() + pwrites.nbCalls(),
                       0 );
        }
    }
    EXPECT_TRUE( _files.read( "file" ) == std::string( 2 * _sector, 'x' ) );
}

TEST_F( OsUnbuffered, FileMayEndBetweenTheMultiples ) {
    const std::string content( _sector + 10, 'y' );
    _files.write( "file", content );
    OsFileReader reader( _files.path( "file" ), true );
    EXPECT_EQ( reader.read( _buffer.get(), PAGES ), content.size() );
    EXPECT_EQ( std::string( _buffer.get(), content.size() ), content );
    EXPECT_EQ( reader.read( _buffer.get(), PAGES ), 0U );
    EXPECT_EQ( reader.seek( 1, FROM_END ), static_cast<long long>( _sector + 11 ) );
    EXPECT_EQ( reader.read( _buffer.get(), PAGES ), 0U );
    EXPECT_THROW( reader.read( _buffer.get() + 1, PAGES ), ExSysErrorGeneric );
    OsMTFileReader shared( _files.path( "file" ), true );
    EXPECT_EQ( shared.read( _buffer.get(), static_cast<long long>( _sector ), PAGES - _sector ),
               10U );
}

TEST_F( OsUnbuffered, ShortCountsGoOnAtMultiples ) {
    OsMTFileWriter writer( _files.path( "file" ), mine, true, true );
    const auto oneSector = [this]( SystemCall& made ) {
        made.size = _sector;
        return 0;
    };
    const CallHook writes( "pwrite", oneSector );
    const CallHook reads( "pread", oneSector );
    writer.write( _buffer.get(), 0, 4 * _sector );
    std::memset( _buffer.get(), 0, PAGES );
    EXPECT_EQ( writer.read( _buffer.get(), 0, PAGES ), 4 * _sector );
    EXPECT_EQ( std::string( _buffer.get(), 4 * _sector ), std::string( 4 * _sector, 'x' ) );
    EXPECT_EQ( writes.nbCalls(), 4 );
}

TEST( OsUnbufferedRefusal, LeavesFilesAsTheyWere ) {
    const TestFiles files;
    files.write( "file", "content" );
    const FailingCall refusal( "fcntl", EINVAL );
    // Known volumes aren't asked any more; the switch is refused all the same.
    EXPECT_THROW( OsFileReader( files.path( "file" ), true ), ExSysErrorWindows );
    EXPECT_THROW( OsFileWriter( files.path( "file" ), mine, true, true ), ExSysErrorWindows );
    EXPECT_THAT( reasonOf<ExSysErrorWindows>(
                     [&] { OsMTFileWriter( files.path( "new" ), mine, true, true ); } ),
                 StartsWith( "OsFileWriter::openReadWrite '" ) );
    EXPECT_EQ( files.read( "file" ), "content" );
    EXPECT_FALSE( files.has( "new" ) );
}

TEST( OsUnbufferedRefusal, VolumeWithoutThemIsToldSo ) {
    const OsFilePath path( "/proc/self/status" );
    EXPECT_EQ( OsFile( path ).getUnbufferedInfo(), UnbufferedInfo( false, 1, 1, 0x7fffffff ) );
    EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { OsFileReader( path, true ); } ),
                 AllOf( StartsWith( "OsFileReader::performOpen '" ),
                        HasSubstr( std::strerror( EOPNOTSUPP ) ) ) );
    EXPECT_GT( OsFileReader( path, false ).read( std::string( 10, 'x' ).data(), 10 ), 0U );
}

} // namespace
} // namespace Qv
