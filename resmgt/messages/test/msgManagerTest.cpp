#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgProtocol.h>
#include <resmgt/messages/msgServer.h>

#include <base/init/inBuildInfoUtil.h>
#include <tests/support/gate.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

// Before the packages start: this program's tests look at the log on standard output.
[[maybe_unused]] const int isLogEchoed = ::setenv( "QV_LOG_UNSPECIFIED", "%", 1 );

/// Runs `body` in a child whose standard error is a terminal, and whose standard output is
/// `output`; the terminal too when that is negative.
///
/// A forked child's log goes to standard error.
class MsgTerminalTest : public ::testing::Test {
protected:
    MsgTerminalTest() {
        EXPECT_TRUE( ::grantpt( _master ) == 0 && ::unlockpt( _master ) == 0 );
        _terminal = ::open( ::ptsname( _master ), O_RDWR | O_NOCTTY | O_CLOEXEC );
    }
    ~MsgTerminalTest() override {
        ::close( _terminal );
        ::close( _master );
    }

    void runChild( int output, int errors, const std::function<void()>& body ) const {
        std::fflush( nullptr );
        const pid_t id = ::fork();
        if( id == 0 ) {
            ::prctl( PR_SET_PDEATHSIG, SIGKILL );
            ::dup2( output, STDOUT_FILENO );
            ::dup2( errors, STDERR_FILENO );
            body();
            ::_exit( 0 );
        }
        int status = -1;
        ::waitpid( id, &status, 0 );
        EXPECT_TRUE( WIFEXITED( status ) && WEXITSTATUS( status ) == 0 ) << status;
    }

    /// All that it has shown since it was last asked; a line of the log by its group and text.
    std::string readTerminal() const {
        // Shows an end, since a terminal that is open has none.
        EXPECT_EQ( ::write( _terminal, "\x04", 1 ), 1 );
        std::string text;
        char next = 0;
        while( ::read( _master, &next, 1 ) == 1 && next != '\x04' ) {
            text += next;
        }
        return std::regex_replace( text, LOG_HEAD, "[Messages] " );
    }

    static inline const std::regex LOG_HEAD{
        R"(\d\d:\d\d:\d\d\.\d\d \[[A-Z][A-Za-z ]{13}\] \[Messages       \] )" };
    const int _master = ::posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC );
    int _terminal = -1;
    const ScopedEnvironment _beeps{ "QV_NO_MESSAGE_BEEP" };
    const ScopedEnvironment _boxes{ "QV_NO_MESSAGE_BOX" };
};

void display( const std::string& text, MsgTypes::Level level = MsgTypes::WARNING ) {
    MsgProtocol( text, level ).display();
}

TEST_F( MsgTerminalTest, ShowsBoxAndBeepWithTheTitleOfTheLevel ) {
    struct Case {
        MsgTypes::Level level;
        const char* title;
    };
    const Case cases[] = { { MsgTypes::FATAL_ERROR, "Lumenar - Fatal Error" },
                           { MsgTypes::ERROR, "Lumenar - Error" },
                           { MsgTypes::WARNING, "Lumenar - Warning" },
                           { MsgTypes::INFORMATION, "Lumenar - Information" } };
    for( const Case& c : cases ) {
        runChild( _terminal, _terminal, [&] { display( "disk full", c.level ); } );
        EXPECT_EQ( readTerminal(),
                   std::string( "[Messages] disk full\r\n\a" ) + c.title + ": disk full\r\n" );
    }
}

TEST_F( MsgTerminalTest, TextCantCommandTheTerminal ) {
    runChild( _terminal, _terminal, [] {
        display( "a\x1b[2Jb\tc\nd\re\x7f\xC2\x9B"
                 "31m\xFF\xC3\xA9" );
    } );
    const std::string text = "a?[2Jb\tc\r\nd?e??31m?\xC3\xA9\r\n";
    EXPECT_EQ( readTerminal(), "[Messages] " + text + "\aLumenar - Warning: " + text );
}

