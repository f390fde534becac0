#include <resmgt/memoryBuffers/src/mbResidents.h>

#include <algorithm>
#include <array>
#include <chrono>

namespace Qv {

namespace {

/// So many busy buffers are passed over in one search; then it waits for the oldest of them.
constexpr std::size_t MAX_BUSY = 8;

} // namespace

std::uint32_t MbResidents::getSeconds() noexcept {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::seconds>( sinceStart ).count() );
}

void MbResidents::reserve( std::size_t count ) {
    if( count > _heap.capacity() ) {
        _heap.reserve( std::max( count, 2 * _heap.capacity() ) );
    }
}

// The heap: the children of `i` are 2 i + 1 and 2 i + 2, and no child's key is before its parent's.

void MbResidents::place( std::size_t index, const Entry& entry ) noexcept {
    _heap[index] = entry;
    entry.buffer->_residence.index = static_cast<std::uint32_t>( index );
}

void MbResidents::siftUp( std::size_t index, const Entry& entry ) noexcept {
    while( index > 0 ) {
        const std::size_t parent = ( index - 1 ) / 2;
        if( _heap[parent].key <= entry.key ) {
            break;
        }
        place( index, _heap[parent] );
        index = parent;
    }
    place( index, entry );
}

void MbResidents::siftDown( std::size_t index, const Entry& entry ) noexcept {
    for( ;; ) {
        std::size_t child = 2 * index + 1;
        if( child + 1 < _heap.size() && _heap[child + 1].key < _heap[child].key ) {
            ++child;
        }
        if( child >= _heap.size() || _heap[child].key >= entry.key ) {
            break;
        }
        place( index, _heap[child] );
        index = child;
    }
    place( index, entry );
}

void MbResidents::setKey( MbBufferImp& buffer, std::uint64_t key ) noexcept {
    const std::size_t index = buffer._residence.index;
    const Entry entry{ key, &buffer };
    if( key < _heap[index].key ) {
        siftUp( index, entry );
    } else {
        siftDown( index, entry );
    }
}

void MbResidents::add( MbBufferImp& buffer ) noexcept {
    buffer._isResident = true;
    buffer._isParked = true;
    _heap.push_back( { PARKED, &buffer } );
    place( _heap.size() - 1, _heap.back() );
}

void MbResidents::remove( MbBufferImp& buffer ) noexcept {
    const std::size_t index = buffer._residence.index;
    const Entry last = _heap.back();
    _heap.pop_back();
    if( last.buffer != &buffer ) {
        place( index, last );
        siftUp( index, last );
        siftDown( last.buffer->_residence.index, last );
    }
    buffer._isResident = false;
    buffer._isParked = true;
}

void MbResidents::unpark( MbBufferImp& buffer ) noexcept {
    buffer._isParked = false;
    setKey( buffer, buffer._residence.ticket.load( std::memory_order_relaxed ) );
}

/// Whether the buffer at the heap's top has the oldest ticket; if not, its key is brought up to
/// date. The caller holds its lock.
bool MbResidents::isOldest( MbBufferImp& buffer ) noexcept {
    const std::uint64_t ticket = buffer._residence.ticket.load( std::memory_order_relaxed );
    if( ticket == MbResidence::NOT_EVICTABLE ) {
        buffer._isParked = true;
        setKey( buffer, PARKED );
        return false;
    }
    if( ticket != _heap[0].key ) {
        setKey( buffer, ticket );
        return false;
    }
    return true;
}

MbBufferImp* MbResidents::pickOldest( std::uint64_t bound ) noexcept {
    std::array<Entry, MAX_BUSY> busy;
    std::size_t nbBusy = 0;
    MbBufferImp* picked = nullptr;
    while( picked == nullptr && !_heap.empty() && _heap[0].key < bound && nbBusy < MAX_BUSY ) {
        const Entry top = _heap[0];
        const LkLockPlatform& lock = top.buffer->getLock().getImp();
        if( !lock.tryLock() ) {
            busy[nbBusy++] = top;
            // Behind all that can be picked.
            setKey( *top.buffer, PARKED - 1 );
            continue;
        }
        if( isOldest( *top.buffer ) ) {
            picked = top.buffer;
            picked->_isParked = true;
            setKey( *picked, PARKED );
        }
        lock.unlock();
    }
    for( std::size_t i = 0; i < nbBusy; ++i ) {
        setKey( *busy[i].buffer, busy[i].key );
    }
    if( picked == nullptr && nbBusy > 0 ) {
        picked = busy[0].buffer;
    }
    if( picked != nullptr ) {
        // A member has memory, and keeps its handles' pin until it has given that back.
        picked->pin();
    }
    return picked;
}

std::vector<const MbBufferImp*> MbResidents::getLargest( std::size_t count ) const {
    std::vector<const MbBufferImp*> largest( std::min( count, _heap.size() ) );
    std::vector<const MbBufferImp*> all;
    all.reserve( _heap.size() );
    for( const Entry& entry : _heap ) {
        all.push_back( entry.buffer );
    }
    std::partial_sort_copy( all.begin(), all.end(), largest.begin(), largest.end(),
                            []( const MbBufferImp* left, const MbBufferImp* right ) {
                                return left->getSize() > right->getSize();
                            } );
    return largest;
}

std::size_t MbResidents::countEvictable() const noexcept {
    return static_cast<std::size_t>(
        std::count_if( _heap.begin(), _heap.end(), []( const Entry& entry ) {
            return entry.buffer->_residence.ticket.load( std::memory_order_relaxed ) !=
                   MbResidence::NOT_EVICTABLE;
        } ) );
}

} // namespace Qv
