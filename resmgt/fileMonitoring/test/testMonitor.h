#pragma once

#include <base/events/evQueueEventManager.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/osal/test/testFiles.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

/// What a monitor keeps from its clients.
class OsFileMonitorHarness {
public:
    static void createExternallyControlled() {
        OsFileMonitor::createExternallyControlledInstance();
    }
    static void iterateOnce( OsFileMonitor& monitor ) { monitor.iterateOnce(); }
    static void iterateNow( OsFileMonitor& monitor ) { monitor.iterateNow(); }
    static RCStrongPtr<Vector<OsFilePath>> getFilesOfAllRequests( OsFileMonitor& monitor ) {
        return monitor.getMonitoredFilesWaitForUpdate();
    }
    static bool isInIterateAsapMode( OsFileMonitor& monitor ) {
        return monitor.isInIterateAsapMode();
    }
};

/// The monitor of a test, and the main thread's queue of events.
class TestMonitor {
public:
    using Harness = OsFileMonitorHarness;
    using Form = OsFileMonitor::Form;

    static constexpr Form EACH = OsFileMonitor::EACH_STATE;
    static constexpr Form SETTLED = OsFileMonitor::SETTLED_STATES;
    /// An interval that no test waits for.
    static constexpr double NEVER = 1e9;

    /// Makes passes by `pass` alone.
    TestMonitor() {
        Harness::createExternallyControlled();
        _monitor = OsFileMonitor::getInstance();
    }
    TestMonitor( double iterationInterval, double fileInterval ) {
        OsFileMonitor::createInstance( iterationInterval, fileInterval );
        _monitor = OsFileMonitor::getInstance();
    }
    TestMonitor( const TestMonitor& ) = delete;
    TestMonitor& operator=( const TestMonitor& ) = delete;
    ~TestMonitor() { end(); }

    /// As at the package's stop; then as at its next start.
    void end() {
        if( std::exchange( _monitor, nullptr ) != nullptr ) {
            OsFileMonitor::finalize();
            OsFileMonitor::initialize();
        }
    }
    OsFileMonitor* operator->() const { return _monitor; }
    OsFileMonitor& operator*() const { return *_monitor; }

    /// Watches the files of those names, which blanks separate.
    template <class Handler>
    void watch( const TestFiles& files, const std::string& names, Handler& handler,
                Form form = EACH ) const {
        std::istringstream all( names );
        for( std::string name; all >> name; ) {
            _monitor->addWatch( files.path( name ), &handler, form );
        }
    }
    /// A pass, whose events wait.
    void pass() { Harness::iterateNow( *_monitor ); }
    /// Delivers the events that wait; returns their number.
    int drain() { return events->drain(); }
    void passAndDrain() {
        pass();
        drain();
    }

    std::optional<EvQueueEventManager> events{ std::in_place };

private:
    OsFileMonitor* _monitor = nullptr;
};

/// A handler that keeps the events as texts: "Created a.exr".
class NotingHandler : public CbHandler<const OsFileEvent> {
public:
    using Action = std::function<void()>;

    explicit NotingHandler( Action action = nullptr )
        : _action( std::move( action ) ) {}

    void call( const OsFileEvent& event ) override {
        noted.push_back( textOf( event ) );
        if( _action ) {
            _action();
        }
    }
    std::vector<std::string> take() { return std::exchange( noted, {} ); }

    static std::string textOf( const OsFileEvent& event ) {
        const char* const kind =
            dynamic_cast<const OsFileEvent::Created*>( &event ) != nullptr   ? "Created "
            : dynamic_cast<const OsFileEvent::Deleted*>( &event ) != nullptr ? "Deleted "
            : dynamic_cast<const OsFileEvent::Changed*>( &event ) != nullptr ? "Changed "
                                                                             : "? ";
        return kind + event.getPath().getBaseName( OsFilePath::WITH_EXTENSION ).toString();
    }

    std::vector<std::string> noted;

private:
    const Action _action;
};

inline void setTime( const TestFiles& files, const std::string& name, std::int64_t seconds,
                     std::int64_t nanoseconds = 0 ) {
    const timespec times[] = { { 0, UTIME_OMIT }, { seconds, nanoseconds } };
    ASSERT_EQ( ::utimensat( AT_FDCWD, files.at( name ).c_str(), times, 0 ), 0 ) << name;
}

/// Makes entries as TestFiles does, in which "-x" removes x, "x@5" gives it the time of 5
/// nanoseconds, "x!" another mode and "x~" another owner. False if the owner isn't granted.
inline bool change( const TestFiles& files, const std::string& changes ) {
    bool isGranted = true;
    std::istringstream all( changes );
    for( std::string one; all >> one; ) {
        const std::size_t end = one.find_first_of( "@!~" );
        const std::string name = one.substr( 0, end );
        const char kind = end != std::string::npos ? one[end] : one[0];
        if( kind == '-' ) {
            fs::remove_all( files.at( one.substr( 1 ) ) );
        } else if( kind == '@' ) {
            setTime( files, name, 0, std::stol( one.substr( end + 1 ) ) );
        } else if( kind == '!' ) {
            files.setMode( name, 0 );
        } else if( kind == '~' ) {
            isGranted = ::chown( files.at( name ).c_str(), 1, 1 ) == 0;
        } else {
            files.add( one );
        }
    }
    return isGranted;
}

} // namespace Qv
