// Prints what happens to files until it is interrupted:
//
//     watchFiles [--settled] FILE...
//
// With --settled a file is reported once nobody writes it any more. Without files it shows what
// becomes of one of its own.

#include <base/callbacks/cbMethod.h>
#include <base/events/evQueueEventManager.h>
#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osWakeUp.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Options {
    Qv::OsFileMonitor::Form form = Qv::OsFileMonitor::EACH_STATE;
    std::vector<Qv::OsFilePath> files;
};

Options readOptions( int argc, const char* const* argv ) {
    Options options;
    for( int i = 1; i < argc; ++i ) {
        const std::string_view argument = argv[i];
        if( argument == "--settled" ) {
            options.form = Qv::OsFileMonitor::SETTLED_STATES;
        } else {
            options.files.emplace_back( argv[i] );
        }
    }
    return options;
}

// Reports what happens, on the main thread.
class Reporter {
public:
    Reporter() = default;
    Reporter( const Reporter& ) = delete;
    Reporter& operator=( const Reporter& ) = delete;
    // Nobody posts to the queue of events any more, and nobody calls.
    ~Reporter() {
        Qv::OsFileMonitor::getInstance()->pause();
        Qv::OsFileMonitor::getInstance()->removeAllWatches();
    }

    template <class... Seen>
    void watch( const Qv::OsFilePath& path, Qv::OsFileMonitor::Form form, const Seen&... seen ) {
        Qv::OsFileMonitor::getInstance()->addWatch( path, &_changed, form, seen... );
    }

private:
    void report( const Qv::OsFileEvent& event ) {
        const char* const what =
            dynamic_cast<const Qv::OsFileEvent::Created*>( &event ) != nullptr   ? "created"
            : dynamic_cast<const Qv::OsFileEvent::Deleted*>( &event ) != nullptr ? "deleted"
                                                                                 : "changed";
        std::printf( "%s: %s\n", what,
                     Qv::Printable::makeLine( event.getPath().toString() ).c_str() );
        std::fflush( stdout );
    }

    Qv::CbMethod<Reporter, const Qv::OsFileEvent> _changed{ *this, &Reporter::report };
};

// The main loop: sleeps until there are events, and has them reported.
void loop( Qv::EvQueueEventManager& events, Qv::OsWakeUp& wakeUp ) {
    pollfd waited[] = { { wakeUp.getDescriptor(), POLLIN, 0 } };
    while( ::poll( waited, 1, -1 ) > 0 ) {
        wakeUp.drain();
        events.drain();
    }
}

// Writes, changes and removes a file, each time with a pass of the monitor behind it.
void showOwnFile( Reporter& reporter, Qv::EvQueueEventManager& events ) {
    const Qv::OsFilePath path =
        Qv::OsFilePath::getTempDir() + ( "watchFiles" + std::to_string( ::getpid() ) );
    // It has seen that there is no file, so that the first pass can find it.
    reporter.watch( path, Qv::OsFileMonitor::EACH_STATE, std::nullopt );
    for( const char* const text : { "a", "longer" } ) {
        std::ofstream( path.getChars() ) << text;
        Qv::OsFileMonitor::getInstance()->iterateAsap( true );
        events.drain();
    }
    Qv::OsFsUtils::deleteFile( path );
    Qv::OsFileMonitor::getInstance()->iterateAsap( true );
    events.drain();
}

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    const Options options = readOptions( argc, argv );
    Qv::OsWakeUp wakeUp;
    // It is there before the monitor posts, and goes after that.
    Qv::EvQueueEventManager events( [&wakeUp] { wakeUp.wakeUp(); } );
    Qv::OsFileMonitor::createInstance( 0.5, 0 );
    Reporter reporter;
    for( const Qv::OsFilePath& file : options.files ) {
        reporter.watch( file, options.form );
    }
    if( options.files.empty() ) {
        showOwnFile( reporter, events );
    } else {
        loop( events, wakeUp );
    }
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "watchFiles: %s\n",
                      Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
