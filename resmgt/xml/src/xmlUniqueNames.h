#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// Names of which none occurs twice.
///
/// Cost: a few names are compared with each other. From the next on there is a hash table, with
/// keys
///       of its own, so that nobody can write names that meet in it.
class XmlUniqueNames {
public:
    XmlUniqueNames();

    void clear() noexcept;
    /// False if it is there already.
    bool add( std::string_view name );

private:
    struct Entry {
        /// The first bytes while there is no table, the hash then.
        std::uint64_t key;
        std::size_t begin;
        std::size_t size;
    };

    std::uint64_t hash( std::string_view name ) const noexcept;
    bool isAt( const Entry& entry, std::uint64_t key, std::string_view name ) const noexcept;
    bool isListed( std::uint64_t key, std::string_view name ) const noexcept;
    /// Where the name is in the table, or the free place for it.
    std::size_t& findPlace( std::uint64_t key, std::string_view name ) noexcept;
    void append( std::uint64_t key, std::string_view name );
    void makeTable();

    const std::uint64_t _keys[2];
    std::string _text;
    std::vector<Entry> _entries;
    /// Numbers of entries plus 1, each at its hash or behind it; a power of two, or empty.
    std::vector<std::size_t> _table;
};

} // namespace Qv
