#pragma once

#include <base/callbacks/cbHandlerBase.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Qv {

/// A dispatcher without its argument type: it knows its handlers.
class QV_BASE_API CbDispatcherBase : public RCBase<LkCounter<int>> {
public:
    CbDispatcherBase( const CbDispatcherBase& ) = delete;
    CbDispatcherBase& operator=( const CbDispatcherBase& ) = delete;
    /// Lets all handlers go.
    ~CbDispatcherBase() noexcept override;

    bool isEmpty() const noexcept { return _links.empty(); }

protected:
    /// The handlers of one dispatch, in order; those that leave before their turn are passed over,
    /// and all when the dispatcher ends. Lives on the stack.
    class QV_BASE_API Round;

    CbDispatcherBase() noexcept = default;

    /// The handler is called from the next dispatch on.
    void add( CbHandlerBase& handler );
    /// The handler isn't called any more.
    void remove( CbHandlerBase& handler ) noexcept;
    /// Whether the handler is called.
    bool contains( const CbHandlerBase& handler ) const noexcept;

private:
    friend class CbHandlerBase;

    /// `_id` distinguishes a handler that left and came back, or another at the same address, from
    /// the one that was there when a dispatch began. Links are in the order of their ids.
    struct Link {
        CbHandlerBase* _handler;
        std::uint64_t _id;
        /// Where the handler keeps this dispatcher.
        std::size_t _slot;
    };

    std::vector<Link>::iterator findLink( const CbHandlerBase& handler ) noexcept;
    /// Takes this dispatcher out of the handler's list.
    void leave( const Link& link ) noexcept;

    std::vector<Link> _links;
    std::uint64_t _nextId = 0;
    Round* _rounds = nullptr;
};

/// One dispatch that is under way.
class QV_BASE_API CbDispatcherBase::Round {
public:
    explicit Round( CbDispatcherBase& dispatcher );
    Round( const Round& ) = delete;
    Round& operator=( const Round& ) = delete;
    ~Round();

    /// The handler whose turn it is; null at the end.
    CbHandlerBase* next() noexcept;

private:
    friend class CbDispatcherBase;

    CbDispatcherBase* _dispatcher;
    Round* const _outerRound;
    const std::vector<Link> _snapshot;
    std::size_t _position = 0;
};

} // namespace Qv
