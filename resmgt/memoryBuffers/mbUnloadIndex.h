#pragma once

#include <resmgt/memoryBuffers/mbUnloadStrategy.h>

#include <bit>
#include <utility>
#include <vector>

namespace Qv {

/// Hash map from buffers to a small value, for the unload strategies: open addressing with linear
/// probing; an erased entry is closed up by moving its followers back. It allocates only when it
/// grows, and never shrinks.
template <class Value>
class MbUnloadIndex {
public:
    std::size_t getSize() const noexcept { return _nbEntries; }
    bool isEmpty() const noexcept { return _nbEntries == 0; }

    /// Makes room for one entry more, so that the next `put` can't fail.
    void reserveOne() {
        // At most half full: a probe then looks at one and a half slots on average.
        if( 2 * ( _nbEntries + 1 ) > _slots.size() ) {
            grow();
        }
    }
    /// Adds an entry, or replaces the value of the one that is there.
    /// REQUIRES: `reserveOne` since the last entry that was added.
    void put( const MbBufferImp* buffer, const Value& value ) noexcept {
        Slot& slot = _slots[locate( buffer )];
        _nbEntries += slot.buffer == nullptr ? 1 : 0;
        slot = { buffer, value };
    }
    /// Null if there is none.
    Value* find( const MbBufferImp* buffer ) noexcept {
        if( _nbEntries == 0 ) {
            return nullptr;
        }
        Slot& slot = _slots[locate( buffer )];
        return slot.buffer == nullptr ? nullptr : &slot.value;
    }
    /// REQUIRES: `value` is what `find` has answered last.
    void erase( Value* value ) noexcept {
        const std::size_t mask = _slots.size() - 1;
        std::size_t hole = indexOf( value );
        for( std::size_t i = ( hole + 1 ) & mask; _slots[i].buffer != nullptr;
             i = ( i + 1 ) & mask ) {
            // A follower may move back only as far as its own place.
            if( ( ( i - home( _slots[i].buffer ) ) & mask ) >= ( ( i - hole ) & mask ) ) {
                _slots[hole] = _slots[i];
                hole = i;
            }
        }
        _slots[hole].buffer = nullptr;
        --_nbEntries;
    }
    /// Calls `visit( buffer, value )` for each entry, in no order.
    template <class Visit>
    void forEach( Visit visit ) const {
        for( const Slot& slot : _slots ) {
            if( slot.buffer != nullptr ) {
                visit( slot.buffer, slot.value );
            }
        }
    }

private:
    struct Slot {
        const MbBufferImp* buffer = nullptr;
        Value value{};
    };

    static constexpr std::size_t FIRST_CAPACITY = 64;

    /// Neighbours in memory get neighbouring numbers; the multiplication (Knuth, The Art of
    /// Computer Programming, volume 3, 6.4) spreads them over the slots.
    std::size_t home( const MbBufferImp* buffer ) const noexcept {
        const std::uint64_t number = MbUnloadStrategy::Hash()( buffer );
        return static_cast<std::size_t>( ( number * 0x9e3779b97f4a7c15u ) >> _shift );
    }
    /// The entry's slot, or the free one where it belongs.
    std::size_t locate( const MbBufferImp* buffer ) const noexcept {
        const std::size_t mask = _slots.size() - 1;
        std::size_t i = home( buffer );
        while( _slots[i].buffer != nullptr && _slots[i].buffer != buffer ) {
            i = ( i + 1 ) & mask;
        }
        return i;
    }
    std::size_t indexOf( const Value* value ) const noexcept {
        const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>( value ) -
                                      reinterpret_cast<std::uintptr_t>( _slots.data() );
        return offset / sizeof( Slot );
    }
    void grow() {
        std::vector<Slot> former( _slots.empty() ? FIRST_CAPACITY : 2 * _slots.size() );
        former.swap( _slots );
        _shift = 64 - std::countr_zero( _slots.size() );
        _nbEntries = 0;
        for( const Slot& slot : former ) {
            if( slot.buffer != nullptr ) {
                put( slot.buffer, slot.value );
            }
        }
    }

    std::vector<Slot> _slots;
    std::size_t _nbEntries = 0;
    int _shift = 0;
};

} // namespace Qv
