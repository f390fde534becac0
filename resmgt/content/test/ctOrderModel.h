#pragma once

#include <resmgt/content/ctTileId.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

namespace Qv {

/// What the gate and the priority queue should do, in a few lines: who may use the store next. Its
/// clock is the number of events.
class OrderModel {
public:
    /// At most `limit` requests are in the store; without `hasKeys` the order is that of arrival.
    OrderModel( std::size_t limit, bool hasKeys )
        : _limit( limit )
        , _hasKeys( hasKeys ) {}

    /// The request that enters because `request` has come, if any.
    std::optional<int> arrive( int request, const CtPxTileId& tile ) {
        _tiles[request] = tile;
        const std::uint64_t stamp = demand( tile.getSerialId() );
        _waiting.emplace( _hasKeys ? stamp : 0, _hasKeys ? tile.getSerialId() : CtSerialId(),
                          _hasKeys ? tile.getOffset() : 0, ++_now, request );
        return admit();
    }
    /// The same because `request`, which is in the store, ends.
    std::optional<int> end( int request ) {
        _active.erase( request );
        release( _tiles[request].getSerialId() );
        return admit();
    }
    /// A request that only holds its block's record.
    std::uint64_t demand( CtSerialId id ) {
        Record& record = _records.try_emplace( id, Record{ ++_now, 0 } ).first->second;
        ++record.nbRequests;
        return record.stamp;
    }
    void release( CtSerialId id ) {
        if( --_records.at( id ).nbRequests == 0 ) {
            _records.erase( id );
        }
    }

    const std::set<int>& getActive() const { return _active; }
    bool isIdle() const { return _active.empty(); }

private:
    struct Record {
        std::uint64_t stamp;
        int nbRequests;
    };

    std::optional<int> admit() {
        if( _waiting.empty() || _active.size() >= _limit ) {
            return {};
        }
        const int request = std::get<4>( *_waiting.begin() );
        _waiting.erase( _waiting.begin() );
        _active.insert( request );
        return request;
    }

    const std::size_t _limit;
    const bool _hasKeys;
    std::uint64_t _now = 0;
    std::map<int, CtPxTileId> _tiles;
    std::map<CtSerialId, Record> _records;
    std::set<std::tuple<std::uint64_t, CtSerialId, unsigned int, std::uint64_t, int>> _waiting;
    std::set<int> _active;
};

/// An event of a schedule: the next request comes, or the one with this number ends.
constexpr int NEXT = -1;

/// Calls `run( events )` for every order in which `nbRequests` can come and end while at most
/// `limit` are in the store.
template <class Run>
void forEachSchedule( int nbRequests, std::size_t limit, const Run& run ) {
    struct Step {
        OrderModel model;
        int nbCome;
        std::vector<int> events;
    };
    std::vector<Step> open{ { OrderModel( limit, false ), 0, {} } };
    while( !open.empty() ) {
        const Step step = open.back();
        open.pop_back();
        if( step.nbCome == nbRequests && step.model.isIdle() ) {
            run( step.events );
            continue;
        }
        if( step.nbCome < nbRequests ) {
            open.push_back( step );
            open.back().events.push_back( NEXT );
            open.back().model.arrive( open.back().nbCome++, {} );
        }
        for( std::size_t i = 0; i < step.model.getActive().size(); ++i ) {
            open.push_back( step );
            // Which one that is depends on the tiles: the number of its place among the active.
            open.back().events.push_back( static_cast<int>( i ) );
            open.back().model.end(
                *std::next( step.model.getActive().begin(), static_cast<std::ptrdiff_t>( i ) ) );
        }
    }
}

/// Calls `run( tiles )` for every choice of `nbRequests` of the tiles.
template <class Run>
void forEachChoice( const std::vector<CtPxTileId>& tiles, int nbRequests, const Run& run ) {
    std::vector<std::size_t> choice( static_cast<std::size_t>( nbRequests ) );
    for( ;; ) {
        std::vector<CtPxTileId> chosen;
        for( const std::size_t index : choice ) {
            chosen.push_back( tiles[index] );
        }
        run( chosen );
        const auto digit = std::find_if( choice.begin(), choice.end(), [&]( std::size_t index ) {
            return index + 1 < tiles.size();
        } );
        if( digit == choice.end() ) {
            return;
        }
        ++*digit;
        std::fill( choice.begin(), digit, 0 );
    }
}

} // namespace Qv
