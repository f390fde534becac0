#include <resmgt/literals/liString.h>

#include <istream>
#include <sstream>

namespace Qv {

LiString::LiString( const char* text )
    : std::string( text != nullptr ? text : "" ) {}

LiString::LiString( const std::string& text )
    : std::string( text ) {}

LiString::LiString( std::ostringstream& stream )
    : std::string( stream.str() ) {}

LiString::LiString( APtr<char> text )
    : LiString( text.get() ) {}

// FNV-1a with 64 bits (Fowler, Noll, Vo; RFC 9923).
std::uint64_t LiString::hashFunc() const noexcept {
    std::uint64_t result = 0xcbf29ce484222325u;
    for( const char c : *this ) {
        result ^= static_cast<unsigned char>( c );
        result *= 0x100000001b3u;
    }
    return result;
}

std::istream& LiString::read( std::istream& stream ) {
    clear();
    return std::getline( stream, *this );
}

} // namespace Qv
