#include <resmgt/observers/obChangeManagerImp.h>

#include <base/failure/assertions.h>
#include <base/locks/lkBarrier.h>
#include <base/trace/trace.h>
#include <resmgt/observers/src/obPass.h>
#include <resmgt/observers/src/obRelations.h>
#include <resmgt/observers/src/obWait.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <ostream>
#include <utility>

namespace Qv {

/// A change that waits for `dispatch`; without a subject it is void.
struct ObChangeManagerImp::Record {
    ObSubjectAny* subject;
    ObHints hints;
};

/// A removal under way: of a thread that waits, or one that ends with `done`.
struct ObChangeManagerImp::Removal {
    ObObserverAny* observer;
    bool isLater;
    std::function<void()> done;

    /// REQUIRES: the lock isn't held.
    static void complete( const std::list<Removal>& removals ) noexcept {
        for( const Removal& removal : removals ) {
            try {
                if( removal.done ) {
                    removal.done();
                }
            } catch( ... ) {
                Trace::printCurrentException( "the end of an observer's removal", QV_HERE );
            }
        }
    }
};

/// A pass of the calling thread, from its begin under the lock to its end without it.
class ObChangeManagerImp::PassScope {
public:
    explicit PassScope( ObChangeManagerImp& manager ) noexcept
        : _manager( manager ) {}
    PassScope( const PassScope& ) = delete;
    PassScope& operator=( const PassScope& ) = delete;
    ~PassScope() {
        if( _pass != nullptr ) {
            _manager.notificationCompleted( *_pass, _ownPass.has_value() );
        }
    }

    /// Nothing begins if the subject has no observers. REQUIRES: the lock is held, which the
    /// analysis doesn't see to be this manager's.
    void beginNoLock( const ObSubjectAny* subject ) noexcept QV_NO_THREAD_SAFETY_ANALYSIS {
        ObSlots* const slots = _manager._relations->find( subject );
        if( slots == nullptr ) {
            return;
        }
        _pass = _manager._passes->findPlace();
        if( _pass == nullptr ) {
            _pass = &_ownPass.emplace();
            _manager._passes->insert( *_pass );
        }
        _pass->begin( _manager, *slots );
    }
    /// REQUIRES: the lock isn't held.
    void callObservers( const ObHints& hints );

private:
    bool mayCall( const ObSlots::Slot& slot, std::uintptr_t found, unsigned marks );

