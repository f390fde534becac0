#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/src/osUnbufferedInfo.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/testThread.h>

#include <cstdlib>
#include <limits>
#include <memory>

/// What the four readers and writers have in common, and what tells the sequential ones from the
/// positioned ones.

namespace Qv {
namespace {

using namespace OsFileTypes;

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
    std::string _where;
    std::function<Transfer( const OsFilePath& path, bool unbuffered )> _open;

    bool reads() const { return std::string( _call ).ends_with( "read" ); }
    bool isSequential() const { return *_call != 'p'; }
    std::string assertion() const {
        return std::string( reads() ? "toRead" : "toWrite" ) + " <= std::numeric_limits<" +
               ( isSequential() ? "DWORD" : " DWORD " ) + ">::max()";
    }
};

template <class File, bool READS, class... Arguments>
std::function<Transfer( const OsFilePath&, bool )> transfers( Arguments... arguments ) {
    return [=]( const OsFilePath& path, bool unbuffered ) -> Transfer {
        const auto file = std::make_shared<File>( path, arguments..., unbuffered );
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
    { "OsFileReaderRead", "read", "OsFileReader::performRead", transfers<OsFileReader, true>() },
    { "OsFileWriterRead", "read", "OsFileWriter::performRead",
      transfers<OsFileWriter, true>( mine, false ) },
    { "OsMTFileReaderRead", "pread", "OsFileReader::performRead( multi-thread )",
      transfers<OsMTFileReader, true>() },
    { "OsMTFileWriterRead", "pread", "OsFileReader::performRead( multi-thread )",
      transfers<OsMTFileWriter, true>( mine, false ) },
    { "OsFileWriterWrite", "write", "OsFileWriter::performWrite",
      transfers<OsFileWriter, false>( mine, false ) },
    { "OsMTFileWriterWrite", "pwrite", "OsFileReader::performWrite( multi-threaded )",
      transfers<OsMTFileWriter, false>( mine, false ) } };

class OsFileTransferTest : public ::testing::TestWithParam<Way> {
protected:
    Transfer open() const { return GetParam()._open( _files.path( "file" ), false ); }

    const TestFiles _files;
};
class OsFileReadingTest : public OsFileTransferTest {};
class OsFileWritingTest : public OsFileTransferTest {};

const auto byName = []( const auto& info ) { return std::string( info.param._name ); };
INSTANTIATE_TEST_SUITE_P(, OsFileTransferTest, ::testing::ValuesIn( ways ), byName );
INSTANTIATE_TEST_SUITE_P(, OsFileReadingTest, ::testing::ValuesIn( ways, ways + 4 ), byName );
INSTANTIATE_TEST_SUITE_P(, OsFileWritingTest, ::testing::ValuesIn( ways + 4, ways + 6 ), byName );

/// Text in which each place can be told from its neighbours.
std::string pattern( std::size_t size ) {
    std::string text( size, '\0' );
    for( std::size_t i = 0; i < size; ++i ) {
        text[i] = static_cast<char>( i * 167 / 13 + i / 251 );
    }
    return text;
}

using Sizes = std::vector<std::size_t>;

/// The sizes of what is asked of the system by `transfer`, whose requests fail as `fails` tells.
Sizes requestsOf( const char* call, const std::function<void()>& transfer,
                  const CallHook::Hook& fails ) {
    Sizes sizes;
    const CallHook hook( call, [&]( SystemCall& made ) {
        sizes.push_back( made.size );
        return fails( made );
    } );
    transfer();
    return sizes;
}

TEST_P( OsFileReadingTest, EndsAtTheEndOfTheFileWhereverThatIsMeanwhile ) {
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
    const Sizes requests = requestsOf(
        GetParam()._call, [&] { EXPECT_EQ( read( buffer, 0, 100 ), 6U ); },
        [&]( SystemCall& made ) {
            made.size = std::min<std::size_t>( made.size, 4 );
            if( made.number == 2 ) {
                fs::resize_file( _files.at( "file" ), 6 );
            }
            return 0;
        } );
    EXPECT_THAT( requests, ElementsAre( 100, 96, 94 ) );
}

TEST_P( OsFileTransferTest, GoesInChunksThatAreHalvedForWantOfResources ) {
    const std::string content = pattern( LARGE );
    _files.write( "file", GetParam().reads() ? content : "" );
    std::string buffer = GetParam().reads() ? std::string( LARGE, '\0' ) : content;
    const Transfer transfer = open();
    unsigned long long moved = 0;
    const auto requests = [&]( std::size_t size, const CallHook::Hook& fails ) {
        moved = 0;
        const auto move = [&] {
            raisedBy<Sys>( [&] { moved = transfer( buffer.data(), 0, size ); } );
        };
        return requestsOf( GetParam()._call, move, fails );
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
        EXPECT_EQ( moved, LARGE );
        const auto overTheLeast = [error]( SystemCall& made ) {
            return made.size > 8192 ? error : 0;
        };
        EXPECT_EQ( requests( 0x2000000 + 8192, overTheLeast ).size(), 12U + 4096U + 1U );
        EXPECT_EQ( moved, 0x2000000U + 8192U );
        EXPECT_EQ( requests( LARGE, [error]( SystemCall& ) { return error; } ), halves );
        EXPECT_EQ( moved, 0U );
        // What fits in one chunk is the last request at once, and the sequential ones' only one.
        EXPECT_EQ( requests( 0x100000, first ).size(), GetParam().isSequential() ? 1U : 2U );
        EXPECT_EQ( moved, GetParam().isSequential() ? 0U : 0x100000U );
    }
}

/// Interrupts two calls of three, and lets few bytes pass through the third.
int storm( SystemCall& made ) {
    made.size = std::min<std::size_t>( made.size, 777 );
    return made.number % 3 == 0 ? 0 : EINTR;
}

TEST_P( OsFileTransferTest, GoesOnAfterSignalsAndShortCounts ) {
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

TEST_P( OsFileTransferTest, FailureTellsOperationPathAndReasonAndLeavesTheFileOpen ) {
    _files.write( "file", "content" );
    const Transfer transfer = open();
    char buffer[] = "BUFFER";
    {
        const FailingCall failing( GetParam()._call, EIO );
        EXPECT_THAT( raisedBy<Sys>( [&] { transfer( buffer, 0, 6 ); } ),
                     tells( GetParam()._where + " '/", "/file': ", std::strerror( EIO ) ) );
    }
    EXPECT_THAT( raisedBy<Sys>( [&] { transfer( buffer, -1, 6 ); } ),
                 HasSubstr( std::strerror( EINVAL ) ) );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { transfer( buffer, 0, 0x100000000 ); } ),
                 HasSubstr( GetParam().assertion() ) );
    EXPECT_EQ( transfer( buffer, 3, 4 ), 4U );
    EXPECT_EQ( transfer( buffer, 100, 0 ), 0U );
    EXPECT_STREQ( buffer, GetParam().reads() ? "tentER" : "BUFFER" );
    EXPECT_EQ( _files.read( "file" ), GetParam().reads() ? "content" : "conBUFF" );
}

TEST_P( OsFileWritingTest, FullVolumeIsAFailureThatTellsTheReason ) {
    const auto expectFull = [&]( const Transfer& write, int error ) {
        std::string content = "content";
        const auto body = [&] { write( content.data(), 0, 7 ); };
        const bool asserts = GetParam().isSequential();
        EXPECT_THAT(
            asserts ? raisedBy<ExAssertionFailed>( body ) : raisedBy<Sys>( body ),
            tells( "", asserts ? "toWrite == 0" : GetParam()._where, std::strerror( error ) ) );
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
    expectFull( GetParam()._open( OsFilePath( "/dev/full" ), false ), ENOSPC );
}

TEST_P( OsFileReadingTest, OffsetsUpToTheLastOneAreBehindTheEnd ) {
    _files.write( "file", "content" );
    const Transfer read = open();
    char buffer[100];
    // A volume may know no offset as high as that; a position is refused then.
    for( const long long at : { 0xfffffffffffLL, LAST_OFFSET - 50, LAST_OFFSET } ) {
        try {
            EXPECT_EQ( read( buffer, at, sizeof( buffer ) ), 0U ) << at;
        } catch( const Sys& refusal ) {
            EXPECT_THAT( refusal.getReason(), HasSubstr( "::performSeek '/" ) );
        }
    }
}

TEST_P( OsFileWritingTest, WritesNothingWhenThatWouldGoBeyondTheLastOffset ) {
    const Transfer write = open();
    std::string content( 100, 'x' );
    for( const long long at : { LAST_OFFSET - 50, LAST_OFFSET } ) {
        EXPECT_ANY_THROW( write( content.data(), at, content.size() ) );
    }
    EXPECT_EQ( fs::file_size( _files.at( "file" ) ), 0U );
}

constexpr std::size_t PAGES = 0x10000;

class OsUnbufferedTest : public ::testing::Test {
protected:
    OsUnbufferedTest() { std::memset( _buffer.get(), 'x', PAGES ); }
    void SetUp() override {
        if( !_info.supported ) {
            GTEST_SKIP() << "the volume of the temporary files refuses unbuffered transfers";
        }
        ASSERT_LE( 4 * _sector, PAGES );
    }

    struct Free {
        void operator()( char* memory ) const { std::free( memory ); }
    };

    const TestFiles _files;
    const UnbufferedInfo _info = OsFile( _files.path( "file" ) ).getUnbufferedInfo();
    const std::size_t _sector = _info.sectorSize;
    const std::unique_ptr<char, Free> _buffer{
        static_cast<char*>( std::aligned_alloc( PAGES, PAGES ) ) };
};

TEST_F( OsUnbufferedTest, VolumeTellsTheSameForAllItsFilesAndIsAskedOnce ) {
    EXPECT_EQ( _sector & ( _sector - 1 ), 0U );
    EXPECT_GT( _sector, 1U );
    EXPECT_EQ( _info.clusterSize % 512, 0U );
    EXPECT_EQ( _info.maxTransferSize, 0x7fffffffU );
    _files.write( "file", "content" );
    const CallHook asked( "fstatfs", []( const SystemCall& ) { return 0; } );
    for( const char* const name : { "file", "", "none/below/it" } ) {
        EXPECT_EQ( OsFile( _files.path( name ) ).getUnbufferedInfo(), _info );
    }
    EXPECT_EQ( asked.nbCalls(), 0 );
}

TEST_F( OsUnbufferedTest, TransferThatIsOffIsRefusedBeforeTheSystemSeesIt ) {
    const std::string content( 2 * _sector, 'x' );
    _files.write( "file", content );
    const struct {
        std::size_t _buffer, _at, _size;
    } cases[] = { { 1, 0, _sector },
                  { 0, 1, _sector },
                  { 0, 0, _sector - 1 },
                  { _sector / 2, _sector / 2, _sector / 2 } };
    for( const Way& way : ways ) {
        const Transfer transfer = way._open( _files.path( "file" ), true );
        for( const auto& off : cases ) {
            const auto at = static_cast<long long>( off._at );
            const CallHook made( way._call, []( const SystemCall& ) { return 0; } );
            EXPECT_THAT( raisedBy<ExSysErrorGeneric>(
                             [&] { transfer( _buffer.get() + off._buffer, at, off._size ); } ),
                         tells( way._where + ":", "/file:",
                                "offset " + std::to_string( at ) + " and size " +
                                    std::to_string( off._size ),
                                "multiples of " + std::to_string( _sector ) ) );
            EXPECT_EQ( made.nbCalls(), 0 );
        }
    }
    EXPECT_TRUE( _files.read( "file" ) == content );
}

TEST_F( OsUnbufferedTest, FileMayEndBetweenTheMultiples ) {
    const std::string content( _sector + 10, 'y' );
    _files.write( "file", content );
    const auto end = static_cast<long long>( content.size() );
    for( const Way& way : std::vector<Way>( ways, ways + 4 ) ) {
        const Transfer read = way._open( _files.path( "file" ), true );
        EXPECT_EQ( read( _buffer.get(), 0, PAGES ), content.size() );
        EXPECT_EQ( std::string( _buffer.get(), content.size() ), content );
        EXPECT_EQ( read( _buffer.get(), end - 10, PAGES - _sector ), 10U );
        // The sequential ones stand there after they have read all.
        if( way.isSequential() ) {
            EXPECT_EQ( read( _buffer.get(), end, PAGES ), 0U );
            EXPECT_EQ( read( _buffer.get(), end + 1, PAGES ), 0U );
            EXPECT_THROW( read( _buffer.get() + 1, end, PAGES ), ExSysErrorGeneric );
        }
    }
}

TEST_F( OsUnbufferedTest, ShortCountsGoOnAtMultiples ) {
    const std::string content( 4 * _sector, 'x' );
    for( const Way& way : ways ) {
        _files.write( "file", way.reads() ? content : "" );
        const CallHook oneSector( way._call, [this]( SystemCall& made ) {
            made.size = _sector;
            return 0;
        } );
        std::memset( _buffer.get(), way.reads() ? 0 : 'x', PAGES );
        const Transfer transfer = way._open( _files.path( "file" ), true );
        EXPECT_EQ( transfer( _buffer.get(), 0, way.reads() ? PAGES : 4 * _sector ), 4 * _sector );
        EXPECT_EQ( std::string( _buffer.get(), 4 * _sector ), content );
        EXPECT_EQ( _files.read( "file" ), content );
        EXPECT_EQ( oneSector.nbCalls(), way.reads() ? 5 : 4 );
    }
    OsFileWriter( _files.path( "file" ), mine, true, true );
    EXPECT_EQ( _files.read( "file" ), "" );
}

TEST( OsUnbufferedRefusalTest, LeavesFilesAsTheyWere ) {
    const TestFiles files( "file=content" );
    const FailingCall refusal( "fcntl", EINVAL );
    // Known volumes aren't asked any more; the switch is refused all the same.
    for( const Way& way : ways ) {
        EXPECT_THROW( way._open( files.path( "file" ), true ), Sys );
    }
    EXPECT_THROW( OsFileWriter( files.path( "file" ), mine, true, true ), Sys );
    EXPECT_THAT( raisedBy<Sys>( [&] { OsMTFileWriter( files.path( "new" ), mine, true, true ); } ),
                 tells( "OsFileWriter::openReadWrite '" ) );
    EXPECT_EQ( files.read( "file" ), "content" );
    EXPECT_FALSE( files.has( "new" ) );
}

TEST( OsUnbufferedRefusalTest, VolumeWithoutThemIsToldSo ) {
    const OsFilePath path( "/proc/self/status" );
    EXPECT_EQ( OsFile( path ).getUnbufferedInfo(), UnbufferedInfo( false, 1, 1, 0x7fffffff ) );
    EXPECT_THAT( raisedBy<Sys>( [&] { OsFileReader( path, true ); } ),
                 tells( "OsFileReader::performOpen '", std::strerror( EOPNOTSUPP ) ) );
    EXPECT_GT( OsFileReader( path, false ).read( std::string( 10, 'x' ).data(), 10 ), 0U );
}

/// Makes a reader or writer of a path and one of a file.
template <class File>
void opens( const OsFilePath& path, bool truncate ) {
    if constexpr( std::is_constructible_v<File, OsFilePath, bool> ) {
        File( path, false );
        File( OsFile( path ), false );
    } else {
        File( path, Permissions( 7, 3, 2 ), truncate, false );
        File( OsFile( path ), Permissions( 7, 3, 2 ), truncate, false );
    }
}

TEST( OsFileOpeningTest, FailureTellsOperationPathAndReason ) {
    const TestFiles files( "locked=content" );
    files.setMode( "locked", 0 );
    files.link( "circle", "circle" );
    const std::pair<const char*, void ( * )( const OsFilePath&, bool )> openings[] = {
        { "OsFileReader::performOpen", opens<OsFileReader> },
        { "OsFileWriter::performOpen", opens<OsFileWriter> },
        { "OsFileReader::openRead", opens<OsMTFileReader> },
        { "OsFileWriter::openReadWrite", opens<OsMTFileWriter> } };
    for( const auto& opening : openings ) {
        const auto expectFailure = [&]( const std::string& name, int error ) {
            EXPECT_THAT( raisedBy<Sys>( [&] { opening.second( files.path( name ), true ); } ),
                         tells( opening.first, files.path().getChars(), std::strerror( error ) ) );
        };
        expectFailure( "none/file", ENOENT );
        expectFailure( "", EISDIR );
        expectFailure( "circle", ELOOP );
        expectFailure( "locked/below", ENOTDIR );
        expectFailure( std::string( 256, 'n' ), ENAMETOOLONG );
        expectFailure( std::string( "cut\0off", 7 ), ENOENT );
        {
            const WithoutPowers user;
            expectFailure( "locked", EACCES );
        }
        const FailingCall exhausted( "open", EMFILE );
        expectFailure( "locked", EMFILE );
    }
    files.setMode( "locked", 0600 );
    EXPECT_EQ( files.read( "locked" ), "content" );
    EXPECT_FALSE( files.has( "cut" ) );
}

TEST( OsFileOpeningTest, OnlyAWriterMakesOrEmptiesTheFileAndOnlyWhenTold ) {
    const mode_t mask = ::umask( 022 );
    for( const auto open : { opens<OsFileWriter>, opens<OsMTFileWriter> } ) {
        const TestFiles files;
        open( files.path( "new" ), false );
        EXPECT_EQ( files.mode( "new" ), 0740U );
        files.write( "new", "content" );
        open( files.path( "new" ), false );
        EXPECT_EQ( files.read( "new" ), "content" );
        opens<OsFileReader>( files.path( "new" ), true );
        opens<OsMTFileReader>( files.path( "new" ), true );
        EXPECT_EQ( files.read( "new" ), "content" );
        open( files.path( "new" ), true );
        EXPECT_EQ( files.read( "new" ), "" );
    }
    ::umask( mask );
}

TEST( OsFileOpeningTest, ReaderKeepsTheSizeThatItSawFirst ) {
    const TestFiles files( "file=12345" );
    const OsFileReader reader( files.path( "file" ), false );
    const OsMTFileReader shared( files.path( "file" ), false );
    EXPECT_EQ( shared.getPath(), files.path( "file" ) );
    for( const char* content : { "12345", "1234567890" } ) {
        files.write( "file", content );
        EXPECT_EQ( reader.getSize(), 5U );
        EXPECT_EQ( shared.getSize(), 5U );
    }
}

} // namespace
} // namespace Qv
