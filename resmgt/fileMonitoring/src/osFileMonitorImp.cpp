#include <resmgt/fileMonitoring/src/osFileMonitorImp.h>

#include <base/failure/assertions.h>
#include <base/trace/trace.h>
#include <pluginAPI/piAppThread.h>
#include <resmgt/literals/liDate.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileProbe.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadFactory.h>

#include <algorithm>
#include <exception>
#include <string>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

/// Numbers monitors, watches and registrations of the process; 0 is none.
std::uint64_t nextNumber() noexcept {
    static std::atomic<std::uint64_t> last = 0;
    return last.fetch_add( 1, std::memory_order_relaxed ) + 1;
}

} // namespace

/// A call of a handler, for which whoever removes it waits.
class OsFileMonitorImp::Run {
public:
    Run( OsFileMonitorImp& monitor, Registration& registration )
        : _monitor( monitor )
        , _registration( registration ) {
        const Guard guard( _monitor._lock );
        _isCalled = !_registration.isRemoved;
        if( _isCalled ) {
            ++_registration.nbRunning;
            ++_registration.receiver->nbRunning;
        }
    }
    Run( const Run& ) = delete;
    Run& operator=( const Run& ) = delete;
    ~Run() {
        if( !_isCalled ) {
            return;
        }
        const Guard guard( _monitor._lock );
        --_registration.nbRunning;
        --_registration.receiver->nbRunning;
        _monitor.unlinkIfUnused( *_registration.receiver );
        if( _registration.isRemoved ) {
            _monitor._handlerDone.broadcast();
        }
    }

    bool isCalled() const noexcept { return _isCalled; }

private:
    OsFileMonitorImp& _monitor;
    Registration& _registration;
    bool _isCalled = false;
};

OsFileMonitorImp::OsFileMonitorImp( double iterationInterval, double fileInterval,
                                    bool isExternallyControlled )
    : _isExternallyControlled( isExternallyControlled )
    , _iterationInterval( iterationInterval )
    , _fileInterval( fileInterval )
    , _number( nextNumber() )
    , _control( isExternallyControlled ) {
    OPtr<MtThreadProtocol> protocol(
        _protocol = new MonitorThread( _control, _number, iterationInterval, fileInterval ) );
    _thread = MtThreadFactory::getInstance().createThread( "File Monitor", protocol, false, 0 );
    _thread->start();
}

OsFileMonitorImp::~OsFileMonitorImp() {
    _thread.reset();
}

void OsFileMonitorImp::addWatch( const OsFilePath& path, Handler* handler, Form form,
                                 const Seen* seen ) {
    QV_ASSERT( handler != 0 );
    QV_ASSERT( seen == 0 || !seen->has_value() || ( *seen )->getPath() == path );
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFileMonitor::addWatch" );
    }
    const RCShdPtr<Registration> registration( new Registration );
    registration->number = nextNumber();
    registration->form = form;

    const Guard guard( _lock );
    const auto [place, isNew] = _watches.try_emplace( path );
    if( isNew ) {
        place->second.number = registration->number;
    } else if( contains( place->second, *handler, form ) ) {
        return;
    }
    try {
        place->second.registrations.push_back( registration );
        registration->receiver = receiverOf( *handler );
        ++registration->receiver->nbRegistrations;
        // The file of a watch that is there is looked at already.
        if( isNew || seen != nullptr || form != OsFileMonitor::EACH_STATE ) {
            requestWatch( *place, *registration, seen );
        }
    } catch( ... ) {
        std::erase( place->second.registrations, registration );
        if( isNew ) {
            _watches.erase( place );
        }
        if( !registration->receiver.isNull() ) {
            release( *registration );
        }
        throw;
    }
}

void OsFileMonitorImp::removeWatch( const OsFilePath& path, Handler* handler ) {
    QV_ASSERT( handler != 0 );
    const Guard guard( _lock );
    const auto place = _watches.find( path );
    if( place != _watches.end() ) {
        removeRegistrations( place, [&]( const Registration& registration ) {
            return isOf( registration, *handler );
        } );
    }
}

void OsFileMonitorImp::removeAllWatches() {
    const Guard guard( _lock );
    Registrations removed;
    for( const auto& [path, watch] : _watches ) {
        removed.insert( removed.end(), watch.registrations.begin(), watch.registrations.end() );
    }
    _protocol->push( RCShdPtr<const WatchRequest>( new RemoveAllWatchesRequest ) );
    _watches.clear();
    for( Times& times : _ignored ) {
        times.clear();
    }
    end( removed );
}

void OsFileMonitorImp::ignorePendingEvents( const OsFilePath& path ) {
    const std::optional<OsFileStatus> status = OsFileProbe::find( path );
    const OsDateTypes::DateRep time = status ? status->modificationTime : LiDate::now().getRep();
    const Guard guard( _lock );
    for( Times& times : _ignored ) {
        times.insert_or_assign( path, time );
    }
}

void OsFileMonitorImp::iterateAsap( bool waitForCompletion ) {
    QV_ASSERT( !_isExternallyControlled );
    const std::uint64_t pass = _control.requestPass();
    if( waitForCompletion ) {
        _control.waitForPass( pass );
    }
}

void OsFileMonitorImp::iterate() {
    _control.waitForPass( _control.allowPass() );
}

void OsFileMonitorImp::deliver( const FileEventRequest& request ) {
    std::exception_ptr failure;
    for( const RCShdPtr<Registration>& registration : findReceivers( request.getContent() ) ) {
        try {
            const Run run( *this, *registration );
            if( run.isCalled() ) {
                registration->receiver->dispatcher.dispatch( request.getEvent() );
            }
        } catch( ... ) {
            if( failure ) {
                Trace::printCurrentException( "a handler of OsFileMonitor", QV_HERE );
            } else {
                failure = std::current_exception();
            }
        }
    }
    removeDead( request.getContent() );
    if( failure ) {
        std::rethrow_exception( failure );
    }
}

