#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>

namespace Qv {

/// The arena's rules, done plainly with standard containers: what DaFirstFitArena is compared with.
class PlainArena {
public:
    PlainArena( std::uint64_t base, std::uint64_t size )
        : _freeSpace( size ) {
        insertFree( base, size );
    }

    /// 0 when the request can't be served.
    std::uint64_t allocate( std::uint64_t size, std::uint64_t alignment ) {
        size = std::max<std::uint64_t>( ( size + 7 ) / 8 * 8, 8 );
        for( auto it = _bySize.lower_bound( size ); it != _bySize.end(); ++it ) {
            const auto [blockSize, address] = *it;
            const std::uint64_t aligned =
                alignment == 0 ? address : ( address + alignment - 1 ) & ~( alignment - 1 );
            const std::uint64_t end = address + blockSize;
            if( aligned + size <= end ) {
                eraseFree( _byAddress.find( address ) );
                if( aligned != address ) {
                    insertFree( address, aligned - address );
                }
                if( aligned + size < end ) {
                    insertFree( aligned + size, end - aligned - size );
                }
                _live.emplace( aligned, size );
                _freeSpace -= size;
                return aligned;
            }
        }
        return 0;
    }

    bool free( std::uint64_t address ) {
        const auto live = _live.find( address );
        if( live == _live.end() ) {
            return false;
        }
        std::uint64_t size = live->second;
        _freeSpace += size;
        _live.erase( live );
        const auto next = _byAddress.lower_bound( address );
        if( next != _byAddress.begin() ) {
            const auto previous = std::prev( next );
            if( previous->first + previous->second->first == address ) {
                address = previous->first;
                size += previous->second->first;
                eraseFree( previous );
            }
        }
        if( next != _byAddress.end() && address + size == next->first ) {
            size += next->second->first;
            eraseFree( next );
        }
        insertFree( address, size );
        return true;
    }

    std::uint64_t getFreeSpace() const { return _freeSpace; }
    std::size_t getNbFree() const { return _bySize.size(); }
    std::size_t getNbLive() const { return _live.size(); }
    std::uint64_t getSmallestFree() const { return _bySize.begin()->first; }
    std::uint64_t getLargestFree() const { return _bySize.rbegin()->first; }

private:
    using BySize = std::multimap<std::uint64_t, std::uint64_t>;
    using ByAddress = std::map<std::uint64_t, BySize::iterator>;

    void insertFree( std::uint64_t address, std::uint64_t size ) {
        _byAddress.emplace( address, _bySize.emplace( size, address ) );
    }
    void eraseFree( ByAddress::iterator it ) {
        _bySize.erase( it->second );
        _byAddress.erase( it );
    }

    std::uint64_t _freeSpace;
    BySize _bySize;
    ByAddress _byAddress;
    std::unordered_map<std::uint64_t, std::uint64_t> _live;
};

} // namespace Qv
