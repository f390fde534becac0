#pragma once

#include <base/failure/assertions.h>
#include <base/locks/lkPause.h>

#include <atomic>
#include <cstdint>

/// Marks a function whose read may come too late: the word may meanwhile be its new owner's, who
/// writes it without order. The value isn't used then. The thread sanitizer would report it.
#if defined( __SANITIZE_THREAD__ )
#    define QV_UNCHECKED_READ __attribute__( ( noinline, no_sanitize( "thread" ) ) )
#elif defined( __clang__ )
#    if __has_feature( thread_sanitizer )
#        define QV_UNCHECKED_READ __attribute__( ( noinline, disable_sanitizer_instrumentation ) )
#    endif
#endif
#if !defined( QV_UNCHECKED_READ )
#    define QV_UNCHECKED_READ
#endif

namespace Qv {

/// What a stack of LkSListOf links: the first 64-bit word of each node.
struct LkSListNode {
    /// The node below, without a tag. Atomic, since a pop that comes too late reads it beside the
    /// node's next push; relaxed, since the head's compare-and-swap orders it.
    std::atomic<LkSListNode*> _next{ nullptr };
};
static_assert( sizeof( LkSListNode ) == sizeof( std::uint64_t ) );

/// What a push does with the tag of an LkSListOf.
enum class LkSListPush { RESETS_TAG, KEEPS_TAG };

/// Singly linked stack without a lock. Its whole state is one 64-bit word: bits 0-47 are the first
/// node, zero for none; bits 48-63 a version tag, LK_SLIST_VERSION_TAG.
///
/// `Word` holds the head and has `load` and `compare_exchange_strong` as `std::atomic` has them.
///
/// Tag:      each successful pop adds one, silently wrapping; each push makes it zero, or with
///           KEEPS_TAG leaves it.
/// Lifetime: a node's memory must stay readable as long as any pop may be under way; nodes are
///           given to other work, never to the system.
/// Order:    a push releases the node's content to the pop that gets it. Removals are sequentially
///           consistent, so that a client can build a scheme of its own on them.
///
/// What the reset of the tag means. A pop reads the head and the first node's link, and then swaps.
/// If meanwhile others take that node, and the one below it, and push the first again, the head
/// can look as before (a push always leaves tag zero), and the swap makes a node the first that is
/// no longer on the stack: the tag protects only against removals that no push follows. So `pop` is
/// safe where
///  - all calls of `pop` are serialised with all other removals by the client, or
///  - a node that was removed isn't pushed again while a pop that may have seen it is under way.
/// Pushes may run beside it in any number. The attempt of tryPopAll needs neither: it follows no
/// link before its swap, so whatever chain the head stands for is the one that it takes.
/// With KEEPS_TAG `pop` is deceived only if exactly n * 65,536 removals, n > 0, come between.
template <class Word, LkSListPush PUSH = LkSListPush::RESETS_TAG>
class LkSListOf {
public:
    /// The word of the list's head: an address and a tag.
    using Head = std::uint64_t;

    /// The bits of a head that are its tag.
    static constexpr Head TAG_MASK = 0xFFFF000000000000u;
    /// What makes the next tag of a head.
    static constexpr Head TAG_ONE = Head{ 1 } << 48;

    static LkSListNode* getFirst( Head head ) noexcept {
        return reinterpret_cast<LkSListNode*>( head & ~TAG_MASK );
    }
    static std::uint16_t getTag( Head head ) noexcept {
        return static_cast<std::uint16_t>( head >> 48 );
    }

    Head getHead() const noexcept { return _head.load( std::memory_order_seq_cst ); }
    /// One plain read.
    bool isEmpty() const noexcept {
        return getFirst( _head.load( std::memory_order_relaxed ) ) == nullptr;
    }

    /// A node whose address needs more than 48 bits fails an assertion.
    void push( LkSListNode* node );
    /// The newest node, or null. See above for when it is safe.
    LkSListNode* pop() noexcept;
    /// All nodes, linked newest first, or null.
    ///
    /// Only the first attempt does that. When it fails because another thread changed the head, the
    /// further ones wait until the head has become equal to its own second node, and this may never
    /// be: it returns for sure only if the stack becomes empty, and a result of a further attempt
    /// isn't off the stack. Use tryPopAll in a loop where other threads can't be excluded.
    LkSListNode* popAll() noexcept;

    /// One attempt each, `head` being the value last read, not empty. False if the head differs;
    /// `head` is what was found then.
    bool tryPop( Head& head ) noexcept {
        const LkSListNode* const first = getFirst( head );
        return swapHead( head, nextTag( head ) | toHead( readLate( first ) ) );
    }
    /// The same for all nodes.
    bool tryPopAll( Head& head ) noexcept { return swapHead( head, nextTag( head ) ); }

private:
    QV_UNCHECKED_READ static const LkSListNode* readLate( const LkSListNode* first ) noexcept {
#if defined( __GNUC__ )
        // The operation of std::atomic would be a function of its own, which isn't marked.
        return __atomic_load_n( reinterpret_cast<LkSListNode* const*>( &first->_next ),
                                __ATOMIC_RELAXED );
#else
        return first->_next.load( std::memory_order_relaxed );
#endif
    }
    static Head toHead( const LkSListNode* node ) noexcept {
        return reinterpret_cast<Head>( node );
    }
    static Head nextTag( Head head ) noexcept {
        return ( head & TAG_MASK ) + TAG_ONE;
    }
    bool swapHead( Head& expected, Head desired ) noexcept {
        return _head.compare_exchange_strong( expected, desired, std::memory_order_seq_cst,
                                              std::memory_order_seq_cst );
    }

    Word _head{ 0 };
};

template <class Word, LkSListPush PUSH>
void LkSListOf<Word, PUSH>::push( LkSListNode* node ) {
    QV_ASSERT_TEXT( getTag( toHead( node ) ) == 0, "LK_SLIST_VERSION_TAG(node) == 0" );
    Head head = _head.load( std::memory_order_relaxed );
    for( ;; ) {
        node->_next.store( getFirst( head ), std::memory_order_relaxed );
        const Head tag = PUSH == LkSListPush::KEEPS_TAG ? head & TAG_MASK : 0;
        // Release: the node's content goes to whoever pops it.
        if( _head.compare_exchange_strong( head, tag | toHead( node ), std::memory_order_release,
                                           std::memory_order_relaxed ) ) {
            return;
        }
        lkPause();
    }
}

template <class Word, LkSListPush PUSH>
LkSListNode* LkSListOf<Word, PUSH>::pop() noexcept {
    Head head = getHead();
    while( getFirst( head ) != nullptr ) {
        LkSListNode* const first = getFirst( head );
        if( tryPop( head ) ) {
            return first;
        }
        lkPause();
    }
    return nullptr;
}

template <class Word, LkSListPush PUSH>
LkSListNode* LkSListOf<Word, PUSH>::popAll() noexcept {
    Head head = getHead();
    LkSListNode* first = getFirst( head );
    if( first == nullptr || tryPopAll( head ) ) {
        return first;
    }
    for( ;; ) {
        lkPause();
        first = getFirst( head );
        if( first == nullptr ) {
            return nullptr;
        }
        const Head second = toHead( first->_next.load( std::memory_order_relaxed ) );
        head = second | ( head & TAG_MASK );
        if( swapHead( head, head + TAG_ONE ) ) {
            return first;
        }
    }
}

/// The list whose head is an atomic word.
using LkSList = LkSListOf<std::atomic<std::uint64_t>>;

} // namespace Qv
