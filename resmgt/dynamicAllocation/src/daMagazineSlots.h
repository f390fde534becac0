#pragma once

#include <base/locks/lkPause.h>
#include <resmgt/dynamicAllocation/src/daMagazine.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <memory>

namespace Qv {

/// A stack of magazines without a lock, from which each comes out once, whoever is stalled: a slot
/// is emptied by an exchange, and whoever finds a magazine in it has that magazine alone. A stack
/// of links would need either a tag, against heads that come back, or the removal of all at once,
/// which hides them from the others as long as the thread that removes is stalled.
///
/// `Slot` holds a pointer, and has the operations of `std::atomic`.
///
/// Threads: any; `reserve` alone excludes itself.
/// Order:   `put` releases a magazine's content, `take` acquires it. What was put last comes first,
///          roughly.
/// Cost:    a few steps. What others put and take meanwhile may cost a look at further slots.
template <class Slot>
class DaMagazineSlotsOf {
public:
    DaMagazineSlotsOf() = default;
    DaMagazineSlotsOf( const DaMagazineSlotsOf& ) = delete;
    DaMagazineSlotsOf& operator=( const DaMagazineSlotsOf& ) = delete;

    /// Makes that many slots, at least. Raises `std::bad_alloc`, and is as before then.
    void reserve( std::size_t nbSlots );
    /// REQUIRES: slots for all magazines that may be put at one time.
    void put( DaMagazine* magazine ) noexcept;
    /// Null when each slot was empty as it was looked at.
    DaMagazine* take() noexcept;

private:
    // Blocks of slots, each twice as long as the one before.
    static constexpr std::size_t FIRST_BLOCK = 16;
    static constexpr std::size_t NB_BLOCKS = 48;

    Slot& getSlot( std::size_t index ) const noexcept {
        const auto block =
            static_cast<std::size_t>( std::bit_width( index / FIRST_BLOCK + 1 ) ) - 1;
        const std::size_t nbBefore = FIRST_BLOCK * ( ( std::size_t{ 1 } << block ) - 1 );
        return _blocks[block][index - nbBefore];
    }
    bool tryPut( std::size_t index, DaMagazine* magazine ) noexcept;
    DaMagazine* tryTake( std::size_t index ) noexcept;

    std::unique_ptr<Slot[]> _blocks[NB_BLOCKS];
    // Release: whoever sees the number sees the blocks.
    std::atomic<std::size_t> _nbSlots{ 0 };
    // At least as many as there are magazines in slots, so that 0 spares the search. Relaxed, as
    // the next is: a late value costs a look, or a chunk as if `take` had come a moment earlier.
    std::atomic<std::size_t> _nbHeld{ 0 };
    // One behind the slot that was filled last: where to look first, no more.
    std::atomic<std::size_t> _top{ 0 };
};

template <class Slot>
void DaMagazineSlotsOf<Slot>::reserve( std::size_t nbSlots ) {
    std::size_t total = 0;
    for( std::size_t block = 0; total < nbSlots; ++block ) {
        const std::size_t length = FIRST_BLOCK << block;
        total += length;
        if( _blocks[block] == nullptr ) {
            _blocks[block].reset( new Slot[length]() );
            _nbSlots.store( total, std::memory_order_release );
        }
    }
}

template <class Slot>
void DaMagazineSlotsOf<Slot>::put( DaMagazine* magazine ) noexcept {
    _nbHeld.fetch_add( 1, std::memory_order_relaxed );
    // A search fails only when others filled and emptied slots under it, or made some.
    for( ;; lkPause() ) {
        const std::size_t nbSlots = _nbSlots.load( std::memory_order_acquire );
        const std::size_t start = std::min( _top.load( std::memory_order_relaxed ), nbSlots );
        for( std::size_t i = start; i < nbSlots; ++i ) {
            if( tryPut( i, magazine ) ) {
                return;
            }
        }
        for( std::size_t i = start; i-- > 0; ) {
            if( tryPut( i, magazine ) ) {
                return;
            }
        }
    }
}

template <class Slot>
DaMagazine* DaMagazineSlotsOf<Slot>::take() noexcept {
    if( _nbHeld.load( std::memory_order_relaxed ) == 0 ) {
        return nullptr;
    }
    const std::size_t nbSlots = _nbSlots.load( std::memory_order_acquire );
    const std::size_t start = std::min( _top.load( std::memory_order_relaxed ), nbSlots );
    for( std::size_t i = start; i-- > 0; ) {
        if( DaMagazine* const magazine = tryTake( i ) ) {
            return magazine;
        }
    }
    for( std::size_t i = start; i < nbSlots; ++i ) {
        if( DaMagazine* const magazine = tryTake( i ) ) {
            return magazine;
        }
    }
    return nullptr;
}

template <class Slot>
bool DaMagazineSlotsOf<Slot>::tryPut( std::size_t index, DaMagazine* magazine ) noexcept {
    Slot& slot = getSlot( index );
    DaMagazine* expected = nullptr;
    if( slot.load( std::memory_order_relaxed ) != nullptr ||
        !slot.compare_exchange_strong( expected, magazine, std::memory_order_release,
                                       std::memory_order_relaxed ) ) {
        return false;
    }
    _top.store( index + 1, std::memory_order_relaxed );
    return true;
}

template <class Slot>
DaMagazine* DaMagazineSlotsOf<Slot>::tryTake( std::size_t index ) noexcept {
    Slot& slot = getSlot( index );
    if( slot.load( std::memory_order_relaxed ) == nullptr ) {
        return nullptr;
    }
    DaMagazine* const magazine = slot.exchange( nullptr, std::memory_order_acquire );
    if( magazine != nullptr ) {
        _nbHeld.fetch_sub( 1, std::memory_order_relaxed );
        _top.store( index, std::memory_order_relaxed );
    }
    return magazine;
}

using DaMagazineSlots = DaMagazineSlotsOf<std::atomic<DaMagazine*>>;

} // namespace Qv
