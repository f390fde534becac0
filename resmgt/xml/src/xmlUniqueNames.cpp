#include <resmgt/xml/src/xmlUniqueNames.h>

#include <resmgt/xml/src/xmlCopy.h>

#include <algorithm>
#include <bit>
#include <chrono>

namespace Qv {

namespace {

/// As many names as are compared one by one.
constexpr std::size_t LARGEST_LIST = 16;

/// The first bytes: all, up to 8. With the size they stand for a name that has no more.
std::uint64_t loadStart( std::string_view name ) noexcept {
    using XmlCopy::load;
    const char* const text = name.data();
    const std::size_t size = name.size();
    if( size >= 8 ) {
        return load<std::uint64_t>( text );
    }
    if( size >= 4 ) {
        return std::uint64_t{ load<std::uint32_t>( text ) } << 32 |
               load<std::uint32_t>( text + size - 4 );
    }
    const auto byteAt = [text]( std::size_t at ) -> std::uint64_t {
        return static_cast<unsigned char>( text[at] );
    };
    return size == 0 ? 0 : byteAt( 0 ) << 16 | byteAt( size / 2 ) << 8 | byteAt( size - 1 );
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
    _rests.clear();
    _entries.clear();
    _table.clear();
}

bool XmlUniqueNames::add( std::string_view name ) {
    if( _table.empty() && _entries.size() == LARGEST_LIST ) {
        makeTable();
    }
    Entry entry{ loadStart( name ), _rests.size(), name.size() };
    const std::string_view rest = name.substr( std::min<std::size_t>( name.size(), 8 ) );
    std::size_t* place = nullptr;
    if( _table.empty() ) {
        const auto isSame = [&]( const Entry& other ) { return isEqual( other, entry, rest ); };
        if( std::ranges::any_of( _entries, isSame ) ) {
            return false;
        }
    } else {
        place = &findPlace( entry, rest );
        if( *place != 0 ) {
            return false;
        }
    }
    _entries.push_back( entry );
    if( !rest.empty() ) {
        _rests += rest;
    }
    if( place != nullptr ) {
        *place = _entries.size();
        if( _entries.size() * 2 > _table.size() ) {
            makeTable();
        }
    }
    return true;
}

bool XmlUniqueNames::isEqual( const Entry& a, const Entry& b,
                              std::string_view rest ) const noexcept {
    return a.start == b.start && a.size == b.size &&
           ( rest.empty() || std::string_view( _rests ).substr( a.rest, rest.size() ) == rest );
}

std::uint64_t XmlUniqueNames::hash( const Entry& entry, std::string_view rest ) const noexcept {
    SipHash hash( _keys );
    hash.add( entry.start );
    for( ; rest.size() >= 8; rest.remove_prefix( 8 ) ) {
        hash.add( XmlCopy::load<std::uint64_t>( rest.data() ) );
    }
    hash.add( loadStart( rest ) );
    hash.add( entry.size );
    return hash.finish();
}

std::size_t& XmlUniqueNames::findPlace( const Entry& entry, std::string_view rest ) noexcept {
    const std::size_t last = _table.size() - 1;
    std::size_t at = hash( entry, rest ) & last;
    while( _table[at] != 0 && !isEqual( _entries[_table[at] - 1], entry, rest ) ) {
        at = ( at + 1 ) & last;
    }
    return _table[at];
}

void XmlUniqueNames::makeTable() {
    _table.assign( std::bit_ceil( _entries.size() * 4 ), 0 );
    for( std::size_t number = 0; number < _entries.size(); ++number ) {
        const Entry& entry = _entries[number];
        const std::size_t size = entry.size - std::min<std::size_t>( entry.size, 8 );
        findPlace( entry, std::string_view( _rests ).substr( entry.rest, size ) ) = number + 1;
    }
}

} // namespace Qv
