#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osProcess.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/processCounts.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <pwd.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// In the environment of a copy of this program: the name that the copy was started under.
constexpr const char* COPY_VARIABLE = "QV_TEST_COPY";

std::string firstLine( const std::filesystem::path& file ) {
    std::ifstream stream( file );
    std::string line;
    std::getline( stream, line );
    return line;
}

std::string accountOf( uid_t id ) {
    const struct passwd* const entry = ::getpwuid( id );
    return entry == nullptr ? std::to_string( id ) : entry->pw_name;
}

/// Whether `body` answers true in a process of its own.
bool holdsInChild( const std::function<bool()>& body ) {
    const pid_t child = ::fork();
    if( child == 0 ) {
        ::_exit( body() ? 0 : 1 );
    }
    int status = -1;
    ::waitpid( child, &status, 0 );
    return WIFEXITED( status ) && WEXITSTATUS( status ) == 0;
}

void expectOwnName( const std::filesystem::path& file ) {
    EXPECT_EQ( OsUtils::getModuleName(), file.filename().string() );
    if( file.string().find( '\\' ) == std::string::npos ) {
        EXPECT_EQ( OsUtils::getModulePath(), OsFilePath( file.string() ) );
    } else {
        EXPECT_THROW( OsUtils::getModulePath(), OsFileEx::ExInvalidPath );
    }
}

// Runs itself in copies of this program.
TEST( OsUtils, ModuleNameIsThatOfTheExecutableAlsoOnceItIsRemoved ) {
    if( const char* const own = std::getenv( COPY_VARIABLE ) ) {
        expectOwnName( own );
        std::filesystem::remove( own );
        expectOwnName( own );
        return;
    }
    const TempDirectory directory;
    for( const char* const name : { "a copy.exe", "a (deleted)", "a\\b", "\xFF" } ) {
        const std::filesystem::path copy = std::filesystem::canonical( directory.path() ) / name;
        std::filesystem::copy_file( "/proc/self/exe", copy );
        const ScopedEnvironment environment( COPY_VARIABLE, copy.c_str() );
        const char* const argv[] = { copy.c_str(), "--gtest_filter=OsUtils.ModuleName*",
                                     "--gtest_brief=1", nullptr };
        OsProcess process;
        process.start( argv, OsProcess::ATTACHED );
        EXPECT_TRUE( process.wait().isSuccess() ) << name;
    }
}

TEST( OsUtils, ProcessHostAndUserAreTold ) {
    EXPECT_EQ( OsUtils::getPid(), ::getpid() );
    EXPECT_EQ( OsUtils::getHostName(), firstLine( "/proc/sys/kernel/hostname" ) );
    EXPECT_EQ( OsUtils::getPidUserName(), accountOf( ::geteuid() ) );
    EXPECT_EQ( OsUtils::getUserName( true ), accountOf( ::getuid() ) );
}

TEST( OsUtils, SessionsNameComesFromTheEnvironmentAndTheAccountsDoesNot ) {
    const std::string account = OsUtils::getUserName( true );
    const ScopedEnvironment user( "USER", "second" );
    {
        const ScopedEnvironment first( "LOGNAME", "first" );
        EXPECT_EQ( OsUtils::getUserName( false ), "first" );
        EXPECT_EQ( OsUtils::getUserName( true ), account );
        EXPECT_EQ( OsUtils::getPidUserName(), accountOf( ::geteuid() ) );
    }
    const ScopedEnvironment empty( "LOGNAME", "" );
    EXPECT_EQ( OsUtils::getUserName( false ), "second" );
    const ScopedEnvironment noUser( "USER" );
    EXPECT_EQ( OsUtils::getUserName( false ), account );
}

TEST( OsUtils, AccountWithoutANameIsToldByItsNumber ) {
    for( const int noSuchEntry : { ENOENT, ESRCH } ) {
        const FailingCall unknown( "getpwuid_r", noSuchEntry );
        EXPECT_EQ( OsUtils::getUserName( true ), std::to_string( ::getuid() ) );
    }
    if( ::getuid() == 0 ) {
        EXPECT_TRUE( holdsInChild( [] {
            return ::seteuid( 54321 ) == 0 && OsUtils::getPidUserName() == "54321" &&
                   OsUtils::getUserName( true ) == accountOf( 0 );
        } ) );
    }
}

