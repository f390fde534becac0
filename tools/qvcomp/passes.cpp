#include <tools/qvcomp/passes.h>

#include <tools/qvcomp/log.h>

namespace Qv::Comp {

namespace {

class BegunHint final : public ObStructureHint {
public:
    explicit BegunHint( std::string name )
        : _name( std::move( name ) ) {}
    const std::string _name;
};

class StepHint final : public ObValueHint {
public:
    explicit StepHint( double part )
        : _part( part ) {}
    const double _part;
};

class DoneHint final : public ObStructureHint {
public:
    explicit DoneHint( std::vector<PassRecord> records )
        : _records( std::move( records ) ) {}
    const std::vector<PassRecord> _records;
};

class PassNotifier final : public ObNotifierAny {
    void notifyObserver( ObObserverAny* observer, const ObHints& hints ) override {
        PassObserver& passObserver = *static_cast<PassObserver*>( observer );
        if( const StepHint* const step = hints.find<StepHint>() ) {
            passObserver.passStepped( step->_part );
        } else if( const BegunHint* const begun = hints.find<BegunHint>() ) {
            passObserver.passBegun( begun->_name );
        } else if( const DoneHint* const done = hints.find<DoneHint>() ) {
            passObserver.passDone( done->_records );
        }
    }
    void relationRemovedFromSubject( ObObserverAny*, ObSubjectAny* ) override {}
    void relationRemoved( ObObserverAny*, ObSubjectAny* ) override {}
};

EvQueueEventManager& chooseEvents( std::optional<EvQueueEventManager>& own ) {
    // Nothing in this program installs another kind.
    return EvEventManager::isInitialized()
               ? dynamic_cast<EvQueueEventManager&>( EvEventManager::getInstance() )
               : own.emplace();
}

} // namespace

void PassObserver::passBegun( const std::string& ) {}
void PassObserver::passStepped( double ) {}
void PassObserver::passDone( const std::vector<PassRecord>& ) {}

Passes::Passes()
    : _events( chooseEvents( _ownEvents ) )
    , _manager( OPtr<ObNotifierAny>( new PassNotifier ) ) {}

Passes::~Passes() = default;

void Passes::add( PassObserver& observer ) {
    _manager.subscribeRelation( this, &observer );
}

void Passes::begin( const std::string& name, const std::vector<std::string>& kinds ) {
    _records.clear();
    for( const std::string& kind : kinds ) {
        _records.push_back( { kind, 0, 0.0 } );
    }
    deliver( ObHints().add<BegunHint>( name ) );
}

void Passes::step( std::size_t kind, double part, double seconds ) {
    {
        const std::lock_guard guard( _lock );
        ++_records[kind].nbSteps;
        _records[kind].seconds += seconds;
    }
    deliver( ObHints().add<StepHint>( part ) );
}

void Passes::end() {
    deliver( ObHints().add<DoneHint>( _records ) );
}

void Passes::deliver( const ObHints& hints ) {
    _delivery.notify( this, hints );
    if( std::this_thread::get_id() == _mainThread ) {
        _events.drain();
    }
}

void PassLog::passDone( const std::vector<PassRecord>& records ) {
    for( const PassRecord& record : records ) {
        QV_LOG( Qvcomp, Informational, "pass \"", record.name, "\": ", record.nbSteps, " steps in ",
                record.seconds, " s" );
    }
}

} // namespace Qv::Comp