    ObChangeManagerImp& _manager;
    ObPass* _pass = nullptr;
    std::optional<ObPass> _ownPass;
};

ObChangeManagerImp::ObChangeManagerImp( OPtr<ObNotifierAny> notifier )
    : _notifier( std::move( notifier ) )
    , _passes( std::make_unique<ObPasses>() )
    , _relations( std::make_unique<ObRelations>( *_passes ) ) {
    QV_ASSERT( !_notifier.isNull() );
}

ObChangeManagerImp::~ObChangeManagerImp() = default;

void ObChangeManagerImp::checkEntryNoLock() const {
    // Whoever holds the lock while it is set is the thread that set it, since the lock lets its
    // holder in.
    QV_ASSERT( !_isTelling );
}

template <class Call>
void ObChangeManagerImp::tellNoLock( std::exception_ptr& failure, const Call& call ) {
    _isTelling = true;
    try {
        call( *_notifier );
    } catch( ... ) {
        failure = failure ? failure : std::current_exception();
    }
    _isTelling = false;
}

bool ObChangeManagerImp::subscribeRelation( ObSubjectAny* subject, ObObserverAny* observer ) {
    QV_ASSERT( subject != 0 );
    QV_ASSERT( observer != 0 );
    const Guard guard( _lock );
    checkEntryNoLock();
    return _relations->insert( subject, observer, !isBeingRemovedNoLock( observer ) );
}

bool ObChangeManagerImp::unsubscribeRelation( ObSubjectAny* subject, ObObserverAny* observer ) {
    QV_ASSERT( subject != 0 );
    QV_ASSERT( observer != 0 );
    const Guard guard( _lock );
    checkEntryNoLock();
    const ObRelations::Erased erased = _relations->erase( subject, observer );
    if( erased == ObRelations::NONE ) {
        return false;
    }
    std::exception_ptr failure;
    if( erased == ObRelations::THE_LAST ) {
        tellNoLock( failure, [&]( ObNotifierAny& notifier ) {
            notifier.relationRemovedFromSubject( observer, subject );
        } );
    }
    tellNoLock( failure,
                [&]( ObNotifierAny& notifier ) { notifier.relationRemoved( observer, subject ); } );
    if( failure ) {
        std::rethrow_exception( failure );
    }
    return true;
}

void ObChangeManagerImp::removeSubject( ObSubjectAny* subject ) {
    QV_ASSERT( subject != 0 );
    const Guard guard( _lock );
    checkEntryNoLock();
    for( Record& record : _queue ) {
        record.subject = record.subject == subject ? nullptr : record.subject;
    }
    ObSlots* const slots = _relations->eraseSubject( subject );
    if( slots == nullptr ) {
        return;
    }
    std::exception_ptr failure;
    for( const ObSlots::Slot& slot : slots->getAll() ) {
        ObObserverAny* const observer =
            ObSlots::getObserver( slot.load( std::memory_order_relaxed ) );
        if( observer != nullptr ) {
            tellNoLock( failure, [&]( ObNotifierAny& notifier ) {
                notifier.relationRemoved( observer, subject );
            } );
        }
    }
    ObRelations::release( slots );
    if( failure ) {
        std::rethrow_exception( failure );
    }
}

void ObChangeManagerImp::notify( ObSubjectAny* subject, const ObHints& hints ) {
    QV_ASSERT( subject != 0 );
    PassScope pass( *this );
    {
        const Guard guard( _lock );
        checkEntryNoLock();
        pass.beginNoLock( subject );
    }
    pass.callObservers( hints );
}

void ObChangeManagerImp::PassScope::callObservers( const ObHints& hints ) {
    if( _pass == nullptr ) {
        return;
    }
    ObPass& pass = *_pass;
    ObNotifierAny& notifier = *_manager._notifier;
    for( const ObSlots::Slot& slot : pass.getObservers() ) {
        const std::uintptr_t found = slot.load( std::memory_order_acquire );
        const unsigned marks = pass.standAt( found );
        if( marks != 0 ) [[unlikely]] {
            if( !mayCall( slot, found, marks ) ) {
                continue;
            }
        }
        notifier.notifyObserver( ObSlots::getCalled( found ), hints );
    }
}

bool ObChangeManagerImp::PassScope::mayCall( const ObSlots::Slot& slot, std::uintptr_t found,
                                             unsigned marks ) {
    if( ( found & ObSlots::NOT_CALLED ) != 0 ) {
        return false;
    }
    while( _pass->mustReport( marks ) ) {
        _manager.observerNotified( *_pass );
        marks = _pass->standAt( found );
    }
    return slot.load( std::memory_order_relaxed ) == found;
}

void ObChangeManagerImp::observerNotified( ObPass& pass ) {
    // What runs here belongs to no observer, and may remove the one that is next.
    pass.standAt( ObPass::NOWHERE );
    std::list<Removal> completed;
    {
        const Guard guard( _lock );
        pass.reported();
        completed = observerNotifiedNoLock();
    }
    Removal::complete( completed );
}

void ObChangeManagerImp::notificationCompleted( ObPass& pass, bool isOnStack ) noexcept {
    const bool mustReport = pass.mustReport( pass.standAt( ObPass::NOWHERE ) );
    if( !mustReport && !isOnStack ) [[likely]] {
        pass.end();
        return;
    }
    std::list<Removal> completed;
    {
        const Guard guard( _lock );
        pass.end();
        if( isOnStack ) {
            _passes->erase( pass );
        }
        if( mustReport ) {
            completed = observerNotifiedNoLock();
        }
    }
    Removal::complete( completed );
}

void ObChangeManagerImp::notifyNoDispatch( ObSubjectAny* subject, const ObHints& hints ) {
    QV_ASSERT( subject != 0 );
    Record record{ subject, hints };
    const Guard guard( _lock );
    checkEntryNoLock();
    _queue.push_back( std::move( record ) );
}

void ObChangeManagerImp::dispatch() {
    {
        const Guard guard( _lock );
        checkEntryNoLock();
        if( _dispatching ) {
            return;
        }
        _dispatching = true;
    }
    try {
        while( dispatchFirst() ) {}
    } catch( ... ) {
        const Guard guard( _lock );
        dispatchCompletedNoLock();
        throw;
    }
}

bool ObChangeManagerImp::dispatchFirst() {
    // A hint's destructor is the application's: it runs without the lock.
    std::optional<Record> record;
    PassScope pass( *this );
    {
        const Guard guard( _lock );
        if( _queue.empty() ) {
            dispatchCompletedNoLock();
            return false;
        }
        record = std::move( _queue.front() );
        _queue.pop_front();
        if( record->subject != nullptr ) {
            pass.beginNoLock( record->subject );
        }
    }
    pass.callObservers( record->hints );
    return true;
}

void ObChangeManagerImp::unsubscribeObserverNoLock( ObObserverAny* observer ) noexcept {
    // All marks come first: passes may share slots.
    for( ObPass* pass = _passes->getFirst(); pass != nullptr; pass = ObPasses::getNext( pass ) ) {
        pass->askForReport();
    }
    for( ObPass* pass = _passes->getFirst(); pass != nullptr; pass = ObPasses::getNext( pass ) ) {
        if( pass->getSlots()._isDetached ) {
            pass->getSlots().strikeOut( observer );
        }
    }
    _relations->eraseObserver( observer );
}

void ObChangeManagerImp::barrierToPassesNoLock() const noexcept {
    for( const ObPass* pass = _passes->getFirst(); pass != nullptr;
         pass = ObPasses::getNext( pass ) ) {
        if( !pass->isOnThisThread() ) {
            LkBarrier::heavy();
            return;
        }
    }
}

bool ObChangeManagerImp::isBeingNotifiedNoLock( const ObObserverAny* observer ) const noexcept {
    barrierToPassesNoLock();
    bool isSeen = false;
    for( ObPass* pass = _passes->getFirst(); pass != nullptr; pass = ObPasses::getNext( pass ) ) {
        if( pass->isAt( observer ) ) {
            pass->askForReport();
            isSeen = true;
        }
    }
    if( !isSeen ) {
        return false;
    }
    // Whoever is still there now will find that it must report.
    barrierToPassesNoLock();
    isSeen = false;
    for( const ObPass* pass = _passes->getFirst(); pass != nullptr;
         pass = ObPasses::getNext( pass ) ) {
        // Each is looked at: that acquires what its last call of the observer did.
        isSeen = pass->isAt( observer ) || isSeen;
    }
    return isSeen;
}

bool ObChangeManagerImp::isBeingRemovedNoLock( const ObObserverAny* observer ) const noexcept {
    return std::any_of( _removals.begin(), _removals.end(), [observer]( const Removal& removal ) {
        return removal.observer == observer;
    } );
}

void ObChangeManagerImp::removeObserver( ObObserverAny* observer ) {
    QV_ASSERT( observer != 0 );
    // Outlives the guard: what it frees is freed without the lock.
    std::list<Removal> removal;
    const Guard guard( _lock );
    checkEntryNoLock();
    if( _passes->getFirst() == nullptr ) {
        unsubscribeObserverNoLock( observer );
        return;
    }
    const ObWait wait( *this, observer );
    removal.push_back( { observer, false, nullptr } );
    waitUntilNotifiedNoLock( removal, guard );
}

void ObChangeManagerImp::waitUntilNotifiedNoLock( std::list<Removal>& removal,
                                                  const Guard& guard ) {
    const auto own = removal.begin();
    _removals.splice( _removals.end(), removal );
    unsubscribeObserverNoLock( own->observer );
    try {
        while( isBeingNotifiedNoLock( own->observer ) ) {
            _observersNotifiedRemoved.wait( guard );
        }
    } catch( ... ) {
        removal.splice( removal.end(), _removals, own );
        throw;
    }
    // What came meanwhile.
    unsubscribeObserverNoLock( own->observer );
    removal.splice( removal.end(), _removals, own );
}

void ObChangeManagerImp::removeObserverLater( ObObserverAny* observer,
                                              std::function<void()> done ) {
    QV_ASSERT( observer != 0 );
    std::list<Removal> completed;
    completed.push_back( { observer, true, std::move( done ) } );
    {
        const Guard guard( _lock );
        checkEntryNoLock();
        unsubscribeObserverNoLock( observer );
        if( isBeingNotifiedNoLock( observer ) ) {
            _removals.splice( _removals.end(), completed );
        }
    }
    Removal::complete( completed );
}

std::list<ObChangeManagerImp::Removal> ObChangeManagerImp::observerNotifiedNoLock() {
    _observersNotifiedRemoved.broadcast();
    std::list<Removal> completed;
    for( auto removal = _removals.begin(); removal != _removals.end(); ) {
        const auto next = std::next( removal );
        if( removal->isLater && !isBeingNotifiedNoLock( removal->observer ) ) {
            unsubscribeObserverNoLock( removal->observer );
            completed.splice( completed.end(), _removals, removal );
        }
        removal = next;
    }
    return completed;
}

void ObChangeManagerImp::dump( std::ostream& stream ) const {
    std::size_t nbRelations = 0;
    std::size_t nbSubjects = 0;
    std::size_t nbQueued = 0;
    int nbPasses = 0;
    int nbNotified = 0;
    {
        const Guard guard( _lock );
        checkEntryNoLock();
        nbRelations = _relations->getNbRelations();
        nbSubjects = _relations->getNbSubjects();
        nbQueued = _queue.size();
        for( const ObPass* pass = _passes->getFirst(); pass != nullptr;
             pass = ObPasses::getNext( pass ) ) {
            ++nbPasses;
            nbNotified += pass->isNowhere() ? 0 : 1;
        }
    }
    stream << "relations " << nbRelations << ", subjects " << nbSubjects << ", queued " << nbQueued
           << ", passes " << nbPasses << ", observers being notified " << nbNotified << '\n';
}

} // namespace Qv
