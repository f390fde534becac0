#include <resmgt/osal/osProcess.h>
#include <resmgt/osal/osSharedLib.h>
#include <resmgt/osal/osSharedLibEx.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <pwd.h>
#include <set>

namespace Qv {
namespace {

using ::testing::Not;

/// In the environment of a copy of this program: the name that the copy was started under.
constexpr const char* COPY_VARIABLE = "QV_TEST_COPY";

std::string firstLine( const fs::path& file ) {
    std::ifstream stream( file );
    std::string line;
    std::getline( stream, line );
    return line;
}

std::string accountOf( uid_t id ) {
    const struct passwd* const entry = ::getpwuid( id );
    return entry == nullptr ? std::to_string( id ) : entry->pw_name;
}

void expectOwnName( const fs::path& file ) {
    EXPECT_EQ( OsUtils::getModuleName(), file.filename().string() );
    if( file.string().find( '\\' ) == std::string::npos ) {
        EXPECT_EQ( OsUtils::getModulePath(), OsFilePath( file.string() ) );
    } else {
        EXPECT_THROW( OsUtils::getModulePath(), OsFileEx::ExInvalidPath );
    }
}

// Runs itself in copies of this program.
TEST( OsUtilsTest, ModuleNameIsThatOfTheExecutableAlsoOnceItIsRemoved ) {
    if( const char* const own = std::getenv( COPY_VARIABLE ) ) {
        expectOwnName( own );
        fs::remove( own );
        expectOwnName( own );
        return;
    }
    const TestFiles files;
    for( const char* const name : { "a copy.exe", "a (deleted)", "a\\b", "\xFF" } ) {
        const fs::path copy = fs::canonical( files.at( "" ) ) / name;
        fs::copy_file( "/proc/self/exe", copy );
        const ScopedEnvironment environment( COPY_VARIABLE, copy.c_str() );
        const char* const argv[] = { copy.c_str(), "--gtest_filter=OsUtilsTest.ModuleName*",
                                     "--gtest_brief=1", nullptr };
        OsProcess process;
        process.start( argv, OsProcess::ATTACHED );
        EXPECT_TRUE( process.wait().isSuccess() ) << name;
    }
}

TEST( OsUtilsTest, ProcessHostAndUserAreTold ) {
    EXPECT_EQ( OsUtils::getPid(), ::getpid() );
    EXPECT_EQ( OsUtils::getHostName(), firstLine( "/proc/sys/kernel/hostname" ) );
    const std::string account = accountOf( ::getuid() );
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

    for( const int again : { EINTR, ERANGE } ) {
        const FailingCall once( "getpwuid_r", again, FailingCall::ONCE );
        EXPECT_EQ( OsUtils::getUserName( true ), account );
    }
    for( const int noSuchEntry : { ENOENT, ESRCH, EPERM } ) {
        const FailingCall unknown( "getpwuid_r", noSuchEntry );
        EXPECT_EQ( OsUtils::getUserName( true ), std::to_string( ::getuid() ) );
    }
}

TEST( OsUtilsTest, HardwareAddressIsOneOfThisMachinesAndTheMakersIfThereIsOne ) {
    std::set<std::string> addresses[2];
    for( const auto& entry : fs::directory_iterator( "/sys/class/net" ) ) {
        const std::string address = firstLine( entry.path() / "address" );
        if( address.size() == 17 && address != "00:00:00:00:00:00" ) {
            addresses[std::stoi( address.substr( 1, 1 ), nullptr, 16 ) >> 1 & 1].insert( address );
        }
    }
    const auto& expected = addresses[addresses[0].empty() ? 1 : 0];
    const std::string address = OsUtils::getMacAddress();
    EXPECT_TRUE( expected.empty() ? address.empty() : expected.contains( address ) ) << address;
}

TEST( OsUtilsTest, SleepLastsWholeSecondsThroughSignalsAndNamesTheCallThatFails ) {
    using std::chrono::steady_clock;
    {
        const CallHook storm( "clock_nanosleep", []( const SystemCall& call ) {
            return call.number <= 3 ? EINTR : 0;
        } );
        const auto start = steady_clock::now();
        OsUtils::sleep( 1 );
        EXPECT_GE( steady_clock::now() - start, std::chrono::seconds( 1 ) );
        EXPECT_EQ( storm.nbCalls(), 4 );
    }
    const CallHook broken( "clock_nanosleep", []( const SystemCall& ) { return EINVAL; } );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [] { OsUtils::sleep( 1 ); } ),
                 HasSubstr( "clock_nanosleep" ) );
}

TEST( OsUtilsTest, ExitOnCrashRunsNoHandlerAndFlushesNothing ) {
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

class OsWorkingDirectoryTest : public ::testing::Test {
protected:
    ~OsWorkingDirectoryTest() override { fs::current_path( _former ); }

    /// Makes it too.
    OsFilePath below( const std::string& name ) const {
        fs::create_directories( _files.at( name ) );
        return fs::canonical( _files.at( name ) ).string();
    }

    const fs::path _former = fs::current_path();
    const TestFiles _files;
};

TEST_F( OsWorkingDirectoryTest, IsWhereItWasSetToAndTheGuardGoesBack ) {
    const OsFilePath start = below( "a \xFF" );
    const std::string deep( 200, 'd' );
    const OsFilePath far = below( deep + '/' + deep + '/' + deep );
    OsWorkingDirectory::set( start );
    {
        const OsWorkingDirectory::Guard guard( far );
        EXPECT_EQ( OsWorkingDirectory::get(), far );
        OsWorkingDirectory::set( ".." );
        const OsWorkingDirectory::Guard inner;
        OsWorkingDirectory::set( "/" );
        EXPECT_EQ( fs::current_path(), "/" );
    }
    EXPECT_EQ( OsWorkingDirectory::get(), start );

    OsWorkingDirectory::set( far );
    ::testing::internal::CaptureStderr();
    {
        const OsWorkingDirectory::Guard noWayBack( start );
        fs::remove( far.toString() );
    }
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "OsWorkingDirectory::set" ) );
}

