#include <resmgt/osal/osConsole.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

constexpr const char* PROMPT = "\n\nPress any key to continue";

/// What a terminal makes of line ends.
std::string shown( const std::string& text ) {
    std::string result;
    for( const char letter : text ) {
        result += letter == '\n' ? "\r\n" : std::string( 1, letter );
    }
    return result;
}

std::string readAll( int from ) {
    std::string text;
    std::array<char, 4096> buffer;
    ssize_t size = 0;
    // A terminal that nobody uses any more answers with an error.
    while( ( size = ::read( from, buffer.data(), buffer.size() ) ) > 0 ) {
        text.append( buffer.data(), static_cast<std::size_t>( size ) );
    }
    ::close( from );
    return text;
}

/// What `body` answers in a process of its own, with these as its standard input and output.
class Child {
public:
    Child( int input, int output, const std::function<int()>& body ) {
        std::fflush( nullptr );
        _id = ::fork();
        if( _id == 0 ) {
            ::prctl( PR_SET_PDEATHSIG, SIGKILL );
            ::setsid();
            ::dup2( input, STDIN_FILENO );
            ::dup2( output, STDOUT_FILENO );
            // The first terminal that a session opens is its own.
            ::ioctl( STDIN_FILENO, TIOCSCTTY, 0 );
            ::_exit( body() );
        }
        ::close( input );
        ::close( output );
    }
    int wait() const {
        int status = -1;
        ::waitpid( _id, &status, 0 );
        return WIFEXITED( status ) ? WEXITSTATUS( status ) : -status;
    }
    std::string greeting() const {
        return "Console for process # " + std::to_string( _id ) +
               ".\nClosing this console will terminate your application.\n\n";
    }

private:
    pid_t _id;
};

class OsConsoleTest : public ::testing::Test {
protected:
    OsConsoleTest() {
        EXPECT_EQ( ::grantpt( _master ), 0 );
        EXPECT_EQ( ::unlockpt( _master ), 0 );
        _terminal = ::open( ::ptsname( _master ), O_RDWR | O_NOCTTY | O_CLOEXEC );
    }

    static int openAndClose() {
        OsConsole::open();
        OsConsole::close();
        return 0;
    }

    const int _master = ::posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC );
    int _terminal = -1;
};

/// 0 if the terminal hands out whole lines, as before, and no key is left.
int lookAtTerminal() {
    termios mode{};
    ::tcgetattr( STDIN_FILENO, &mode );
    if( ( mode.c_lflag & ICANON ) == 0 || ( mode.c_lflag & ECHO ) == 0 ) {
        return 2;
    }
    mode.c_lflag &= ~static_cast<tcflag_t>( ICANON );
    ::tcsetattr( STDIN_FILENO, TCSANOW, &mode );
    pollfd input{ STDIN_FILENO, POLLIN, 0 };
    return ::poll( &input, 1, 0 ) == 0 ? 0 : 3;
}

TEST_F( OsConsoleTest, TellsWhatItIsAndTakesOneKeyAtTheEnd ) {
    const ScopedEnvironment asked( "QV_CONSOLE", "1" );
    ASSERT_EQ( ::write( _master, "k", 1 ), 1 );
    const Child child( _terminal, ::dup( _terminal ), [] {
        openAndClose();
        return lookAtTerminal();
    } );
    EXPECT_EQ( child.wait(), 0 );
    // The key came before the prompt, so the terminal showed it.
    EXPECT_EQ( readAll( _master ), "k" + shown( child.greeting() + PROMPT ) );
}

TEST_F( OsConsoleTest, AsksForNoKeyWhereNobodyCanPressOne ) {
    const ScopedEnvironment asked( "QV_CONSOLE", "1" );
    int silent[2];
    ASSERT_EQ( ::pipe2( silent, O_CLOEXEC ), 0 );
    const Child withoutTerminal( silent[0], ::dup( _terminal ), openAndClose );
    EXPECT_EQ( withoutTerminal.wait(), 0 );
    ::close( silent[1] );

    // A job in the background, which the system would stop.
    const Child session( _terminal, ::dup( _terminal ), [] {
        const pid_t job = ::fork();
        if( job == 0 ) {
            ::setpgid( 0, 0 );
            ::_exit( openAndClose() );
        }
        int status = -1;
        ::waitpid( job, &status, WUNTRACED );
        ::kill( job, SIGKILL );
        return WIFEXITED( status ) ? 0 : 1;
    } );
    EXPECT_EQ( session.wait(), 0 );
    EXPECT_THAT( readAll( _master ),
                 ::testing::StartsWith( shown( withoutTerminal.greeting() + PROMPT ) ) );
}

TEST_F( OsConsoleTest, KeepsSilentUnlessItIsAskedFor ) {
    for( const char* const value : { static_cast<const char*>( nullptr ), "", "0", "yes" } ) {
        const ScopedEnvironment unset( "QV_CONSOLE" );
        if( value != nullptr ) {
            ::setenv( "QV_CONSOLE", value, 1 );
        }
        int output[2];
        ASSERT_EQ( ::pipe2( output, O_CLOEXEC ), 0 );
        const Child child( ::dup( _terminal ), output[1], openAndClose );
        EXPECT_EQ( child.wait(), 0 );
        EXPECT_EQ( readAll( output[0] ), "" );
    }
    ::close( _terminal );
    ::close( _master );
}

} // namespace
} // namespace Qv
