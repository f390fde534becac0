#include <resmgt/xml/src/xmlUniqueNames.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>

namespace Qv {

namespace {

/// As many names as are compared one by one.
constexpr std::size_t LARGEST_LIST = 16;

/// Up to 8 bytes as a number; the others of it are 0.
std::uint64_t load( const char* from, std::size_t size ) noexcept {
    std::uint64_t result = 0;
    if( size >= 8 ) {
        std::memcpy( &result, from, 8 );
        return result;
    }
    for( std::size_t i = 0; i < size; ++i ) {
        result |= std::uint64_t( static_cast<unsigned char>( from[i] ) ) << ( 8 * i );
    }
    return result;
}

/// SipHash with one round for each word and three at the end (Aumasson and Bernstein, "SipHash: a
/// fast short-input PRF").
class SipHash {
public:
    explicit SipHash( const std::uint64_t ( &keys )[2] ) noexcept
        : _state{ keys[0] ^ 0x736F6D6570736575U, keys[1] ^ 0x646F72616E646F6DU,
                  keys[0] ^ 0x6C7967656E657261U, keys[1] ^ 0x7465646279746573U } {}

    void add( std::uint64_t word ) noexcept {
        _state[3] ^= word;
        turn();
        _state[0] ^= word;
    }
    std::uint64_t finish() noexcept {
        _state[2] ^= 0xFF;
        turn();
        turn();
        turn();
        return _state[0] ^ _state[1] ^ _state[2] ^ _state[3];
    }

private:
    void turn() noexcept {
        half( _state[0], _state[1], _state[2], _state[3], 13, 16 );
        half( _state[2], _state[1], _state[0], _state[3], 17, 21 );
    }
    static void half( std::uint64_t& a, std::uint64_t& b, std::uint64_t& c, std::uint64_t& d,
                      int turnB, int turnD ) noexcept {
        a += b;
        b = std::rotl( b, turnB ) ^ a;
        a = std::rotl( a, 32 );
        c += d;
        d = std::rotl( d, turnD ) ^ c;
    }

    std::uint64_t _state[4];
};

} // namespace

XmlUniqueNames::XmlUniqueNames()
    // What nobody outside of the process knows.
    : _keys{ reinterpret_cast<std::uintptr_t>( this ),
             static_cast<std::uint64_t>(
                 std::chrono::steady_clock::now().time_since_epoch().count() ) } {}

void XmlUniqueNames::clear() noexcept {
    _text.clear();
    _entries.clear();
    _table.clear();
}

bool XmlUniqueNames::add( std::string_view name ) {
    if( _table.empty() && _entries.size() == LARGEST_LIST ) {
        makeTable();
    }
    if( _table.empty() ) {
        const std::uint64_t key = load( name.data(), name.size() );
        const bool isNew = !isListed( key, name );
        if( isNew ) {
            append( key, name );
        }
        return isNew;
    }
    const std::uint64_t key = hash( name );
    std::size_t& place = findPlace( key, name );
    if( place != 0 ) {
        return false;
    }
    append( key, name );
    place = _entries.size();
    if( _entries.size() * 2 > _table.size() ) {
        makeTable();
    }
    return true;
}

std::uint64_t XmlUniqueNames::hash( std::string_view name ) const noexcept {
    SipHash hash( _keys );
    std::size_t at = 0;
    for( ; name.size() - at >= 8; at += 8 ) {
        hash.add( load( name.data() + at, 8 ) );
    }
    hash.add( load( name.data() + at, name.size() - at ) ^ std::uint64_t( name.size() ) << 56 );
    return hash.finish();
}

bool XmlUniqueNames::isAt( const Entry& entry, std::uint64_t key,
                           std::string_view name ) const noexcept {
    return entry.key == key && std::string_view( _text ).substr( entry.begin, entry.size ) == name;
}

bool XmlUniqueNames::isListed( std::uint64_t key, std::string_view name ) const noexcept {
    return std::ranges::any_of( _entries,
                                [&]( const Entry& entry ) { return isAt( entry, key, name ); } );
}

std::size_t& XmlUniqueNames::findPlace( std::uint64_t key, std::string_view name ) noexcept {
    const std::size_t last = _table.size() - 1;
    std::size_t at = key & last;
    while( _table[at] != 0 && !isAt( _entries[_table[at] - 1], key, name ) ) {
        at = ( at + 1 ) & last;
    }
    return _table[at];
}

void XmlUniqueNames::append( std::uint64_t key, std::string_view name ) {
    _entries.push_back( { key, _text.size(), name.size() } );
    _text += name;
}

void XmlUniqueNames::makeTable() {
    const bool isFirst = _table.empty();
    _table.assign( std::bit_ceil( _entries.size() * 4 ), 0 );
    for( std::size_t number = 0; number < _entries.size(); ++number ) {
        Entry& entry = _entries[number];
        const std::string_view name = std::string_view( _text ).substr( entry.begin, entry.size );
        entry.key = isFirst ? hash( name ) : entry.key;
        findPlace( entry.key, name ) = number + 1;
    }
}

} // namespace Qv
