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

    /// Returns when a layer has changed since the last return, which isn't before it is written.
    void waitForChange() {
        QV_LOG( Qvcomp, Informational, "waiting for layers to change" );
        while( !_hasChanged ) {
            waitForEvents();
            _events.drain();
        }
        _hasChanged = false;
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
        _hasChanged = true;
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
    bool _hasChanged = false;
};

/// Whether what is wrong may be gone once a layer is written.
bool isOfLayer( Tag tag ) {
    return tag >= Tag::LAYER_MISSING && tag <= Tag::LAYER_CHANGED;
}

void renderUnlessHalfWritten( const std::function<void()>& render ) {
    try {
        render();
    } catch( const Failure& e ) {
        if( !isOfLayer( e.getTag() ) ) {
            throw;
        }
        e.getMessage().display();
    }
}

} // namespace

void watchLayers( const std::vector<OsFilePath>& layers, double seconds,
                  const std::function<void()>& render ) {
    try {
        OsFileMonitor::createInstance( seconds, 0 );
        LayerWatch watch( layers );
        for( ;; ) {
            renderUnlessHalfWritten( render );
            watch.waitForChange();
        }
    } catch( const Failure& e ) {
        // That is how a watch ends.
        if( e.getTag() != Tag::INTERRUPTED ) {
            throw;
        }
    }
}

} // namespace Qv::Comp
