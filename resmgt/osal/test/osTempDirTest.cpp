#include <resmgt/osal/osTempDir.h>
#include <resmgt/osal/src/osTempDirStart.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

namespace Qv {
namespace {

/// Where nothing but the test's own files is seen.
class OsTempDirectoryTest : public ::testing::Test {
protected:
    ~OsTempDirectoryTest() override { OsTempDir::setOnDemand( false ); }

    /// What the start says.
    static std::string start() {
        ::testing::internal::CaptureStderr();
        const std::string failure = raisedBy<ExSysError>( startTempDir );
        return ::testing::internal::GetCapturedStderr() + failure;
    }

    const TestFiles _files{ "tmp/ mine/ theirs/" };
    const std::string _own = "tmp/ombra-" + std::to_string( ::geteuid() );
    const ScopedEnvironment _testDir{ "QV_TEST_DIR" };
    const ScopedEnvironment _tmpDir{ "TMPDIR", _files.at( "tmp" ).c_str() };
    const ScopedEnvironment _home{ "HOME", _files.at( "home" ).c_str() };
    const ScopedEnvironment _cache{ "XDG_CACHE_HOME", _files.at( "cache" ).c_str() };
};

TEST_F( OsTempDirectoryTest, IsTheUsersAloneOrTheNextBestWithTheReason ) {
    _files.setMode( "mine", 0755 );
    const std::string usual = "tmp/ombra";
    const struct {
        const char* name;
        std::function<void( const std::string& place )> spoil;
        const char* fault;
    } cases[] = {
        { "nothing", []( const std::string& ) {}, nullptr },
        { "too open",
          [&]( const std::string& place ) {
              _files.write( place + "/" );
              _files.setMode( place, 0777 );
          },
          nullptr },
        { "file", [&]( const std::string& place ) { _files.write( place ); }, "is no directory" },
        { "dangling link", [&]( const std::string& place ) { _files.link( "nowhere", place ); },
          "is a link" },
        { "link", [&]( const std::string& place ) { _files.link( "../mine", place ); },
          "is a link" },
        { "stranger's",
          [&]( const std::string& place ) {
              _files.write( place + "/" );
              // Without the power to give away, a user sees the same in the root directory.
              if( ::chown( _files.at( place ).c_str(), 4321, 4321 ) != 0 ) {
                  _files.link( "/", place );
              }
          },
          ::geteuid() == 0 ? "belongs to another user" : "is a link" } };
    for( const auto& one : cases ) {
        for( const auto& spoilt : { std::vector{ usual }, std::vector{ usual, _own } } ) {
            SCOPED_TRACE( std::string( one.name ) + std::to_string( spoilt.size() ) );
            std::for_each( spoilt.begin(), spoilt.end(), one.spoil );
            const std::string said = start();
            const std::string place = one.fault == nullptr  ? usual
                                      : spoilt.size() == 1U ? _own
                                                            : "cache/ombra";
            EXPECT_EQ( OsFilePath::getTempDir(), _files.path( place ) );
            EXPECT_EQ( _files.mode( place ), 0700U );
            EXPECT_EQ( said.empty(), one.fault == nullptr ) << said;
            if( one.fault != nullptr ) {
                for( const std::string& name : spoilt ) {
                    EXPECT_THAT( said, HasSubstr( name + "' " + one.fault ) );
                }
                EXPECT_THAT( said,
                             HasSubstr( "go to '" + _files.path( place ).toString() + "':" ) );
            }
            for( const char* name : { "tmp", "cache" } ) {
                fs::remove_all( _files.at( name ) );
            }
            _files.write( "tmp/" );
        }
    }
    EXPECT_EQ( _files.mode( "mine" ), 0755U );
    // Each start looks anew.
    EXPECT_EQ( start(), "" );
    EXPECT_EQ( OsFilePath::getTempDir(), _files.path( usual ) );
}

TEST_F( OsTempDirectoryTest, NoPlaceAtAllIsAFailureThatNamesThemAll ) {
    const ScopedEnvironment tmpDir( "TMPDIR", _files.at( "none" ).c_str() );
    _files.write( "cache" );
    EXPECT_THAT( start(), tells( "OsFilePath::getTempDir", "There is no directory for temporary",
                                 "none/ombra' can't be made: No such file or directory",
                                 "/cache/ombra' can't be made: Not a directory" ) );
}

TEST_F( OsTempDirectoryTest, OnDemandItIsMadeForWhoAsksAndNotByTheStart ) {
    OsTempDir::setOnDemand( true );
    const auto ask = [] { OsFilePath::getTempDir(); };
    fs::remove( _files.at( "tmp" ) );
    _files.write( "cache" );
    EXPECT_EQ( start(), "" );
    for( int i = 0; i < 2; ++i ) {
        EXPECT_TRUE( OsTempDir::isToBeMade() );
        EXPECT_THAT( raisedBy<ExSysError>( ask ),
                     tells( "OsFilePath::getTempDir", "There is no" ) );
    }
    _files.write( "tmp/" );
    EXPECT_FALSE( _files.has( "tmp/ombra" ) );
    ask();
    EXPECT_EQ( _files.mode( "tmp/ombra" ), 0700U );
    EXPECT_FALSE( OsTempDir::isToBeMade() );
    const ScopedEnvironment testDir( "QV_TEST_DIR", _files.at( "test" ).c_str() );
    EXPECT_EQ( start(), "" );
    EXPECT_FALSE( _files.has( "test" ) );
    ask();
    EXPECT_TRUE( _files.has( "test" ) );
}

TEST_F( OsTempDirectoryTest, SomebodyWhoIsQuickerLeadsNowhere ) {
    const struct stat before = _files.facts( "theirs" );
    long nbCalls = 1;
    for( long number = 1; number <= nbCalls; ++number ) {
        SCOPED_TRACE( number );
        const CallHook hook( nullptr, [&]( const SystemCall& call ) {
            nbCalls = call.number;
            if( call.number == number ) {
                fs::remove( _files.at( "tmp/ombra" ) );
                _files.link( "../theirs", "tmp/ombra" );
            }
            return 0;
        } );
        start();
        EXPECT_EQ( _files.facts( "theirs" ).st_mode, before.st_mode );
        fs::remove_all( _files.at( "tmp/ombra" ) );
        fs::remove_all( _files.at( _own ) );
    }
    EXPECT_GT( nbCalls, 3 );
}

TEST_F( OsTempDirectoryTest, TheOneForTestsIsTakenAsItIs ) {
    const ScopedEnvironment testDir( "QV_TEST_DIR", _files.at( "test" ).c_str() );
    const mode_t former = ::umask( 022 );
    EXPECT_EQ( start(), "" );
    EXPECT_EQ( _files.mode( "test" ), 0755U );
    _files.setMode( "test", 01777 & 0777U );
    EXPECT_EQ( start(), "" );
    EXPECT_EQ( _files.mode( "test" ), 0777U );
    ::umask( former );
    EXPECT_EQ( OsFilePath::getTempDir(), _files.path( "test" ) );
    for( const char* wrong : { "file", "lost" } ) {
        _files.write( "file" );
        if( !_files.has( "lost" ) ) {
            _files.link( "nothing", "lost" );
        }
        const ScopedEnvironment noDirectory( "QV_TEST_DIR", _files.at( wrong ).c_str() );
        EXPECT_THAT( start(), tells( "OsDirectory::performCreate", wrong, "File exists" ) );
    }
    EXPECT_FALSE( _files.has( "tmp/ombra" ) );
}

} // namespace
} // namespace Qv