TEST( OsUtils, FailedCallsAreToldWithTheOperationUnlessTheyCanBeRepeated ) {
    struct Case {
        const char* call;
        const char* where;
        std::function<void()> operation;
    };
    const Case cases[] = {
        { "gethostname", "OsUtils::getHostName", [] { OsUtils::getHostName(); } },
        { "getpwuid_r", "OsUtils::getUserName", [] { OsUtils::getUserName( true ); } },
        { "getpwuid_r", "OsUtils::getPidUserName", [] { OsUtils::getPidUserName(); } },
        { "getifaddrs", "OsUtils::getMacAddress", [] { OsUtils::getMacAddress(); } },
        { "readlink", "OsUtils::getModulePath", [] { OsUtils::getModulePath(); } },
        { "readlink", "OsUtils::getModuleName", [] { OsUtils::getModuleName(); } },
    };
    const int nbDescriptors = countDescriptors();
    for( const Case& row : cases ) {
        const FailingCall failing( row.call, EMFILE );
        try {
            row.operation();
            ADD_FAILURE() << row.where << " found something";
        } catch( const ExSysErrorWindows& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( row.where ) );
            EXPECT_THAT( ex.getReason(), HasSubstr( "Too many open files" ) );
        }
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    for( const int error : { EINTR, ERANGE } ) {
        const FailingCall once( "getpwuid_r", error, FailingCall::ONCE );
        EXPECT_EQ( OsUtils::getUserName( true ), accountOf( ::getuid() ) );
    }
}

TEST( OsUtils, HardwareAddressIsOneOfThisMachinesAndTheMakersIfThereIsOne ) {
    std::set<std::string> byMakers;
    std::set<std::string> byPrograms;
    for( const auto& entry : std::filesystem::directory_iterator( "/sys/class/net" ) ) {
        const std::string address = firstLine( entry.path() / "address" );
        if( address.size() == 17 && address != "00:00:00:00:00:00" ) {
            const bool isMadeUp = ( std::stoi( address.substr( 0, 2 ), nullptr, 16 ) & 2 ) != 0;
            ( isMadeUp ? byPrograms : byMakers ).insert( address );
        }
    }
    const auto& expected = byMakers.empty() ? byPrograms : byMakers;
    const std::string address = OsUtils::getMacAddress();
    EXPECT_TRUE( expected.empty() ? address.empty() : expected.contains( address ) ) << address;
}

TEST( OsUtils, SleepLastsWholeSecondsThroughSignals ) {
    using std::chrono::steady_clock;
    const CallHook storm( "clock_nanosleep",
                          []( const SystemCall& call ) { return call.number <= 3 ? EINTR : 0; } );
    const auto start = steady_clock::now();
    OsUtils::sleep( 1 );
    EXPECT_GE( steady_clock::now() - start, std::chrono::seconds( 1 ) );
    EXPECT_EQ( storm.nbCalls(), 4 );
    OsUtils::sleep( 0 );
}

TEST( OsUtils, ExitOnCrashRunsNoHandlerAndFlushesNothing ) {
    EXPECT_EXIT(
        {
            std::atexit( [] { std::fputs( "handler", stderr ); } );
            static const struct Static {
                ~Static() { std::fputs( "destructor", stderr ); }
            } instance;
            std::setvbuf( stderr, nullptr, _IOFBF, 100 );
            std::fputs( "buffered", stderr );
            OsUtils::exitOnCrash();
        },
        ::testing::ExitedWithCode( 1 ),
        Not( ::testing::AnyOf( HasSubstr( "handler" ), HasSubstr( "destructor" ),
                               HasSubstr( "buffered" ) ) ) );
}

} // namespace
} // namespace Qv
