#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osOpenFile.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/processCounts.h>

#include <fcntl.h>
#include <limits>

/// Positions, reserving space and closing.

namespace Qv {
namespace {

using namespace OsFileTypes;

constexpr long long LAST_OFFSET = std::numeric_limits<long long>::max();
const Permissions mine( 3, 0, 0 );

TEST( OsFileSeekTest, CountsFromWhereTheModeTellsAndRefusesToLeaveTheOffsetsThereAre ) {
    const TestFiles files( "file=0123456789" );
    const struct {
        long long _offset;
        int _mode;
        long long _expected; // -1 for a failure
    } cases[] = { { 0, FROM_END, 10 },
                  { -3, FROM_END, 7 },
                  { 2, FROM_CURRENT, 9 },
                  { -9, FROM_CURRENT, 0 },
                  { 4, 7, 4 },
                  { 3, -1, 3 },
                  { 5, FROM_BEGINNING, 5 },
                  { 1000, FROM_END, 1010 },
                  { -1, FROM_BEGINNING, -1 },
                  { -11, FROM_END, -1 },
                  { LAST_OFFSET, FROM_CURRENT, -1 },
                  { LAST_OFFSET, FROM_END, -1 },
                  { 0, FROM_CURRENT, 1010 } };
    const auto expectSeeks = [&]( auto&& file, const char* failed ) {
        for( const auto& [offset, mode, expected] : cases ) {
            long long position = -1;
            const std::string reason = raisedBy<Sys>(
                [&, at = offset, from = mode] { position = file.seek( at, SeekMode( from ) ); } );
            EXPECT_EQ( position, expected ) << offset;
            EXPECT_THAT( reason, expected < 0 ? tells( failed, "/file'" ) : tells( "", "" ) );
        }
    };
    expectSeeks( OsFileReader( files.path( "file" ), false ), "OsFileReader::performSeek" );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    char buffer[3];
    writer.write( "ab", 2 );
    EXPECT_EQ( writer.read( buffer, 3 ), 3U );
    EXPECT_EQ( std::string( buffer, 3 ), "234" );
    writer.write( "c", 1 );
    EXPECT_EQ( files.read( "file" ), "ab234c6789" );
    expectSeeks( writer, "OsFileWriter::performSeek" );
}

TEST( OsFileClosingTest, EveryOperationOnAClosedFileIsRefused ) {
    const TestFiles files( "file=content" );
    OsFileReader reader( files.path( "file" ), false );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    reader.close();
    writer.close();
    const OsFilePath path = files.path( "file" );
    OsOpenFile closed( path, OsFileCalls::Transfers::POSITIONED, false, {} );
    closed.close( "" );
    char buffer[1];
    const std::pair<const char*, std::function<void()>> cases[] = {
        { "OsFileReader::seek", [&] { reader.seek( 0, FROM_BEGINNING ); } },
        { "OsFileReader::read", [&] { reader.read( buffer, 1 ); } },
        { "OsFileReader::close", [&] { reader.close(); } },
        { "OsFileWriter::seek", [&] { writer.seek( 0, FROM_BEGINNING ); } },
        { "OsFileWriter::write", [&] { writer.write( buffer, 1 ); } },
        { "OsFileWriter::reserve", [&] { writer.reserve( 1 ); } },
        { "OsFileWriter::read", [&] { writer.read( buffer, 1 ); } },
        { "OsFileWriter::close", [&] { writer.close(); } },
        { "OsMTFileReader::read( multi-threaded )",
          [&] { closed.readAt( buffer, 0, 1, "OsMTFileReader::read( multi-threaded )" ); } },
        { "OsFileAccessor::write", [&] { closed.writeAt( buffer, 0, 1 ); } },
        { "OsFileAccessor::reserve", [&] {
             closed.reserve( 1, { "OsFileAccessor::reserve", "" } );
         } } };
    for( const auto& [where, operation] : cases ) {
        EXPECT_THAT( raisedBy<ExSysErrorANSI>( operation ),
                     tells( std::string( where ) + " '", "/file'" ) );
    }
    EXPECT_EQ( reader.getSize(), 7U );
}

TEST( OsFileClosingTest, FailureIsToldOnceAndTheFileIsClosedAllTheSame ) {
    const TestFiles files( "file=content" );
    const OsFilePath path = files.path( "file" );
    const int nbBefore = countDescriptors();
    const auto expectFailure = [&]( auto&& file, const char* failed ) {
        {
            const FailingCall failing( "close", EIO );
            EXPECT_THAT( raisedBy<Sys>( [&] { file.close(); } ),
                         tells( failed, "/file'", std::strerror( EIO ) ) );
        }
        EXPECT_THROW( file.close(), ExSysErrorANSI );
    };
    expectFailure( OsFileReader( path, false ), "OsFileReader::performClose" );
    expectFailure( OsFileWriter( path, mine, false, false ), "OsFileWriter::performClose" );
    {
        const FailingCall signal( "close", EINTR );
        OsFileWriter( path, mine, false, false ).close();
        EXPECT_EQ( signal.nbCalls(), 1 );
    }
    {
        const FailingCall failing( "close", EIO );
        ::testing::internal::CaptureStderr();
        OsFileReader( path, false );
        OsMTFileWriter( path, mine, false, false );
        OsMTFileReader( path, false );
        EXPECT_THAT( ::testing::internal::GetCapturedStderr(),
                     tells( "", "OsFileReader::performClose", "/file'" ) );
    }
    EXPECT_EQ( countDescriptors(), nbBefore );
}

/// By the sequential writer or by the positioned one.
class OsFileReservingTest : public ::testing::TestWithParam<bool> {
protected:
    OsFileReservingTest() { makeSparse(); }

