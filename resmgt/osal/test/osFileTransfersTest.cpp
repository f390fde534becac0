#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osFileAccessor.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the four readers and writers have in common, and what tells the sequential ones from the
/// positioned ones.

namespace Qv {
namespace {

using OsFileTypes::FROM_BEGINNING;
using OsFileTypes::Permissions;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr long long LAST_OFFSET = std::numeric_limits<long long>::max();
constexpr unsigned long long LARGE = 0x3000000;
const Permissions mine( 3, 0, 0 );

/// Moves `size` bytes between `buffer` and the place `at` of a file; returns how many.
using Transfer =
    std::function<unsigned long long( char* buffer, long long at, unsigned long long size )>;

/// What transfers, with the system's call and the location text of what it raises.
struct Way {
    const char* _name;
    const char* _call;
    const char* _where;
    std::function<Transfer( const OsFilePath& path )> _open;

    bool reads() const { return std::string( _call ).ends_with( "read" ); }
    bool isSequential() const { return *_call != 'p'; }
    std::string assertion() const {
        return std::string( reads() ? "toRead" : "toWrite" ) + " <= std::numeric_limits<" +
               ( isSequential() ? "DWORD" : " DWORD " ) + ">::max()";
    }
};

template <class File, bool READS, class... Arguments>
std::function<Transfer( const OsFilePath& )> transfers( Arguments... arguments ) {
    return [=]( const OsFilePath& path ) -> Transfer {
        const auto file = std::make_shared<File>( path, arguments..., false );
        return [file]( char* buffer, [[maybe_unused]] long long at, unsigned long long size ) {
            const auto act = [&]( auto... place ) {
                if constexpr( READS ) {
                    return file->read( buffer, place..., size );
                } else {
                    file->write( buffer, place..., size );
                    return size;
                }
            };
            if constexpr( requires { file->seek( at, FROM_BEGINNING ); } ) {
                file->seek( at, FROM_BEGINNING );
                return act();
            } else {
                return act( at );
            }
        };
    };
}

const Way ways[] = {
    { "OsFileReaderRead", "read", "OsFileReader::performRead '/", transfers<OsFileReader, true>() },
    { "OsFileWriterRead", "read", "OsFileWriter::performRead '/",
      transfers<OsFileWriter, true>( mine, false ) },
    { "OsMTFileReaderRead", "pread", "OsFileReader::performRead( multi-thread ) '/",
      transfers<OsMTFileReader, true>() },
    { "OsMTFileWriterRead", "pread", "OsFileReader::performRead( multi-thread ) '/",
      transfers<OsMTFileWriter, true>( mine, false ) },
    { "OsFileWriterWrite", "write", "OsFileWriter::performWrite '/",
      transfers<OsFileWriter, false>( mine, false ) },
    { "OsMTFileWriterWrite", "pwrite", "OsFileReader::performWrite( multi-threaded ) '/",
      transfers<OsMTFileWriter, false>( mine, false ) } };

class OsFileTransfer : public ::testing::TestWithParam<Way> {
protected:
    Transfer open() const { return GetParam()._open( _files.path( "file" ) ); }