TEST_F( MsgTerminalTest, SwitchesCountAlsoWhenTheyAreEmpty ) {
    const std::string box = "Lumenar - Warning: x\r\n";
    for( const char* const value : { "", "0", "yes" } ) {
        const ScopedEnvironment noBeep( "QV_NO_MESSAGE_BEEP", value );
        runChild( _terminal, _terminal, [] { display( "x" ); } );
        EXPECT_EQ( readTerminal(), "[Messages] x\r\n" + box );
        const ScopedEnvironment noBox( "QV_NO_MESSAGE_BOX", value );
        runChild( _terminal, _terminal, [] { display( "x" ); } );
        EXPECT_EQ( readTerminal(), "[Messages] x\r\n" );
    }
    const ScopedEnvironment noBox( "QV_NO_MESSAGE_BOX", "" );
    runChild( _terminal, _terminal, [] { display( "x" ); } );
    EXPECT_EQ( readTerminal(), "[Messages] x\r\n\a" );
}

TEST_F( MsgTerminalTest, OnlyLogsWhereNobodyIsThere ) {
    const TempDirectory folder;
    const std::string path = ( folder.path() / "output" ).string();
    const int file = ::open( path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600 );
    // In a file, without anybody in front, without a terminal.
    runChild( file, _terminal, [] { display( "x", MsgTypes::FATAL_ERROR ); } );
    runChild( _terminal, _terminal, [] {
        InBuildInfoUtil::setApplicationMode( InBuildInfoUtil::BATCH );
        display( "y" );
    } );
    runChild( _terminal, file, [] { display( "z" ); } );
    std::array<char, 100> content{};
    EXPECT_GT( ::pread( file, content.data(), content.size() - 1, 0 ), 0 );
    EXPECT_THAT( content.data(), ::testing::EndsWith( "[Messages       ] z\n" ) );
    EXPECT_EQ( readTerminal(), "[Messages] x\r\n[Messages] y\r\n" );
    ::close( file );
}

TEST_F( MsgTerminalTest, MissingStreamsArentErrors ) {
    runChild( _terminal, _terminal, [] {
        ::close( STDOUT_FILENO );
        display( "disk full" );
    } );
    EXPECT_THAT( readTerminal(), ::testing::EndsWith( "\aLumenar - Warning: disk full\r\n" ) );
    runChild( _terminal, _terminal, [] {
        ::close( STDERR_FILENO );
        display( "x" );
    } );
    EXPECT_EQ( readTerminal(), "" );
}

using MsgManagerDeathTest = MsgTerminalTest;

TEST_F( MsgManagerDeathTest, LevelThatIsNoneEndsTheProcess ) {
    for( const int level : { 0, 5, -1 } ) {
        EXPECT_EXIT(
            {
                ::dup2( STDERR_FILENO, STDOUT_FILENO );
                display( "x", static_cast<MsgTypes::Level>( level ) );
            },
            ::testing::ExitedWithCode( 1 ),
            "^[0-9:.]+ \\[Internal Error\\] \\[Messages       \\] Unknown message type\\.\n$" );
    }
}

/// Notes what it is told, and waits for the others in `display`.
class MeetingManager final : public MsgManager {
public:
    void display( const char* text, MsgTypes::Level level ) override {
        {
            const std::lock_guard guard( _mutex );
            _texts.insert( std::to_string( level ) + text );
            if( _texts.size() == NB_THREADS ) {
                _allThere.open();
            }
        }
        _allThere.wait();
    }

    static constexpr std::size_t NB_THREADS = 4;
    std::mutex _mutex;
    std::set<std::string> _texts;
    Gate _allThere{ "all threads within display" };
};

TEST( MsgManagerThreadsTest, DisplayAtTheSameTimeAndBuildOneServer ) {
    MsgServer::finalize();
    auto* const manager = new MeetingManager;
    std::array<std::optional<TestThread>, MeetingManager::NB_THREADS> threads;
    std::array<MsgServer*, MeetingManager::NB_THREADS> servers{};
    Gate installed( "the manager" );
    for( std::size_t i = 0; i < threads.size(); ++i ) {
        threads[i].emplace( [&, i] {
            servers[i] = &MsgServer::getInstance();
            installed.wait();
            MsgInformation( std::string( "from %1" ) )
                .substitute( static_cast<int>( i ) )
                .display();
        } );
    }
    const OPtr<MsgManager> former(
        MsgServer::getInstance().setManager( OPtr<MsgManager>( manager ) ) );
    installed.open();
    for( auto& thread : threads ) {
        thread->join();
    }
    EXPECT_EQ( manager->_texts,
               ( std::set<std::string>{ "4from 0", "4from 1", "4from 2", "4from 3" } ) );
    EXPECT_THAT( servers, ::testing::Each( &MsgServer::getInstance() ) );
    MsgServer::finalize();
    MsgServer::initialize();
}

} // namespace
} // namespace Qv
