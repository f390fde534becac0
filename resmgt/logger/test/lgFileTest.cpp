#include <resmgt/logger/src/lgFile.h>
#include <resmgt/logger/src/lgFolder.h>
#include <resmgt/logger/test/loggerRun.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/profiling/hwCounter.h>

#include <tests/support/childProcess.h>
#include <tests/support/failingNew.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {

namespace {

using testing::EndsWith;
using testing::HasSubstr;

namespace fs = std::filesystem;

std::string makeLoss( std::uint64_t nbLines, int error ) {
    return "lost " + std::to_string( nbLines ) + " by " + std::to_string( error ) + "\n";
}

/// Writes lines until one isn't lost any more, at most a second after the failure's end.
void writeUntilTaken( LgFile& file ) {
    const std::uint64_t nbFailed = LgFileBuffer::getNbFailed();
    const double deadline = HwCounter::seconds() + 30.0;
    for( std::uint64_t before = nbFailed; HwCounter::seconds() < deadline; ) {
        file << "line\n" << std::flush;
        if( LgFileBuffer::getNbFailed() == before ) {
            return;
        }
        before = LgFileBuffer::getNbFailed();
        ::usleep( 1000 );
    }
    ADD_FAILURE() << "no line is taken";
}

void makeAged( const fs::path& path, std::time_t secondsOld ) {
    std::ofstream( path ) << "x";
    const timespec time{ std::time( nullptr ) - secondsOld, 0 };
    const timespec times[] = { time, time };
    ::utimensat( AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW );
}

} // namespace

TEST( LgFileTest, AFileOfADefaultNameIsNewOrOurs ) {
    const TempDirectory directory;
    const fs::path victim = directory.path() / "victim";
    const fs::path path = directory.path() / "name.log";
    const auto isOpened = [&] {
        LgFile file( path, LgFileBuffer::DEFAULT_NAME, makeLoss );
        file << "line\n" << std::flush;
        return file.good();
    };
    std::ofstream( victim ) << "victim";
    fs::create_symlink( victim, path );
    EXPECT_FALSE( isOpened() );
    fs::remove( path );
    fs::create_hard_link( victim, path );
    EXPECT_FALSE( isOpened() );
    fs::remove( path );
    fs::create_directory( path );
    EXPECT_FALSE( isOpened() );
    fs::remove( path );
    ASSERT_EQ( ::mkfifo( path.c_str(), 0600 ), 0 );
    EXPECT_FALSE( isOpened() );
    fs::remove( path );
    EXPECT_EQ( readFile( victim ), "victim" );
    EXPECT_TRUE( isOpened() && isOpened() );
    EXPECT_EQ( readFile( path ), "line\nline\n" );
    EXPECT_EQ( fs::status( path ).permissions(), fs::perms::owner_read | fs::perms::owner_write );
}

TEST( LgFileTest, AFailureIsReportedOnceAndWhatItCostIsCountedAfterwards ) {
    const TempDirectory directory;
    const fs::path path = directory.path() / "out.txt";
    LgFile file( path, LgFileBuffer::CHOSEN_NAME, makeLoss );
    file << "0123456789\n" << std::flush;
    testing::internal::CaptureStderr();
    {
        // The first line is taken in part; the report is longer than all of them.
        const CallHook hook( "write", []( SystemCall& call ) {
            call.size = call.number == 1 ? 4 : call.size;
            return call.number == 1 || call.size > 50 ? 0 : EFBIG;
        } );
        for( int i = 0; i < 3; ++i ) {
            file << "abcdefghij\n" << std::flush;
        }
    }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_THAT( report, HasSubstr( "can't be written: File too large." ) );
    EXPECT_EQ( report.find( '\n' ), report.size() - 1 );
    EXPECT_TRUE( file.good() );
    writeUntilTaken( file );
    std::istringstream text( readFile( path ) );
    std::string line;
    std::getline( text, line );
    EXPECT_EQ( line, "0123456789" );
    // The line of which a part was taken ends before the next begins.
    std::getline( text, line );
    EXPECT_EQ( line, "abcd" );
    unsigned long long nbLost = 0;
    text >> line >> nbLost;
    EXPECT_GE( nbLost, 3U );
    EXPECT_THAT( readFile( path ), EndsWith( " by " + std::to_string( EFBIG ) + "\nline\n" ) );
}

TEST( LgFileTest, APipeIsNotWaitedForAndItsReadersEndEndsNothing ) {
    const TempDirectory directory;
    const fs::path path = directory.path() / "pipe";
    ASSERT_EQ( ::mkfifo( path.c_str(), 0600 ), 0 );
    EXPECT_FALSE( LgFile( path, LgFileBuffer::CHOSEN_NAME, makeLoss ).good() );
    int reader = ::open( path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    LgFile file( path, LgFileBuffer::CHOSEN_NAME, makeLoss );
    ASSERT_TRUE( file.good() );
    ::close( reader );
    testing::internal::CaptureStderr();
    file << "lost\n" << std::flush;
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "Broken pipe" ) );
    sigset_t pending;
    ::sigpending( &pending );
    EXPECT_FALSE( ::sigismember( &pending, SIGPIPE ) );
    reader = ::open( path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    writeUntilTaken( file );
    char text[4096] = "";
    EXPECT_GT( ::read( reader, text, sizeof text - 1 ), 0 );
    EXPECT_THAT( text, testing::StartsWith( "lost " ) );
    EXPECT_THAT( text, EndsWith( "line\n" ) );
    ::close( reader );
}