TEST_F( OsWorkingDirectoryTest, WhatIsNoDirectoryIsRefusedAndNothingChanges ) {
    const OsFilePath start = below( "start" );
    OsWorkingDirectory::set( start );
    const TestFiles files( "file dangling>absent" );
    for( const OsFilePath& path :
         { OsFilePath(), OsFilePath( "C:/" ), files.path( "absent" ), files.path( "file" ),
           files.path( "file/x" ), files.path( "dangling" ),
           OsFilePath( start.toString() + '\0' + "x" ) } ) {
        EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] { OsWorkingDirectory::set( path ); } ),
                     tells( "OsWorkingDirectory::set" ) );
    }
    const FailingCall interrupted( "chdir", EINTR, FailingCall::ONCE );
    OsWorkingDirectory::set( start );
    EXPECT_EQ( OsWorkingDirectory::get(), start );
}

TEST_F( OsWorkingDirectoryTest, DirectoryThatNoPathTellsIsAnError ) {
    // As a path it would be x/y, which is there too.
    static_cast<void>( below( "x/y" ) );
    fs::create_directory( _files.at( "x\\y" ) );
    fs::current_path( _files.at( "x\\y" ) );
    EXPECT_THROW( OsWorkingDirectory::get(), OsFileEx::ExInvalidPath );
    fs::remove( _files.at( "x\\y" ) );
    EXPECT_EQ( raisedBy<Sys>( [] { OsWorkingDirectory::get(); } ),
               "OsWorkingDirectory::get: No such file or directory (error 2)" );
}

bool isLoaded( const char* name ) {
    void* const handle = ::dlopen( name, RTLD_LAZY | RTLD_NOLOAD );
    return handle != nullptr && ::dlclose( handle ) == 0;
}

std::string fileOf( const char* name ) {
    void* const handle = ::dlopen( name, RTLD_LAZY );
    struct link_map* map = nullptr;
    EXPECT_EQ( ::dlinfo( handle, RTLD_DI_LINKMAP, &map ), 0 );
    const std::string file = map->l_name;
    ::dlclose( handle );
    return file;
}

TEST( OsSharedLibTest, LibraryIsFoundAsTheSystemFindsItAndUnloadedAtTheEnd ) {
    // Belongs to the system, and to nothing that a test program is linked with.
    constexpr const char* LIBRARY = "libBrokenLocale.so.1";
    ASSERT_FALSE( isLoaded( LIBRARY ) );
    {
        OPtr<OsSharedLib> byFile = OsSharedLib::open( fileOf( LIBRARY ) );
        const OPtr<OsSharedLib> byName = OsSharedLib::open( LIBRARY );
        EXPECT_EQ( byName->getPath(), LIBRARY );
        byFile.reset();
        EXPECT_TRUE( isLoaded( LIBRARY ) );
    }
    EXPECT_FALSE( isLoaded( LIBRARY ) );
}

TEST( OsSharedLibTest, FunctionsOfAFileOfAnyNameCanBeCalled ) {
    const TestFiles files;
    const fs::path copy = files.at( std::string( "a \xFF (1)" ) + OsSharedLib::getSuffix() );
    fs::copy_file( fileOf( "libm.so.6" ), copy );
    const OPtr<OsSharedLib> lib = OsSharedLib::open( copy.string() );
    const auto floorOf = reinterpret_cast<double ( * )( double )>( lib->getFunction( "floor" ) );
    EXPECT_EQ( floorOf( 2.5 ), 2.0 );
    EXPECT_EQ( raisedBy<OsSharedLibEx::ExFunctionNotFound>( [&] { lib->getFunction( "absent" ); } ),
               "Function 'absent' not found in dynamic library '" + copy.string() + "'" );
}

TEST( OsSharedLibTest, WhatIsNoLibraryIsToldWithPathAndReason ) {
    const TestFiles files( "text.so=none" );
    const std::pair<OsFilePath, const char*> cases[] = {
        { "", "No such file" },
        { std::string( "libm.so.6\0x", 11 ), "No such file" },
        { "C:/libm.so.6", "No such file" },
        { files.path( "absent.so" ), "No such file" },
        { files.path( "text.so" ), "file too short" },
        { "text.so", "No such file" } };
    const OsWorkingDirectory::Guard working( files.path() );
    for( const auto& [path, reason] : cases ) {
        const auto open = [&path = path] { OPtr<OsSharedLib>( OsSharedLib::open( path ) ); };
        EXPECT_THAT( raisedBy<OsSharedLibEx::ExCantOpenLib>( open ),
                     tells( std::string( "Can't open dynamic library '" ) + path.getChars() + "': ",
                            reason ) );
    }
}

} // namespace
} // namespace Qv
