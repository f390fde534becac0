#include <resmgt/osal/osConsole.h>

#include <resmgt/osal/osUtils.h>

#include <cerrno>
#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace Qv {

namespace {

/// Hands out keys as they are pressed, unseen, instead of whole lines; until scope exit. Those that
/// interrupt a program count too: ended here, it would leave the terminal like this.
class KeyMode {
public:
    explicit KeyMode( const termios& former )
        : _former( former ) {
        termios mode = former;
        mode.c_lflag &= ~static_cast<tcflag_t>( ICANON | ECHO | ISIG );
        mode.c_cc[VMIN] = 1;
        mode.c_cc[VTIME] = 0;
        ::tcsetattr( STDIN_FILENO, TCSADRAIN, &mode );
    }
    KeyMode( const KeyMode& ) = delete;
    KeyMode& operator=( const KeyMode& ) = delete;
    ~KeyMode() { ::tcsetattr( STDIN_FILENO, TCSADRAIN, &_former ); }

private:
    const termios _former;
};

} // namespace

void OsConsole::performOpen() {
    std::printf( "Console for process # %lu.\n", static_cast<unsigned long>( OsUtils::getPid() ) );
    std::fputs( "Closing this console will terminate your application.\n\n", stdout );
    std::fflush( stdout );
}

void OsConsole::performWaitForKey() {
    termios former{};
    // A terminal of which this isn't the foreground job would stop the process.
    if( ::tcgetattr( STDIN_FILENO, &former ) != 0 || ::tcgetpgrp( STDIN_FILENO ) != ::getpgrp() ) {
        return;
    }
    const KeyMode mode( former );
    char key = 0;
    while( ::read( STDIN_FILENO, &key, 1 ) < 0 && errno == EINTR ) {}
}

} // namespace Qv