TEST( LgFileTest, ALineWithoutMemoryIsCountedAndTheFileTakesTheNext ) {
    const TempDirectory directory;
    const fs::path path = directory.path() / "out.txt";
    LgFile file( path, LgFileBuffer::CHOSEN_NAME, makeLoss );
    const std::string line( 100, 'x' );
    {
        const FailingNew failing( 0 );
        file << line << '\n' << std::flush;
    }
    file << "a line\n" << std::flush;
    EXPECT_EQ( readFile( path ), "lost 1 by " + std::to_string( ENOMEM ) + "\na line\n" );
}

TEST( LgFileTest, AFileBeyondFourGigabytesGoesOnAtItsEnd ) {
    constexpr off_t SIZE = 5'000'000'000;
    const TempDirectory directory;
    const fs::path path = directory.path() / "out.txt";
    std::ofstream( path ) << "x";
    ASSERT_EQ( ::truncate( path.c_str(), SIZE ), 0 );
    LgFile file( path, LgFileBuffer::CHOSEN_NAME, makeLoss );
    file << "a line\n" << std::flush;
    std::ifstream reader( path );
    std::string end;
    reader.seekg( SIZE );
    EXPECT_TRUE( std::getline( reader, end ) );
    EXPECT_EQ( end, "a line" );
}

TEST( LgFileTest, AFileThatIsBeingRemovedIsMadeAgain ) {
    const TempDirectory directory;
    const fs::path path = directory.path() / "out.log";
    std::ofstream( path ) << "old\n";
    // Who cleans has locked it and removes it next.
    const CallHook cleaner( "flock", [&]( SystemCall& call ) {
        if( call.number == 2 ) {
            fs::remove( path );
        }
        return call.number <= 2 ? EWOULDBLOCK : 0;
    } );
    LgFile file( path, LgFileBuffer::DEFAULT_NAME, makeLoss );
    file << "a line\n" << std::flush;
    EXPECT_EQ( readFile( path ), "a line\n" );
    const int other = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
    EXPECT_NE( ::flock( other, LOCK_EX | LOCK_NB ), 0 );
    ::close( other );
}

TEST( LgFileTest, LinesOfProcessesThatShareAFileStayWhole ) {
    constexpr int NB_PROCESSES = 4;
    constexpr int NB_LINES = 200;
    const TempDirectory directory;
    const fs::path path = directory.path() / "out.txt";
    std::vector<pid_t> children;
    for( int i = 0; i < NB_PROCESSES; ++i ) {
        const pid_t child = ::fork();
        if( child == 0 ) {
            LgFile file( path, LgFileBuffer::CHOSEN_NAME, makeLoss );
            for( int n = 0; n < NB_LINES; ++n ) {
                file << std::string( 3000, static_cast<char>( 'a' + i ) ) << n << '\n'
                     << std::flush;
            }
            ::_exit( 0 );
        }
        children.push_back( child );
    }
    for( const pid_t child : children ) {
        expectSuccess( child );
    }
    std::set<std::string> lines;
    std::istringstream text( readFile( path ) );
    for( std::string line; std::getline( text, line ); ) {
        EXPECT_EQ( line.find_first_not_of( line[0] ), 3000U );
        lines.insert( line );
    }
    EXPECT_EQ( lines.size(), static_cast<std::size_t>( NB_PROCESSES * NB_LINES ) );
}

TEST( LgFolderTest, CleaningTakesTheOldestAndNothingElse ) {
    constexpr std::time_t DAY = 24 * 60 * 60;
    const TempDirectory directory;
    const auto name = [&]( int i ) { return directory.path() / ( std::to_string( i ) + ".log" ); };
    for( int i = 0; i < 250; ++i ) {
        makeAged( name( i ), i < 200 ? 100 + i : 20 * DAY + i );
    }
    const fs::path linked = directory.path() / "linked";
    std::ofstream( linked ) << "x";
    fs::create_symlink( linked, directory.path() / "link.log" );
    fs::create_directory( directory.path() / "folder.log" );
    makeAged( directory.path() / "old.txt", 100 * DAY );
    makeAged( directory.path() / ".log", 100 * DAY );
    const int locked = ::open( name( 249 ).c_str(), O_RDONLY | O_CLOEXEC );
    ASSERT_EQ( ::flock( locked, LOCK_SH ), 0 );

    LgFolder::clean( directory.path().string() );
    for( int i = 0; i < 250; ++i ) {
        EXPECT_EQ( fs::exists( name( i ) ), i < 100 || i == 249 ) << i;
    }
    for( const char* const kept : { "linked", "link.log", "folder.log", "old.txt", ".log" } ) {
        EXPECT_TRUE( fs::exists( directory.path() / kept ) ) << kept;
    }
    ::close( locked );
    LgFolder::clean( directory.path().string() );
    EXPECT_FALSE( fs::exists( name( 249 ) ) );

    makeAged( name( 0 ), 14 * DAY );
    makeAged( name( 1 ), 14 * DAY - 60 );
    LgFolder::clean( directory.path().string() );
    EXPECT_FALSE( fs::exists( name( 0 ) ) );
    EXPECT_TRUE( fs::exists( name( 1 ) ) );
    LgFolder::clean( ( directory.path() / "none" ).string() );
}

