#include <resmgt/threadExtensions/src/mtAlarmQueue.h>

#include <utility>

namespace Qv {

void MtAlarmQueue::push( const RCShdPtr<MtAlarm>& alarm, std::int64_t due ) {
    _slots.push_back( { due, _nbPushed, alarm } );
    ++_nbPushed;
    settle( _slots.size() - 1, std::move( _slots.back() ) );
}

void MtAlarmQueue::remove( MtAlarm& alarm ) noexcept {
    const std::size_t index = std::exchange( alarm.queueIndex, MtAlarm::NOT_QUEUED );
    // It goes with this scope: the last reference may be the queue's.
    const Slot removed = std::move( _slots[index] );
    Slot last = std::move( _slots.back() );
    _slots.pop_back();
    if( index < _slots.size() ) {
        settle( index, std::move( last ) );
    }
}

void MtAlarmQueue::clear() noexcept {
    for( const Slot& slot : _slots ) {
        slot.alarm->queueIndex = MtAlarm::NOT_QUEUED;
    }
    _slots.clear();
}

void MtAlarmQueue::settle( std::size_t index, Slot slot ) noexcept {
    while( index > 0 && slot.isBefore( _slots[( index - 1 ) / 2] ) ) {
        const std::size_t parent = ( index - 1 ) / 2;
        put( index, std::move( _slots[parent] ) );
        index = parent;
    }
    for( std::size_t child = 2 * index + 1; child < _slots.size(); child = 2 * index + 1 ) {
        if( child + 1 < _slots.size() && _slots[child + 1].isBefore( _slots[child] ) ) {
            ++child;
        }
        if( !_slots[child].isBefore( slot ) ) {
            break;
        }
        put( index, std::move( _slots[child] ) );
        index = child;
    }
    put( index, std::move( slot ) );
}

void MtAlarmQueue::put( std::size_t index, Slot slot ) noexcept {
    slot.alarm->queueIndex = index;
    _slots[index] = std::move( slot );
}

} // namespace Qv