    /// 8 MiB with nothing but "content" in the middle.
    void makeSparse() const {
        _files.write( "file" );
        fs::resize_file( _files.at( "file" ), 0x800000 );
        OsMTFileWriter( _path, mine, false, false ).write( "content", 0x400000, 7 );
    }
    void reserve( unsigned long long size ) const {
        if( GetParam() ) {
            OsFileWriter( _path, mine, false, false ).reserve( size );
        } else {
            OsMTFileWriter( _path, mine, false, false ).reserve( size );
        }
    }
    unsigned long long length() const { return fs::file_size( _files.at( "file" ) ); }
    unsigned long long space() const {
        return static_cast<unsigned long long>( _files.facts( "file" ).st_blocks ) * 512;
    }

    const TestFiles _files;
    const OsFilePath _path = _files.path( "file" );
};

INSTANTIATE_TEST_SUITE_P(, OsFileReservingTest, ::testing::Bool() );

TEST_P( OsFileReservingTest, FixesTheLengthAndTakesTheSpaceForAllOfIt ) {
    for( const unsigned long long size : { 0x800000U, 0x1000000U, 0x700001U, 5U, 0U } ) {
        reserve( size );
        EXPECT_EQ( length(), size );
        EXPECT_GE( space(), size );
        if( size > 0x400000 ) {
            EXPECT_EQ( _files.read( "file" ).substr( 0x400000, 8 ), std::string( "content\0", 8 ) );
        }
    }
}

TEST_P( OsFileReservingTest, FindsHolesAlsoWhereTheFileHasBlocksElsewhere ) {
    const int file = ::open( _files.at( "file" ).c_str(), O_RDWR );
    ASSERT_EQ( ::fallocate( file, FALLOC_FL_KEEP_SIZE, 0x1000000, 0x1000000 ), 0 );
    ::close( file );
    const unsigned long long before = space();
    EXPECT_GE( before, 0x1000000U );
    reserve( 0x800000 );
    EXPECT_GE( space(), before + 0x700000 );
}

TEST_P( OsFileReservingTest, FailureGivesBackWhatWasTaken ) {
    const unsigned long long before = space();
    const std::string content = _files.read( "file" );
    for( const unsigned long long size : { 0x1000000U, 0x700000U } ) {
        std::string failure;
        const auto check = [&]( const FailedRun& run ) {
            if( failure.empty() ) {
                EXPECT_EQ( length(), size );
                makeSparse();
            } else if( run.times == FailingCall::ONCE ) {
                // Else giving back fails too.
                EXPECT_THAT( failure, HasSubstr( std::strerror( ENOSPC ) ) );
                EXPECT_LE( space(), before ) << run.call;
                EXPECT_TRUE( _files.read( "file" ) == content ) << run.call;
            }
        };
        const auto operation = [&] { failure = raisedBy<Sys>( [&] { reserve( size ); } ); };
        forEachFailingCall( ENOSPC, operation, check );
    }
}

TEST_P( OsFileReservingTest, OnlyTheLengthIsFixedWhereTheVolumeCantTakeSpace ) {
    for( const int error : { EOPNOTSUPP, ENOSYS } ) {
        makeSparse();
        const FailingCall failing( "fallocate", error );
        reserve( 0x1000000 );
        EXPECT_EQ( length(), 0x1000000U );
        EXPECT_LT( space(), 0x800000U );
    }
}

TEST_P( OsFileReservingTest, GoesOnAfterSignalsWithSmallerPieces ) {
    const CallHook signals( "fallocate", []( const SystemCall& made ) {
        return made.size > 0x100000 || made.number % 2 == 0 ? EINTR : 0;
    } );
    const CallHook moreSignals(
        "ftruncate", []( const SystemCall& made ) { return made.number < 3 ? EINTR : 0; } );
    reserve( 0x1000000 );
    EXPECT_EQ( length(), 0x1000000U );
    EXPECT_GE( space(), 0x1000000U );
}

TEST_P( OsFileReservingTest, RefusesALengthThatNoFileCanHave ) {
    for( const auto size : { 0x7fffffffffffffffULL, 0x8000000000000000ULL, ~0ULL } ) {
        EXPECT_ANY_THROW( reserve( size ) ) << size;
    }
    EXPECT_EQ( length(), 0x800000U );
}

TEST( OsFileWriterReservingTest, PositionIsTheLengthAfterwardsAndAsBeforeAfterAFailure ) {
    const TestFiles files( "file" );
    // With a hole, which is searched for.
    fs::resize_file( files.at( "file" ), 0x100000 );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    writer.seek( 3, FROM_BEGINNING );
    {
        const FailingCall full( "fallocate", ENOSPC );
        EXPECT_THROW( writer.reserve( 100 ), Sys );
        EXPECT_EQ( writer.seek( 0, FROM_CURRENT ), 3 );
    }
    writer.reserve( 100 );
    EXPECT_EQ( writer.seek( 0, FROM_CURRENT ), 100 );
}

} // namespace
} // namespace Qv
