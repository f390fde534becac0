#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// Names of which none occurs twice.
///
/// Cost: a few names are compared with each other. From the next on there is a hash table with
///       secret keys: nobody can write names that meet in it.
class XmlUniqueNames {
public:
    XmlUniqueNames();

    void clear() noexcept;
    /// False if it is there already.
    bool add( std::string_view name );

private:
    struct Entry {
        /// Its first 8 bytes.
        std::uint64_t start;
        /// Where the others are.
        std::size_t rest;
        std::size_t size;
    };

    /// `rest` is what `b` has behind its start.
    bool isEqual( const Entry& a, const Entry& b, std::string_view rest ) const noexcept;
    std::uint64_t hash( const Entry& entry, std::string_view rest ) const noexcept;
    /// Where the name is in the table, or the free place for it.
    std::size_t& findPlace( const Entry& entry, std::string_view rest ) noexcept;
    void makeTable();

    const std::uint64_t _keys[2];
    std::string _rests;
    std::vector<Entry> _entries;
    /// Numbers of entries plus 1, each at its hash or behind it; a power of two, or empty.
    std::vector<std::size_t> _table;
};

} // namespace Qv
