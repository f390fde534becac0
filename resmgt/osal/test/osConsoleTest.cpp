#include <resmgt/osal/osConsole.h>
#include <tests/support/scopedEnvironment.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace Qv {
namespace {

constexpr const char* PROMPT = "\r\n\r\nPress any key to continue";

/// As a terminal shows it.
std::string greeting( pid_t process ) {
    return "Console for process # " + std::to_string( process ) +
           ".\r\nClosing this console will terminate your application.\r\n\r\n";
}

int openAndClose() {
    OsConsole::open();
    OsConsole::close();
    return 0;
}

/// What `body` answers in a session of its own, whose terminal is `input`, if that is one.
int runInSession( int input, int output, const std::function<int()>& body, pid_t& id ) {
    std::fflush( nullptr );
    id = ::fork();
    if( id == 0 ) {
        ::prctl( PR_SET_PDEATHSIG, SIGKILL );
        ::setsid();
        ::dup2( input, STDIN_FILENO );
        ::dup2( output, STDOUT_FILENO );
        ::ioctl( STDIN_FILENO, TIOCSCTTY, 0 );
        ::_exit( body() );
    }
    int status = -1;
    ::waitpid( id, &status, 0 );
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -status;
}

class OsConsoleTest : public ::testing::Test {
protected:
    OsConsoleTest() {
        EXPECT_TRUE( ::grantpt( _master ) == 0 && ::unlockpt( _master ) == 0 );
        _terminal = ::open( ::ptsname( _master ), O_RDWR | O_NOCTTY | O_CLOEXEC );
    }
    ~OsConsoleTest() override { ::close( _master ); }

    /// All that it has shown; ends its use.
    std::string readTerminal() {
        ::close( _terminal );
        std::string text;
        std::array<char, 4096> buffer;
        ssize_t size = 0;
        // One that nobody uses any more answers with an error.
        while( ( size = ::read( _master, buffer.data(), buffer.size() ) ) > 0 ) {
            text.append( buffer.data(), static_cast<std::size_t>( size ) );
        }
        return text;
    }

    const int _master = ::posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC );
    int _terminal = -1;
    pid_t _id = 0;
};

TEST_F( OsConsoleTest, TellsWhatItIsAndTakesOneKeyAtTheEnd ) {
    const ScopedEnvironment asked( "QV_CONSOLE", "1" );
    char shown = 0;
    // Until it is shown, the key is on its way.
    ASSERT_TRUE( ::write( _master, "k", 1 ) == 1 && ::read( _master, &shown, 1 ) == 1 );
    const auto body = [] {
        openAndClose();
        termios mode{};
        ::tcgetattr( STDIN_FILENO, &mode );
        const bool isAsBefore = ( mode.c_lflag & ICANON ) != 0 && ( mode.c_lflag & ECHO ) != 0;
        // The key would be handed out then, if it were still there.
        mode.c_lflag &= ~static_cast<tcflag_t>( ICANON );
        ::tcsetattr( STDIN_FILENO, TCSANOW, &mode );
        pollfd input{ STDIN_FILENO, POLLIN, 0 };
        return isAsBefore ? ::poll( &input, 1, 0 ) : 2;
    };
    EXPECT_EQ( runInSession( _terminal, _terminal, body, _id ), 0 );
    EXPECT_EQ( readTerminal(), greeting( _id ) + PROMPT );
}

TEST_F( OsConsoleTest, AsksForNoKeyWhereNobodyCanPressOne ) {
    const ScopedEnvironment asked( "QV_CONSOLE", "1" );
    int silent[2];
    ASSERT_EQ( ::pipe2( silent, O_CLOEXEC ), 0 );
    EXPECT_EQ( runInSession( silent[0], _terminal, openAndClose, _id ), 0 );
    ::close( silent[0] );
    ::close( silent[1] );

    EXPECT_EQ( readTerminal(), greeting( _id ) + PROMPT );
}

TEST_F( OsConsoleTest, KeepsSilentUnlessItIsAskedFor ) {
    for( const char* const value : { "", "0", "yes" } ) {
        const ScopedEnvironment environment( "QV_CONSOLE", value );
        EXPECT_EQ( runInSession( _terminal, _terminal, openAndClose, _id ), 0 );
    }
    EXPECT_EQ( readTerminal(), "" );
}

} // namespace
} // namespace Qv
