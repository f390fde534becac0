#include <resmgt/observers/src/obRelations.h>

#include <resmgt/observers/src/obPass.h>

#include <algorithm>
#include <utility>

namespace Qv {

namespace {

constexpr std::size_t SMALLEST_CAPACITY = 4;

} // namespace

ObSlots::ObSlots( std::size_t capacity )
    : _capacity( capacity )
    , _slots( std::make_unique<Slot[]>( capacity ) )
    , _relations( std::make_unique<ObRelation*[]>( capacity ) ) {}

void ObSlots::append( ObRelation& relation, bool isCalled ) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>( relation.observer );
    _slots[_size].store( isCalled ? address : address | NOT_CALLED, std::memory_order_relaxed );
    _nbNotCalled += isCalled ? 0 : 1;
    _relations[_size] = &relation;
    relation.index = _size++;
}

void ObSlots::strikeOut( std::size_t index ) noexcept {
    const std::uintptr_t former = _slots[index].load( std::memory_order_relaxed );
    _nbNotCalled += ( former & NOT_CALLED ) != 0 ? 0 : 1;
    _slots[index].store( NOT_CALLED, std::memory_order_release );
    _relations[index] = nullptr;
}

void ObSlots::strikeOut( const ObObserverAny* observer ) noexcept {
    for( std::size_t index = 0; index < _size; ++index ) {
        if( getObserver( _slots[index].load( std::memory_order_relaxed ) ) == observer ) {
            strikeOut( index );
        }
    }
}

void ObSlots::compact() noexcept {
    const std::size_t formerSize = std::exchange( _size, 0 );
    _nbNotCalled = 0;
    for( std::size_t index = 0; index < formerSize; ++index ) {
        if( ObRelation* const relation = _relations[index] ) {
            const std::uintptr_t slot = _slots[index].load( std::memory_order_relaxed );
            append( *relation, ( slot & NOT_CALLED ) == 0 );
        }
    }
}

void ObSlots::moveTo( ObSlots& target ) noexcept {
    for( std::size_t index = 0; index < _size; ++index ) {
        if( ObRelation* const relation = _relations[index] ) {
            const std::uintptr_t slot = _slots[index].load( std::memory_order_relaxed );
            target.append( *relation, ( slot & NOT_CALLED ) == 0 );
        }
    }
}

std::size_t ObRelations::KeyHash::operator()( const Key& key ) const noexcept {
    // Addresses have few bits that differ; an odd factor spreads those of the first over all.
    return reinterpret_cast<std::uintptr_t>( key.subject ) * 0x9E3779B97F4A7C15u +
           reinterpret_cast<std::uintptr_t>( key.observer );
}

ObRelations::~ObRelations() {
    for( const auto& [address, subject] : _subjects ) {
        release( subject.slots );
    }
}

void ObRelations::release( ObSlots* slots ) noexcept {
    if( --slots->_nbUsers == 0 ) {
        delete slots;
    }
}

void ObRelations::detach( ObSlots* slots ) noexcept {
    slots->_isDetached = true;
    release( slots );
    _passes.reap();
}

bool ObRelations::isInUse( const ObSlots& slots ) noexcept {
    if( slots.isInUse() ) {
        _passes.reap();
    }
    return slots.isInUse();
}

ObSlots* ObRelations::find( const ObSubjectAny* subject ) noexcept {
    const auto found = _subjects.find( subject );
    if( found == _subjects.end() ) {
        return nullptr;
    }
    ObSlots* const slots = found->second.slots;
    // Here and not at each removal: the pass looks at all slots anyway.
    if( found->second.nbObservers < slots->getAll().size() && !isInUse( *slots ) ) {
        slots->compact();
    }
    return slots;
}

bool ObRelations::insert( ObSubjectAny* subject, ObObserverAny* observer, bool isCalled ) {
    const auto [relation, isNew] =
        _relations.try_emplace( { subject, observer }, ObRelation{ subject, observer } );
    if( !isNew ) {
        return false;
    }
    try {
        append( relation->second, isCalled );
    } catch( ... ) {
        _relations.erase( relation );
        throw;
    }
    return true;
}

