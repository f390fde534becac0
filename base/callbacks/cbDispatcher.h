#pragma once

#include <base/callbacks/cbDispatcherBase.h>
#include <base/callbacks/cbHandler.h>

#include <type_traits>

namespace Qv {

/// Calls the handlers that are registered with it.
///
/// Dispatch: works on a snapshot, in the order of registration, and calls each handler that is
///           still registered when its turn comes. So a handler may add and remove itself and
///           others, destroy handlers, dispatch again, and destroy the dispatcher. One that is
///           added meanwhile isn't called, nor is one that left and came back.
/// Errors:   what a handler raises ends the dispatch and goes to its caller.
/// Lifetime: handlers aren't owned; the destruction of either side removes the link.
/// Threads:  a dispatcher, its handlers and their destruction belong to one thread, or to callers
///           who hold one lock of theirs around all of it.
/// Cost:     a dispatch copies the list of handlers, and finds each again by bisection.
template <class T>
class CbDispatcher : public CbDispatcherBase {
public:
    CbDispatcher() noexcept = default;

    /// A handler that is there already stays in its place.
    void add( CbHandler<T>& handler ) { CbDispatcherBase::add( handler ); }
    /// Without the handler nothing happens.
    void remove( CbHandler<T>& handler ) noexcept { CbDispatcherBase::remove( handler ); }
    /// Whether the handler is called.
    bool contains( const CbHandler<T>& handler ) const noexcept {
        return CbDispatcherBase::contains( handler );
    }

    /// Calls the handlers with `argument`, one after the other.
    void dispatch( T& argument ) {
        Round round( *this );
        while( CbHandlerBase* const handler = round.next() ) {
            static_cast<CbHandler<T>*>( handler )->call( argument );
        }
    }
    void dispatch() {
        static_assert( std::is_same_v<T, CbEmptyType>, "the handlers take an argument" );
        Round round( *this );
        while( CbHandlerBase* const handler = round.next() ) {
            handler->callNoArg();
        }
    }
};

} // namespace Qv