    const TestFiles _files;
};
class OsFileReading : public OsFileTransfer {};
class OsFileWriting : public OsFileTransfer {};

const auto byName = []( const auto& info ) { return std::string( info.param._name ); };
INSTANTIATE_TEST_SUITE_P(, OsFileTransfer, ::testing::ValuesIn( ways ), byName );
INSTANTIATE_TEST_SUITE_P(, OsFileReading, ::testing::ValuesIn( ways, ways + 4 ), byName );
INSTANTIATE_TEST_SUITE_P(, OsFileWriting, ::testing::ValuesIn( ways + 4, ways + 6 ), byName );

/// Text in which each place can be told from its neighbours.
std::string pattern( std::size_t size ) {
    std::string text( size, '\0' );
    for( std::size_t i = 0; i < size; ++i ) {
        text[i] = static_cast<char>( i * 167 / 13 + i / 251 );
    }
    return text;
}

/// The sizes of what is asked of the system by `transfer`, whose requests fail as `fails` tells.
std::vector<std::size_t> requestsOf( const char* call, const std::function<void()>& transfer,
                                     const CallHook::Hook& fails ) {
    std::vector<std::size_t> sizes;
    const CallHook hook( call, [&]( SystemCall& made ) {
        sizes.push_back( made.size );
        return fails( made );
    } );
    transfer();
    return sizes;
}

TEST_P( OsFileReading, EndsAtTheEndOfTheFileWhereverThatIsMeanwhile ) {
    _files.write( "file", "0123456789" );
    const Transfer read = open();
    char buffer[100];
    const struct {
        long long _at;
        unsigned long long _size;
        std::string _expected;
    } cases[] = { { 0, 4, "0123" }, { 4, 6, "456789" }, { 8, 100, "89" },        { 10, 1, "" },
                  { 3, 0, "" },     { 5000, 100, "" },  { 0, 100, "0123456789" } };
    for( const auto& expected : cases ) {
        const auto size = read( buffer, expected._at, expected._size );
        EXPECT_EQ( std::string( buffer, size ), expected._expected ) << expected._at;
    }
    // The file shrinks in the middle of a read.
    const std::vector<std::size_t> requests = requestsOf(
        GetParam()._call, [&] { EXPECT_EQ( read( buffer, 0, 100 ), 6U ); },
        [&]( SystemCall& made ) {
            made.size = std::min<std::size_t>( made.size, 4 );
            if( made.number == 2 ) {
                fs::resize_file( _files.at( "file" ), 6 );
            }
            return 0;
        } );
    EXPECT_THAT( requests, ::testing::ElementsAre( 100, 96, 94 ) );
}

TEST_P( OsFileTransfer, GoesInChunksThatAreHalvedForWantOfResources ) {
    using Sizes = std::vector<std::size_t>;
    const std::string content = pattern( LARGE );
    _files.write( "file", GetParam().reads() ? content : "" );
    std::string buffer = GetParam().reads() ? std::string( LARGE, '\0' ) : content;
    const Transfer transfer = open();
    const auto requests = [&]( std::size_t size, const CallHook::Hook& fails,
                               bool succeeds = true ) {
        return requestsOf(
            GetParam()._call,
            [&] {
                if( succeeds ) {
                    EXPECT_EQ( transfer( buffer.data(), 0, size ), size );
                } else {
                    EXPECT_THROW( transfer( buffer.data(), 0, size ), ExSysErrorWindows );
                }
            },
            fails );
    };
    EXPECT_EQ( requests( LARGE, []( SystemCall& ) { return 0; } ),
               ( Sizes{ 0x2000000, 0x1000000 } ) );
    EXPECT_TRUE( buffer == content && _files.read( "file" ) == content );
    Sizes halves;
    for( std::size_t size = 0x2000000; size >= 8192; size /= 2 ) {
        halves.push_back( size );
    }
    for( const int error : { ENOMEM, ENOBUFS, EAGAIN } ) {
        const auto first = [error]( SystemCall& made ) { return made.number == 1 ? error : 0; };
        EXPECT_EQ( requests( LARGE, first ),
                   ( Sizes{ 0x2000000, 0x1000000, 0x1000000, 0x1000000 } ) );
        const auto overTheLeast = [error]( SystemCall& made ) {
            return made.size > 8192 ? error : 0;
        };
        EXPECT_EQ( requests( 0x2000000 + 8192, overTheLeast ).size(), 12U + 4096U + 1U );
        EXPECT_EQ( requests(
                       LARGE, [error]( SystemCall& ) { return error; }, false ),
                   halves );
        // What fits in one chunk is the last request at once, and the sequential ones' only one.
        EXPECT_EQ( requests( 0x100000, first, !GetParam().isSequential() ).size(),
                   GetParam().isSequential() ? 1U : 2U );
    }
}

/// Interrupts two calls of three, and lets few bytes pass through the third.
int storm( SystemCall& made ) {
    made.size = std::min<std::size_t>( made.size, 777 );
    return made.number % 3 == 0 ? 0 : EINTR;
}

TEST_P( OsFileTransfer, GoesOnAfterSignalsAndShortCounts ) {
    const std::string content = pattern( 100000 );
    _files.write( "file", GetParam().reads() ? content : "" );
    std::string buffer = GetParam().reads() ? std::string( 200000, '\0' ) : content;
    {
        const CallHook signals( GetParam()._call, storm );
        const CallHook moreSignals( "open", storm );
        buffer.resize( open()( buffer.data(), 0, buffer.size() ) );
    }
    EXPECT_TRUE( buffer == content && _files.read( "file" ) == content );
}

TEST_P( OsFileTransfer, FailureTellsOperationPathAndReasonAndLeavesTheFileOpen ) {
    _files.write( "file", "content" );
    const Transfer transfer = open();
    char buffer[] = "BUFFER";
    {
        const FailingCall failing( GetParam()._call, EIO );
        EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { transfer( buffer, 0, 6 ); } ),
                     AllOf( StartsWith( GetParam()._where ), HasSubstr( "/file': " ),
                            HasSubstr( std::strerror( EIO ) ) ) );
    }
    EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { transfer( buffer, -1, 6 ); } ),
                 HasSubstr( std::strerror( EINVAL ) ) );
    EXPECT_THAT( reasonOf<ExAssertionFailed>( [&] { transfer( buffer, 0, 0x100000000 ); } ),
                 HasSubstr( GetParam().assertion() ) );
    EXPECT_EQ( transfer( buffer, 3, 4 ), 4U );
    EXPECT_EQ( transfer( buffer, 100, 0 ), 0U );
    EXPECT_STREQ( buffer, GetParam().reads() ? "tentER" : "BUFFER" );
    EXPECT_EQ( _files.read( "file" ), GetParam().reads() ? "content" : "conBUFF" );
}