OsFileMonitorImp::Registrations
OsFileMonitorImp::findReceivers( const FileEventRequest::Content& content ) {
    Registrations receivers;
    const Guard guard( _lock );
    const auto place = findWatch( content );
    if( place == _watches.end() || isIgnored( content ) ) {
        return receivers;
    }
    std::ranges::copy_if( place->second.registrations, std::back_inserter( receivers ),
                          [&]( const RCShdPtr<Registration>& registration ) {
                              return registration->form == content.form &&
                                     ( content.registration == 0 ||
                                       registration->number == content.registration );
                          } );
    return receivers;
}

void OsFileMonitorImp::removeDead( const FileEventRequest::Content& content ) {
    const Guard guard( _lock );
    const auto place = findWatch( content );
    if( place != _watches.end() ) {
        removeRegistrations( place, []( const Registration& registration ) {
            return registration.receiver->dispatcher.isEmpty();
        } );
    }
}

OsFileMonitorImp::Watches::iterator
OsFileMonitorImp::findWatch( const FileEventRequest::Content& content ) {
    const auto place = _watches.find( content.path );
    return place != _watches.end() && place->second.number == content.watch ? place
                                                                            : _watches.end();
}

bool OsFileMonitorImp::isIgnored( const FileEventRequest::Content& content ) {
    Times& times = _ignored[content.form];
    const auto place = times.find( content.path );
    if( place == times.end() ) {
        return false;
    }
    const int order = OsDateUtil::compare( content.time, place->second );
    switch( order ) {
    case OsDateTypes::OLDER:
        return true;
    case OsDateTypes::SAME:
        times.erase( place );
        return true;
    case OsDateTypes::NEWER:
        times.erase( place );
        return false;
    default:
        Assertions::throwProgramAborted(
            QV_HERE,
            ( "OsFsUtil::compare returned unexpected value: " + std::to_string( order ) ).c_str() );
    }
}

RCShdPtr<OsFileMonitorImp::Receiver> OsFileMonitorImp::receiverOf( Handler& handler ) {
    const auto place = _receivers.find( &handler );
    // One that has died may have had the same address.
    if( place != _receivers.end() && place->second->dispatcher.contains( handler ) ) {
        return place->second;
    }
    const RCShdPtr<Receiver> receiver( new Receiver );
    receiver->handler = &handler;
    receiver->dispatcher.add( handler );
    _receivers.insert_or_assign( &handler, receiver );
    return receiver;
}

bool OsFileMonitorImp::isOf( const Registration& registration, const Handler& handler ) {
    const Receiver& receiver = *registration.receiver;
    return receiver.handler == &handler && receiver.dispatcher.contains( handler );
}

bool OsFileMonitorImp::contains( const Watch& watch, const Handler& handler, Form form ) {
    return std::ranges::any_of( watch.registrations, [&]( const auto& registration ) {
        return registration->form == form && isOf( *registration, handler );
    } );
}

void OsFileMonitorImp::requestWatch( const Watches::value_type& watch,
                                     const Registration& registration, const Seen* seen ) {
    std::optional<AddWatchRequest::Baseline> baseline;
    if( seen != nullptr ) {
        baseline = AddWatchRequest::Baseline{ *seen, registration.number };
    }
    _protocol->push( RCShdPtr<const WatchRequest>(
        new AddWatchRequest( watch.first, watch.second.number, registration.form, baseline ) ) );
}

void OsFileMonitorImp::removeRegistrations(
    Watches::iterator place, const std::function<bool( const Registration& )>& isRemoved ) {
    Registrations& all = place->second.registrations;
    Registrations removed;
    std::ranges::copy_if( all, std::back_inserter( removed ),
                          [&]( const auto& registration ) { return isRemoved( *registration ); } );
    if( removed.size() < all.size() ) {
        std::erase_if( all,
                       [&]( const auto& registration ) { return isRemoved( *registration ); } );
    } else {
        _protocol->push( RCShdPtr<const WatchRequest>( new RemoveWatchRequest( place->first ) ) );
        for( Times& times : _ignored ) {
            times.erase( place->first );
        }
        _watches.erase( place );
    }
    end( removed );
}

void OsFileMonitorImp::end( const Registrations& removed ) {
    for( const RCShdPtr<Registration>& registration : removed ) {
        registration->isRemoved = true;
    }
    // Handlers run on the main thread alone: there it is one of them that asks.
    const bool isWaiting = !PiAppThread::isCurrent();
    for( const RCShdPtr<Registration>& registration : removed ) {
        while( isWaiting && registration->nbRunning > 0 ) {
            _handlerDone.wait( _lock );
        }
        release( *registration );
    }
}

void OsFileMonitorImp::release( Registration& registration ) {
    --registration.receiver->nbRegistrations;
    unlinkIfUnused( *registration.receiver );
}

void OsFileMonitorImp::unlinkIfUnused( Receiver& receiver ) {
    if( receiver.nbRegistrations > 0 || receiver.nbRunning > 0 ) {
        return;
    }
    if( !receiver.dispatcher.isEmpty() ) {
        receiver.dispatcher.remove( *receiver.handler );
    }
    const auto place = _receivers.find( receiver.handler );
    if( place != _receivers.end() && place->second.get() == &receiver ) {
        _receivers.erase( place );
    }
}

} // namespace Qv
