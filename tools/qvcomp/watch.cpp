#include <tools/qvcomp/watch.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/log.h>

#include <base/callbacks/cbMethod.h>
#include <base/events/evQueueEventManager.h>
#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/osal/osFileProbe.h>
#include <resmgt/osal/osWakeUp.h>

#include <cerrno>
#include <optional>
#include <utility>

#include <poll.h>

namespace Qv::Comp {

namespace {

/// A signal may reach another thread than the one that waits, and wakes nobody then.
constexpr int SIGNAL_LATENCY_MS = 100;

/// What is known of the layers, from its making on.
class LayerWatch {
public:
    // Once the first constructor is done, what the rest raises goes through the destructor.
    explicit LayerWatch( const std::vector<OsFilePath>& layers )
        : LayerWatch() {
        for( const OsFilePath& layer : layers ) {
            watch( layer );
        }
    }
    LayerWatch( const LayerWatch& ) = delete;
    LayerWatch& operator=( const LayerWatch& ) = delete;
    ~LayerWatch() {
        // Nobody posts to the queue of events any more, which ends before the monitor does.
        OsFileMonitor::getInstance()->pause();
        OsFileMonitor::getInstance()->removeAllWatches();
    }

    /// Returns the layers that have changed since the last return, once there are any, which isn't
    /// before they are written.
    std::vector<OsFilePath> waitForChange() {
        QV_LOG( Qvcomp, Informational, "waiting for layers to change" );
        while( _changedLayers.empty() ) {
            waitForEvents();
            _events.drain();
        }
        return std::exchange( _changedLayers, {} );
    }

private:
    LayerWatch() = default;

    void watch( const OsFilePath& layer ) {
        OsFileMonitor& monitor = *OsFileMonitor::getInstance();
        try {
            std::optional<OsFileInfo> seen;
            if( const auto status = OsFileProbe::find( layer ) ) {
                seen = OsFileProbe::makeInfo( layer, *status );
            }
            monitor.addWatch( layer, &_changed, OsFileMonitor::SETTLED_STATES, seen );
        } catch( const ExSysErrorWindows& ) {
            // The first look that succeeds is the one to compare with.
            monitor.addWatch( layer, &_changed, OsFileMonitor::SETTLED_STATES );
        }
    }
    void noteChange( const OsFileEvent& event ) {
        QV_LOG( Qvcomp, Informational, "layer \"", event.getPath().toString(), "\" has changed" );
        _changedLayers.push_back( event.getPath() );
    }
    void waitForEvents() {
        pollfd waited{ _wakeUp.getDescriptor(), POLLIN, 0 };
        InterruptNote::check();
        if( ::poll( &waited, 1, SIGNAL_LATENCY_MS ) < 0 && errno != EINTR ) {
            throw ExSysErrorWindows( QV_HERE, "watchLayers", "poll" );
        }
        InterruptNote::check();
        _wakeUp.drain();
    }

    OsWakeUp _wakeUp;
    EvQueueEventManager _events{ [this] { _wakeUp.wakeUp(); } };
    CbMethod<LayerWatch, const OsFileEvent> _changed{ *this, &LayerWatch::noteChange };
    std::vector<OsFilePath> _changedLayers;
};

void renderUnlessHalfWritten( const RenderLayers& render, const std::vector<OsFilePath>& changed ) {
    try {
        render( changed );
    } catch( const Failure& e ) {
        if( !isAboutLayer( e.getTag() ) && e.getTag() != Tag::FRAMES_UNMADE ) {
            throw;
        }
        e.getMessage().display();
    }
}

} // namespace

void watchLayers( const std::vector<OsFilePath>& layers, double seconds,
                  const RenderLayers& render ) {
    try {
        OsFileMonitor::createInstance( seconds, 0 );
        LayerWatch watch( layers );
        for( std::vector<OsFilePath> changed;; changed = watch.waitForChange() ) {
            renderUnlessHalfWritten( render, changed );
        }
    } catch( const Failure& e ) {
        // That is how a watch ends.
        if( e.getTag() != Tag::INTERRUPTED ) {
            throw;
        }
    }
}

} // namespace Qv::Comp