TEST_P( OsFileWriting, FullVolumeIsAFailureThatTellsTheReason ) {
    const auto expectFull = [&]( const Transfer& write, int error ) {
        std::string content = "content";
        const auto body = [&] { write( content.data(), 0, 7 ); };
        EXPECT_THAT(
            GetParam().isSequential() ? reasonOf<ExAssertionFailed>( body )
                                      : reasonOf<ExSysErrorWindows>( body ),
            AllOf( HasSubstr( GetParam().isSequential() ? "toWrite == 0" : GetParam()._where ),
                   HasSubstr( std::strerror( error ) ) ) );
    };
    const Transfer write = open();
    for( const int error : { ENOSPC, EDQUOT, EFBIG } ) {
        const CallHook full( GetParam()._call, [error]( SystemCall& made ) {
            made.size = 3;
            return made.number == 1 ? 0 : error;
        } );
        expectFull( write, error );
    }
    EXPECT_EQ( _files.read( "file" ), "con" );
    expectFull( GetParam()._open( OsFilePath( "/dev/full" ) ), ENOSPC );
}

TEST_P( OsFileReading, OffsetsUpToTheLastOneAreBehindTheEnd ) {
    _files.write( "file", "content" );
    const Transfer read = open();
    char buffer[100];
    // A volume may know no offset as high as that; a position is refused then.
    for( const long long at : { 0xfffffffffffLL, LAST_OFFSET - 50, LAST_OFFSET } ) {
        try {
            EXPECT_EQ( read( buffer, at, sizeof( buffer ) ), 0U ) << at;
        } catch( const ExSysErrorWindows& refusal ) {
            EXPECT_THAT( refusal.getReason(), HasSubstr( "::performSeek '/" ) );
        }
    }
}

TEST_P( OsFileWriting, WritesNothingWhenThatWouldGoBeyondTheLastOffset ) {
    const Transfer write = open();
    std::string content( 100, 'x' );
    for( const long long at : { LAST_OFFSET - 50, LAST_OFFSET } ) {
        EXPECT_ANY_THROW( write( content.data(), at, content.size() ) );
    }
    EXPECT_EQ( fs::file_size( _files.at( "file" ) ), 0U );
}

/// Every operation that makes a reader or writer, with the location text for an empty path and for
/// a failed call.
struct Opening {
    const char* _nullPath;
    const char* _failed;
    bool _writes;
    std::function<void( const OsFilePath& path, bool truncate )> _open;
};

template <class File>
std::function<void( const OsFilePath&, bool )> opens( bool unbuffered = false ) {
    if constexpr( std::is_constructible_v<File, OsFilePath, bool> ) {
        return [=]( const OsFilePath& path, bool ) {
            File( path, unbuffered );
            File( OsFile( path ), unbuffered );
        };
    } else {
        return [=]( const OsFilePath& path, bool truncate ) {
            File( path, Permissions( 7, 3, 2 ), truncate, unbuffered );
            File( OsFile( path ), Permissions( 7, 3, 2 ), truncate, unbuffered );
        };
    }
}

const Opening openings[] = {
    { "OsFileReader::OsFileReader", "OsFileReader::performOpen", false, opens<OsFileReader>() },
    { "OsFileWriter::OsFileWriter", "OsFileWriter::performOpen", true, opens<OsFileWriter>() },
    { "OsFileAccessor::openRead", "OsFileReader::openRead", false, opens<OsMTFileReader>() },
    { "OsFileAccessor::openRead", "OsFileWriter::openReadWrite", true, opens<OsMTFileWriter>() } };

