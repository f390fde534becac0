#include <base/values/uuid.h>

#include <base/values/src/systemRandom.h>

namespace Qv {

Uuid::Uuid( CreateEnum ) {
    fillFromSystemRandom( _bytes );
    // RFC 4122, section 4.4: the version's four bits and the variant's two.
    _bytes[6] = static_cast<std::uint8_t>( ( _bytes[6] & 0x0f ) | 0x40 );
    _bytes[8] = static_cast<std::uint8_t>( ( _bytes[8] & 0x3f ) | 0x80 );
}

std::string Uuid::toString() const {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string result;
    result.reserve( 36 );
    for( std::size_t i = 0; i < _bytes.size(); ++i ) {
        if( i == 4 || i == 6 || i == 8 || i == 10 ) {
            result += '-';
        }
        result += DIGITS[_bytes[i] >> 4];
        result += DIGITS[_bytes[i] & 0x0f];
    }
    return result;
}

} // namespace Qv