void ObRelations::append( ObRelation& relation, bool isCalled ) {
    const auto [subject, isNew] = _subjects.try_emplace( relation.subject );
    try {
        makeRoom( subject->second, 1 );
        link( relation );
    } catch( ... ) {
        if( isNew ) {
            if( subject->second.slots != nullptr ) {
                release( subject->second.slots );
            }
            _subjects.erase( subject );
        }
        throw;
    }
    subject->second.slots->append( relation, isCalled );
    ++subject->second.nbObservers;
}

void ObRelations::makeRoom( Subject& subject, std::size_t nbMore ) {
    ObSlots* const former = subject.slots;
    if( former != nullptr && nbMore != 0 ) {
        if( !former->isFull() ) {
            return;
        }
        if( subject.nbObservers <= former->getAll().size() / 2 && !isInUse( *former ) ) {
            former->compact();
            return;
        }
    }
    subject.slots = new ObSlots( std::max( SMALLEST_CAPACITY, 2 * subject.nbObservers ) );
    if( former != nullptr ) {
        former->moveTo( *subject.slots );
        detach( former );
    }
}

void ObRelations::link( ObRelation& relation ) {
    ObRelation*& first = _observers.try_emplace( relation.observer ).first->second;
    relation.next = first;
    if( first != nullptr ) {
        first->previous = &relation;
    }
    first = &relation;
}

void ObRelations::unlink( const ObRelation& relation ) noexcept {
    if( relation.next != nullptr ) {
        relation.next->previous = relation.previous;
    }
    if( relation.previous != nullptr ) {
        relation.previous->next = relation.next;
    } else if( relation.next != nullptr ) {
        _observers.find( relation.observer )->second = relation.next;
    } else {
        _observers.erase( relation.observer );
    }
}

ObRelations::Erased ObRelations::erase( ObSubjectAny* subject, ObObserverAny* observer ) {
    const auto relation = _relations.find( { subject, observer } );
    if( relation == _relations.end() ) {
        return NONE;
    }
    const auto found = _subjects.find( subject );
    Subject& entry = found->second;
    const bool isLast = entry.nbObservers == 1;
    if( isLast ) {
        detach( entry.slots );
        _subjects.erase( found );
    } else {
        if( isInUse( *entry.slots ) ) {
            makeRoom( entry, 0 );
        }
        entry.slots->strikeOut( relation->second.index );
        --entry.nbObservers;
    }
    unlink( relation->second );
    _relations.erase( relation );
    return isLast ? THE_LAST : ONE;
}

ObSlots* ObRelations::eraseSubject( const ObSubjectAny* subject ) noexcept {
    const auto found = _subjects.find( subject );
    if( found == _subjects.end() ) {
        return nullptr;
    }
    ObSlots* const slots = found->second.slots;
    slots->_isDetached = true;
    _subjects.erase( found );
    for( const ObSlots::Slot& slot : slots->getAll() ) {
        const ObObserverAny* const observer =
            ObSlots::getObserver( slot.load( std::memory_order_relaxed ) );
        if( observer != nullptr ) {
            const auto relation = _relations.find( { subject, observer } );
            unlink( relation->second );
            _relations.erase( relation );
        }
    }
    return slots;
}

void ObRelations::eraseObserver( const ObObserverAny* observer ) noexcept {
    const auto found = _observers.find( observer );
    if( found == _observers.end() ) {
        return;
    }
    const ObRelation* relation = found->second;
    _observers.erase( found );
    while( relation != nullptr ) {
        const Key key{ relation->subject, observer };
        const auto subject = _subjects.find( relation->subject );
        subject->second.slots->strikeOut( relation->index );
        if( --subject->second.nbObservers == 0 ) {
            detach( subject->second.slots );
            _subjects.erase( subject );
        }
        relation = relation->next;
        _relations.erase( key );
    }
}

} // namespace Qv
