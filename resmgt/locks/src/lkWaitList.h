#pragma once

#include <resmgt/locks/src/lkWaitEntry.h>

/// The queue of an LkCondVar: a stack of wait entries that is pushed to under the waiters' lock and
/// removed from by any thread, with or without that lock.
///
/// Invariants
///  - An entry is on at most one list, and from its push until a signaller has taken it off its
///    owner doesn't return from the wait: it is the event alone that lets it go, and only who took
///    the entry off sets the event, once.
///  - An entry's link is written by its owner alone, off every list and with no pin on it.
///  - A signaller that wants the newest entry pins it, and then looks whether it is the newest
///    still. If so, it can't be taken off, pushed again and be the newest anew before the pin is
///    gone. So the link that is read under the pin is that of the present push, what lies below
///    the entry can't have changed, and the swap of the head is right whatever the tag is: the
///    reset of the tag by a push does no harm here.
///  - Taking all needs no pin: it reads links only after its swap, of entries that are its own.
///  - The pin of an entry that was taken off already is an access to memory that stays an entry's;
///    the second look finds that out.
///
/// `Word` is a parameter for tests, which make the swap fail when they want it to.
namespace Qv::LkWaitList {

/// REQUIRES: the caller owns `entry` and holds the waiters' lock.
template <class Word>
void push( LkSListOf<Word>& list, LkWaitEntry& entry ) {
    entry.awaitUnpinned();
    list.push( &entry );
}

/// Takes the newest entry off; null if there is none.
template <class Word>
LkWaitEntry* popNewest( LkSListOf<Word>& list ) {
    auto head = list.getHead();
    while( list.getFirst( head ) != nullptr ) {
        LkWaitEntry* const newest = static_cast<LkWaitEntry*>( list.getFirst( head ) );
        newest->pin();
        auto seen = list.getHead();
        const bool isOff = seen == head && list.tryPop( seen );
        newest->unpin();
        if( isOff ) {
            return newest;
        }
        head = seen;
        lkPause();
    }
    return nullptr;
}

template <class Word>
void wakeNewest( LkSListOf<Word>& list ) {
    if( LkWaitEntry* const entry = popNewest( list ) ) {
        entry->signal();
    }
}

/// Each failed attempt means that another thread pushed or took something; the loop ends with the
/// first that isn't disturbed, or when the list is empty.
template <class Word>
void wakeAll( LkSListOf<Word>& list ) {
    auto head = list.getHead();
    while( list.getFirst( head ) != nullptr && !list.tryPopAll( head ) ) {
        lkPause();
    }
    for( LkSListNode* node = list.getFirst( head ); node != nullptr; ) {
        const LkWaitEntry* const entry = static_cast<LkWaitEntry*>( node );
        // The woken thread may use its entry again at once: the link is read before.
        node = node->_next.load( std::memory_order_relaxed );
        entry->signal();
    }
}

} // namespace Qv::LkWaitList
