#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osFileAccessor.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/processCounts.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

/// Positions, reserving space and closing.

namespace Qv {
namespace {

using OsFileTypes::FROM_BEGINNING;
using OsFileTypes::FROM_CURRENT;
using OsFileTypes::FROM_END;
using OsFileTypes::Permissions;
using OsFileTypes::SeekMode;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr long long LAST_OFFSET = std::numeric_limits<long long>::max();
const Permissions mine( 3, 0, 0 );

template <class File>
void expectSeeks( File& file, const char* failed ) {
    const struct {
        long long _offset;
        int _mode;
        long long _expected;
    } cases[] = { { 0, FROM_END, 10 },
                  { -3, FROM_END, 7 },
                  { 2, FROM_CURRENT, 9 },
                  { -9, FROM_CURRENT, 0 },
                  { 4, 7, 4 },
                  { 3, -1, 3 },
                  { 5, FROM_BEGINNING, 5 },
                  { 1000, FROM_END, 1010 } };
    for( const auto& expected : cases ) {
        EXPECT_EQ( file.seek( expected._offset, SeekMode( expected._mode ) ), expected._expected );
    }
    for( const auto& [offset, mode] :
         { std::pair( -1LL, FROM_BEGINNING ), std::pair( -11LL, FROM_END ),
           std::pair( LAST_OFFSET, FROM_CURRENT ), std::pair( LAST_OFFSET, FROM_END ) } ) {
        EXPECT_THAT(
            reasonOf<ExSysErrorWindows>( [&, at = offset, from = mode] { file.seek( at, from ); } ),
            AllOf( StartsWith( failed ), HasSubstr( "/file'" ) ) );
        EXPECT_EQ( file.seek( 0, FROM_CURRENT ), 1010 );
    }
}

TEST( OsFileSeek, CountsFromWhereTheModeTellsAndRefusesToLeaveTheOffsetsThereAre ) {
    const TestFiles files;
    files.write( "file", "0123456789" );
    OsFileReader reader( files.path( "file" ), false );
    expectSeeks( reader, "OsFileReader::performSeek" );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    expectSeeks( writer, "OsFileWriter::performSeek" );
}

TEST( OsFileWriterTest, WritesOnFromTheStartAndReadsWhatItWrote ) {
    const TestFiles files;
    files.write( "file", "0123456789" );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    char buffer[10];
    writer.write( "ab", 2 );
    EXPECT_EQ( writer.read( buffer, 3 ), 3U );
    EXPECT_EQ( std::string( buffer, 3 ), "234" );
    writer.write( "c", 1 );
    EXPECT_EQ( files.read( "file" ), "ab234c6789" );
}

TEST( OsFileClosing, EveryOperationOnAClosedFileIsRefused ) {
    const TestFiles files;
    files.write( "file", "content" );
    OsFileReader reader( files.path( "file" ), false );
    OsFileWriter writer( files.path( "file" ), mine, false, false );
    reader.close();
    writer.close();
    const OsFilePath path = files.path( "file" );
    const OsOpenFile closed{ path, OsFileTypes::INVALID_HANDLE, 1 };
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
          [&] {
              OsFileAccessor::read( closed, buffer, 0, 1,
                                    "OsMTFileReader::read( multi-threaded )" );
          } },
        { "OsFileAccessor::write", [&] { OsFileAccessor::write( closed, buffer, 0, 1 ); } },
        { "OsFileAccessor::reserve", [&] { OsFileAccessor::reserve( closed, 1 ); } } };
    for( const auto& [where, operation] : cases ) {
        EXPECT_THAT( reasonOf<ExSysErrorANSI>( operation ),
                     AllOf( StartsWith( std::string( where ) + " '" ), HasSubstr( "/file'" ) ) );
    }
    EXPECT_EQ( reader.getSize(), 7U );
}

TEST( OsFileClosing, FailureIsToldOnceAndTheFileIsClosedAllTheSame ) {
    const TestFiles files;
    files.write( "file", "content" );
    const int nbBefore = countDescriptors();
    const auto expectFailure = [&]( auto& file, const char* failed ) {
        {
            const FailingCall failing( "close", EIO );
            EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { file.close(); } ),
                         AllOf( StartsWith( failed ), HasSubstr( "/file'" ),
                                HasSubstr( std::strerror( EIO ) ) ) );
        }
        EXPECT_THROW( file.close(), ExSysErrorANSI );
    };
    {
        OsFileReader reader( files.path( "file" ), false );
        expectFailure( reader, "OsFileReader::performClose" );
        OsFileWriter writer( files.path( "file" ), mine, false, false );
        expectFailure( writer, "OsFileWriter::performClose" );
        EXPECT_EQ( countDescriptors(), nbBefore );
        OsFileWriter interrupted( files.path( "file" ), mine, false, false );
        const FailingCall signal( "close", EINTR );
        interrupted.close();
        EXPECT_EQ( signal.nbCalls(), 1 );
    }
    {
        const OsFileReader reader( files.path( "file" ), false );
        const OsMTFileWriter writer( files.path( "file" ), mine, false, false );
        const FailingCall failing( "close", EIO );
        ::testing::internal::CaptureStderr();
        { const OsMTFileReader traced( files.path( "file" ), false ); }
        EXPECT_THAT( ::testing::internal::GetCapturedStderr(),
                     AllOf( HasSubstr( "OsFileReader::performClose" ), HasSubstr( "/file'" ) ) );
    }
    EXPECT_EQ( countDescriptors(), nbBefore );
}

