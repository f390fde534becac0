#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

namespace Qv {

/// The differences between the kinds of containers: which item comes next, and how it goes in and
/// out. There is one for `std::queue` and one for `std::priority_queue`; a further kind of
/// container comes with its own, of the same operations.
///
/// Errors: a push that raises leaves the container as it was. Items whose moves don't raise are
///         neither lost nor doubled by the other operations.
template <class Container>
class MtAdapterContainer;

/// First in, first out.
template <class T, class Sequence>
class MtAdapterContainer<std::queue<T, Sequence>> {
public:
    using Container = std::queue<T, Sequence>;
    using Item = T;

    template <class U>
    static void push( Container& container, U&& item ) {
        container.push( std::forward<U>( item ) );
    }
    /// Takes the next item out. REQUIRES: there is one.
    static Item pop( Container& container ) {
        Item item( std::move( container.front() ) );
        container.pop();
        return item;
    }
    /// Takes the next item out of those for which `isWanted( item )` holds.
    template <class IsWanted>
    static std::optional<Item> popIf( Container& container, IsWanted isWanted ) {
        Sequence& items = getItems( container );
        const auto place = std::find_if( items.begin(), items.end(), isWanted );
        std::optional<Item> item;
        if( place != items.end() ) {
            item.emplace( std::move( *place ) );
            items.erase( place );
        }
        return item;
    }
    /// Moves all items for which `isWanted( item )` holds to the end of `taken`, in their order.
    template <class IsWanted>
    static void popAllIf( Container& container, IsWanted isWanted, std::vector<Item>& taken ) {
        Sequence& items = getItems( container );
        taken.reserve( taken.size() + items.size() );
        auto kept = items.begin();
        for( auto place = items.begin(); place != items.end(); ++place ) {
            if( isWanted( *place ) ) {
                taken.push_back( std::move( *place ) );
            } else {
                if( kept != place ) {
                    *kept = std::move( *place );
                }
                ++kept;
            }
        }
        items.erase( kept, items.end() );
    }

private:
    struct Access : Container {
        using Container::c;
    };
    static Sequence& getItems( Container& container ) { return container.*&Access::c; }
};

/// The greatest item first, in the order of `Compare`.
template <class T, class Sequence, class Compare>
class MtAdapterContainer<std::priority_queue<T, Sequence, Compare>> {
public:
    /// The queue of requests.
    using Container = std::priority_queue<T, Sequence, Compare>;
    /// A request.
    using Item = T;

    /// Puts the request into the queue.
    template <class U>
    static void push( Container& container, U&& item ) {
        container.push( std::forward<U>( item ) );
    }
    static Item pop( Container& container ) {
        Sequence& items = getItems( container );
        std::pop_heap( items.begin(), items.end(), getOrder( container ) );
        Item item( std::move( items.back() ) );
        items.pop_back();
        return item;
    }
    template <class IsWanted>
    static std::optional<Item> popIf( Container& container, IsWanted isWanted ) {
        Sequence& items = getItems( container );
        const Compare& order = getOrder( container );
        auto best = items.end();
        for( auto place = items.begin(); place != items.end(); ++place ) {
            if( isWanted( *place ) && ( best == items.end() || order( *best, *place ) ) ) {
                best = place;
            }
        }
        std::optional<Item> item;
        if( best == items.begin() && best != items.end() ) {
            item.emplace( pop( container ) );
        } else if( best != items.end() ) {
            item.emplace( std::move( *best ) );
            items.erase( best );
            std::make_heap( items.begin(), items.end(), order );
        }
        return item;
    }
    template <class IsWanted>
    static void popAllIf( Container& container, IsWanted isWanted, std::vector<Item>& taken ) {
        Sequence& items = getItems( container );
        const Compare& order = getOrder( container );
        taken.reserve( taken.size() + items.size() );
        const auto end = std::partition( items.begin(), items.end(),
                                         [&]( const Item& item ) { return !isWanted( item ); } );
        const std::size_t nbBefore = taken.size();
        std::move( end, items.end(), std::back_inserter( taken ) );
        items.erase( end, items.end() );
        std::make_heap( items.begin(), items.end(), order );
        std::sort( taken.begin() + static_cast<std::ptrdiff_t>( nbBefore ), taken.end(),
                   [&]( const Item& left, const Item& right ) { return order( right, left ); } );
    }

private:
    struct Access : Container {
        using Container::c;
        using Container::comp;
    };
    static Sequence& getItems( Container& container ) { return container.*&Access::c; }
    static const Compare& getOrder( Container& container ) { return container.*&Access::comp; }
};

} // namespace Qv
