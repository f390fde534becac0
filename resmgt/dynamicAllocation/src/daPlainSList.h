#pragma once

#include <resmgt/locks/lkSList.h>

#include <utility>

namespace Qv {

/// What LkSListOf is, for one thread: a plain head, and no tag.
class DaPlainSList {
public:
    void push( LkSListNode* node ) noexcept {
        node->_next.store( _first, std::memory_order_relaxed );
        _first = node;
    }
    LkSListNode* pop() noexcept {
        LkSListNode* const first = _first;
        if( first != nullptr ) {
            _first = first->_next.load( std::memory_order_relaxed );
        }
        return first;
    }
    LkSListNode* popAll() noexcept { return std::exchange( _first, nullptr ); }

private:
    LkSListNode* _first = nullptr;
};
static_assert( sizeof( DaPlainSList ) == sizeof( LkSList ) );

} // namespace Qv