/// The two ways of reserving, on a file in `files`.
const std::pair<const char*, std::function<void( const OsFilePath&, unsigned long long )>>
    reservings[] = { { "OsFileWriter",
                       []( const OsFilePath& path, unsigned long long size ) {
                           OsFileWriter writer( path, mine, false, false );
                           writer.seek( 3, FROM_BEGINNING );
                           writer.reserve( size );
                       } },
                     { "OsMTFileWriter", []( const OsFilePath& path, unsigned long long size ) {
                          OsMTFileWriter( path, mine, false, false ).reserve( size );
                      } } };

class OsFileReserving : public ::testing::Test {
protected:
    struct stat facts() const {
        struct stat facts;
        EXPECT_EQ( ::stat( _files.at( "file" ).c_str(), &facts ), 0 );
        return facts;
    }
    /// 8 MiB with nothing but "content" in the middle.
    void makeSparse() const {
        _files.write( "file" );
        fs::resize_file( _files.at( "file" ), 0x800000 );
        OsMTFileWriter( _files.path( "file" ), mine, false, false ).write( "content", 0x400000, 7 );
    }

    const TestFiles _files;
};

TEST_F( OsFileReserving, FixesTheLengthAndTakesTheSpaceForAllOfIt ) {
    for( const auto& [name, reserve] : reservings ) {
        SCOPED_TRACE( name );
        makeSparse();
        for( const unsigned long long size : { 0x800000U, 0x1000000U, 0x700001U, 5U, 0U } ) {
            reserve( _files.path( "file" ), size );
            EXPECT_EQ( static_cast<unsigned long long>( facts().st_size ), size );
            EXPECT_GE( static_cast<unsigned long long>( facts().st_blocks ) * 512, size );
            if( size > 0x400000 ) {
                EXPECT_EQ( _files.read( "file" ).substr( 0x400000, 8 ),
                           std::string( "content\0", 8 ) );
            }
        }
    }
}

TEST_F( OsFileReserving, FailureGivesBackWhatWasTaken ) {
    for( const auto& [name, reserve] : reservings ) {
        for( const unsigned long long size : { 0x1000000U, 0x700000U } ) {
            makeSparse();
            const auto before = facts();
            const std::string content = _files.read( "file" );
            bool isReserved = false;
            const auto operation = [&, &act = reserve] {
                try {
                    isReserved = false;
                    act( _files.path( "file" ), size );
                    isReserved = true;
                } catch( const ExSysErrorWindows& failure ) {
                    EXPECT_THAT( failure.getReason(), HasSubstr( std::strerror( ENOSPC ) ) );
                }
            };
            const auto check = [&, &where = name]( const FailedRun& run ) {
                if( isReserved ) {
                    EXPECT_EQ( static_cast<unsigned long long>( facts().st_size ), size );
                    makeSparse();
                } else if( run.times == FailingCall::ONCE ) {
                    // Else giving back fails too.
                    SCOPED_TRACE( where + std::string( " without " ) + run.call );
                    EXPECT_EQ( facts().st_size, before.st_size );
                    EXPECT_LE( facts().st_blocks, before.st_blocks );
                    EXPECT_TRUE( _files.read( "file" ) == content );
                }
            };
            forEachFailingCall( ENOSPC, operation, check );
        }
    }
}

TEST_F( OsFileReserving, PositionIsTheLengthAfterwardsAndAsBeforeAfterAFailure ) {
    makeSparse();
    OsFileWriter writer( _files.path( "file" ), mine, false, false );
    writer.seek( 3, FROM_BEGINNING );
    {
        const FailingCall full( "fallocate", ENOSPC );
        EXPECT_THROW( writer.reserve( 100 ), ExSysErrorWindows );
        EXPECT_EQ( writer.seek( 0, FROM_CURRENT ), 3 );
    }
    writer.reserve( 100 );
    EXPECT_EQ( writer.seek( 0, FROM_CURRENT ), 100 );
}

TEST_F( OsFileReserving, OnlyTheLengthIsFixedWhereTheVolumeCantTakeSpace ) {
    for( const auto& [name, reserve] : reservings ) {
        for( const int error : { EOPNOTSUPP, ENOSYS } ) {
            makeSparse();
            const FailingCall failing( "fallocate", error );
            reserve( _files.path( "file" ), 0x1000000 );
            EXPECT_EQ( facts().st_size, 0x1000000 );
            EXPECT_LT( facts().st_blocks * 512, 0x800000 );
        }
    }
}

TEST_F( OsFileReserving, GoesOnAfterSignalsWithSmallerPieces ) {
    for( const auto& [name, reserve] : reservings ) {
        makeSparse();
        const CallHook signals( "fallocate", []( const SystemCall& made ) {
            return made.size > 0x100000 || made.number % 2 == 0 ? EINTR : 0;
        } );
        const CallHook moreSignals(
            "ftruncate", []( const SystemCall& made ) { return made.number < 3 ? EINTR : 0; } );
        reserve( _files.path( "file" ), 0x1000000 );
        EXPECT_EQ( facts().st_size, 0x1000000 );
        EXPECT_GE( facts().st_blocks * 512, 0x1000000 );
    }
}

TEST_F( OsFileReserving, RefusesALengthThatNoFileCanHave ) {
    for( const auto& [name, reserve] : reservings ) {
        _files.write( "file", "content" );
        for( const unsigned long long size :
             { 0x7fffffffffffffffULL, 0x8000000000000000ULL, 0xffffffffffffffffULL } ) {
            EXPECT_ANY_THROW( reserve( _files.path( "file" ), size ) ) << size;
        }
        EXPECT_EQ( _files.read( "file" ), "content" );
    }
}

} // namespace
} // namespace Qv