TEST( OsFileOpening, FailureTellsOperationPathAndReason ) {
    const TestFiles files;
    files.write( "locked", "content" );
    files.setMode( "locked", 0 );
    fs::create_symlink( "circle", files.at( "circle" ) );
    for( const Opening& opening : openings ) {
        SCOPED_TRACE( opening._failed );
        const auto open = [&]( const std::string& name ) {
            return reasonOf<ExSysErrorWindows>(
                [&] { opening._open( files.path( name ), true ); } );
        };
        EXPECT_THAT(
            reasonOf<OsFileEx::ExNullFilePath>( [&] { opening._open( OsFilePath(), false ); } ),
            StartsWith( opening._nullPath ) );
        const std::pair<std::string, int> cases[] = { { "none/file", ENOENT },
                                                      { "", EISDIR },
                                                      { "circle", ELOOP },
                                                      { "locked/below", ENOTDIR },
                                                      { std::string( 256, 'n' ), ENAMETOOLONG },
                                                      { std::string( "cut\0off", 7 ), ENOENT } };
        for( const auto& [name, error] : cases ) {
            EXPECT_THAT( open( name ),
                         AllOf( StartsWith( opening._failed ), HasSubstr( files.path().getChars() ),
                                HasSubstr( std::strerror( error ) ) ) );
        }
        {
            const WithoutPowers user;
            EXPECT_THAT( open( "locked" ), HasSubstr( std::strerror( EACCES ) ) );
        }
        const FailingCall exhausted( "open", EMFILE );
        EXPECT_THAT( open( "locked" ), HasSubstr( std::strerror( EMFILE ) ) );
    }
    files.setMode( "locked", 0600 );
    EXPECT_EQ( files.read( "locked" ), "content" );
    EXPECT_FALSE( files.has( "cut" ) );
}

TEST( OsFileOpening, WriterMakesKeepsOrEmptiesTheFileAsTold ) {
    const TestFiles files;
    const mode_t mask = ::umask( 022 );
    for( const Opening& opening : openings ) {
        if( opening._writes ) {
            opening._open( files.path( "new" ), false );
            EXPECT_EQ( files.mode( "new" ), 0740U );
            files.write( "new", "content" );
            opening._open( files.path( "new" ), false );
            EXPECT_EQ( files.read( "new" ), "content" );
            opening._open( files.path( "new" ), true );
            EXPECT_EQ( files.read( "new" ), "" );
            fs::remove( files.at( "new" ) );
        }
    }
    ::umask( mask );
}

TEST( OsFileOpening, ReaderKeepsTheSizeThatItSawFirst ) {
    const TestFiles files;
    files.write( "file", "12345" );
    const OsFileReader reader( files.path( "file" ), false );
    const OsMTFileReader shared( files.path( "file" ), false );
    EXPECT_EQ( reader.getSize(), 5U );
    EXPECT_EQ( shared.getSize(), 5U );
    files.write( "file", "1234567890" );
    EXPECT_EQ( reader.getSize(), 5U );
    EXPECT_EQ( shared.getSize(), 5U );
    EXPECT_EQ( shared.getPath(), files.path( "file" ) );
    EXPECT_EQ( OsFileReader( files.path( "file" ), false ).getSize(), 10U );
}

TEST( OsFileOpening, EachCallThatFailsIsToldAndLeavesNothingOpen ) {
    const TestFiles files;
    for( const bool unbuffered : { false, true } ) {
        for( const auto& open :
             { opens<OsFileReader>( unbuffered ), opens<OsFileWriter>( unbuffered ),
               opens<OsMTFileReader>( unbuffered ), opens<OsMTFileWriter>( unbuffered ) } ) {
            files.write( "file", "content" );
            bool isTold = false;
            forEachFailingCall(
                EIO,
                [&] {
                    try {
                        open( files.path( "file" ), false );
                        isTold = false;
                    } catch( const ExSysErrorWindows& ) {
                        isTold = true;
                    } catch( const ExAssertionFailed& ) {
                        isTold = true;
                    }
                },
                [&]( const FailedRun& run ) {
                    EXPECT_EQ( files.read( "file" ), "content" );
                    // A destructor can tell nobody, and what a volume can do is found out in more
                    // than one way.
                    if( run.call != nullptr && run.call == std::string( "open" ) && !unbuffered ) {
                        EXPECT_TRUE( isTold );
                    }
                } );
        }
    }
}

} // namespace
} // namespace Qv
