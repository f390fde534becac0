#include <tools/qvcomp/passes.h>

#include <tools/qvcomp/log.h>

namespace Qv::Comp {

namespace {

class BegunHint final : public ObStructureHint {
public:
    BegunHint( std::string name, std::size_t nbSteps )
        : _name( std::move( name ) )
        , _nbSteps( nbSteps ) {}
    const std::string _name;
    const std::size_t _nbSteps;
};

class StepsHint final : public ObValueHint {
public:
    explicit StepsHint( std::size_t nbSteps )
        : _nbSteps( nbSteps ) {}
    const std::size_t _nbSteps;
};

class DoneHint final : public ObStructureHint {
public:
    explicit DoneHint( PassRecord record )
        : _record( std::move( record ) ) {}
    const PassRecord _record;
};

class PassNotifier final : public ObNotifierAny {
    void notifyObserver( ObObserverAny* observer, const ObHints& hints ) override {
        PassObserver& passObserver = *static_cast<PassObserver*>( observer );
        if( const StepsHint* const steps = hints.find<StepsHint>() ) {
            passObserver.passStepped( steps->_nbSteps );
        } else if( const BegunHint* const begun = hints.find<BegunHint>() ) {
            passObserver.passBegun( begun->_name, begun->_nbSteps );
        } else if( const DoneHint* const done = hints.find<DoneHint>() ) {
            passObserver.passDone( done->_record );
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

void PassObserver::passBegun( const std::string&, std::size_t ) {}
void PassObserver::passStepped( std::size_t ) {}
void PassObserver::passDone( const PassRecord& ) {}

Passes::Passes()
    : _events( chooseEvents( _ownEvents ) )
    , _manager( OPtr<ObNotifierAny>( new PassNotifier ) ) {}

Passes::~Passes() = default;

void Passes::add( PassObserver& observer ) {
    _manager.subscribeRelation( this, &observer );
}

void Passes::begin( const std::string& name, std::size_t nbSteps ) {
    _name = name;
    _nbSteps = nbSteps;
    _begin = Clock::now();
    deliver( ObHints().add<BegunHint>( name, nbSteps ) );
}

void Passes::step( std::size_t nbSteps ) {
    deliver( ObHints().add<StepsHint>( nbSteps ) );
}

void Passes::end() {
    const double seconds = std::chrono::duration<double>( Clock::now() - _begin ).count();
    deliver( ObHints().add<DoneHint>( PassRecord{ _name, _nbSteps, seconds } ) );
}

void Passes::deliver( const ObHints& hints ) {
    _delivery.notify( this, hints );
    if( std::this_thread::get_id() == _mainThread ) {
        _events.drain();
    }
}

void PassLog::passDone( const PassRecord& record ) {
    QV_LOG( Qvcomp, Informational, "pass \"", record.name, "\": ", record.nbSteps, " steps in ",
            record.seconds, " s" );
}

} // namespace Qv::Comp