TEST( LgFolderTest, CleaningALargeFolderFromALaterDateLeavesTheNewest ) {
    const long nbFiles = scaledCount( 2'000 );
    constexpr int NB_KEPT = 100;
    const TempDirectory directory;
    const int folder = ::open( directory.path().c_str(), O_DIRECTORY | O_CLOEXEC );
    const timespec later{ std::time( nullptr ) + 24 * 60 * 60, 0 };
    const timespec times[] = { later, later };
    for( long i = 0; i < nbFiles; ++i ) {
        const std::string name = std::to_string( i ) + ".log";
        ::close( ::openat( folder, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600 ) );
        // The clock was set back behind these.
        if( i < NB_KEPT ) {
            ::utimensat( folder, name.c_str(), times, 0 );
        }
    }
    ::close( folder );
    LgFolder::clean( directory.path().string() );
    std::set<int> kept;
    for( const auto& entry : fs::directory_iterator( directory.path() ) ) {
        kept.insert( std::stoi( entry.path().filename() ) );
    }
    EXPECT_EQ( kept.size(), static_cast<std::size_t>( NB_KEPT ) );
    EXPECT_EQ( *kept.rbegin(), NB_KEPT - 1 );
}

TEST( LgFolderTest, AChosenFolderThatCannotBeListedIsTaken ) {
    const TempDirectory directory;
    const fs::path folder = directory.path() / "folder";
    fs::permissions( directory.path(), fs::perms::all );
    fs::create_directory( folder );
    fs::permissions( folder, fs::perms::all & ~( fs::perms::owner_read | fs::perms::group_read |
                                                 fs::perms::others_read ) );
    const auto make = [&] {
        // No one may read all.
        std::string problem;
        return ( ::geteuid() != 0 || ::setuid( 4321 ) == 0 ) &&
                       LgFolder::makeChosen( folder.string(), problem )
                   ? 0
                   : 1;
    };
    EXPECT_EXIT( ::_exit( make() ), testing::ExitedWithCode( 0 ), "^$" );
}

TEST( LgFolderTest, AFolderThatOthersCouldChangeIsNotTheDefault ) {
    const TempDirectory directory;
    const fs::path output = directory.path() / "output";
    const fs::path state = directory.path() / "state";
    const ScopedEnvironment variable( "XDG_STATE_HOME", state.c_str() );
    const OsFilePath stateLogs( ( state / "ombra" / "logs" ).string() );
    std::string problem;
    EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ),
               OsFilePath( ( output / "logs" ).string() ) );
    EXPECT_EQ( fs::status( output / "logs" ).permissions(), fs::perms::owner_all );

    fs::permissions( output, fs::perms::group_write, fs::perm_options::add );
    EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ), stateLogs );
    fs::permissions( output, fs::perms::sticky_bit, fs::perm_options::add );
    EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ),
               OsFilePath( ( output / "logs" ).string() ) );
    fs::permissions( output / "logs", fs::perms::others_write, fs::perm_options::add );
    EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ), stateLogs );
    fs::permissions( output / "logs", fs::perms::others_write, fs::perm_options::remove );
    for( const fs::path& strangers : { output / "logs", output } ) {
        // Who can't give a folder away is no stranger anywhere.
        if( ::chown( strangers.c_str(), 4321, 4321 ) == 0 ) {
            EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ), stateLogs );
            EXPECT_THAT( problem, HasSubstr( "belongs to another user" ) );
            ASSERT_EQ( ::chown( strangers.c_str(), ::geteuid(), ::getegid() ), 0 );
        }
    }
    fs::remove( output / "logs" );
    fs::create_directory_symlink( state, output / "logs" );
    EXPECT_EQ( LgFolder::makeDefault( output.string(), problem ), stateLogs );

    fs::remove_all( state );
    std::ofstream( state ) << "no folder";
    EXPECT_TRUE( LgFolder::makeDefault( output.string(), problem ).isEmpty() );
    EXPECT_NE( problem, "" );
    EXPECT_FALSE( LgFolder::makeChosen( state.string(), problem ) );
}

} // namespace Qv
