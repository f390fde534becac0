#include <resmgt/content/src/ctTileNames.h>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace Qv::CtTileNames {

namespace {

bool isDigit( char c ) {
    return c >= '0' && c <= '9';
}

/// Takes the digits at the head of `text` away; nothing without any.
std::optional<std::uint64_t> takeNumber( std::string_view& text ) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    if( text.empty() || !isDigit( text.front() ) ) {
        return std::nullopt;
    }
    const auto result = std::from_chars( text.data(), end, number );
    text.remove_prefix( static_cast<std::size_t>( result.ptr - text.data() ) );
    return result.ec == std::errc() ? number : UINT64_MAX;
}

constexpr std::size_t NB_DIGITS = 10;

/// Just before `end`.
void writeDigits( std::uint64_t number, char* end ) {
    for( std::size_t i = 0; i < NB_DIGITS; ++i, number /= 10 ) {
        *--end = static_cast<char>( '0' + number % 10 );
    }
}

bool isUuid( std::string_view text ) {
    constexpr std::string_view FORM = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return std::equal( text.begin(), text.end(), FORM.begin(), FORM.end(), []( char c, char form ) {
        return form == '-' ? c == '-' : isDigit( c ) || ( c >= 'a' && c <= 'f' );
    } );
}

} // namespace

std::string makeName( CtSerialId id ) {
    std::string name( 2 * NB_DIGITS + 1, '-' );
    writeDigits( id >> 32U, name.data() + NB_DIGITS );
    writeDigits( id & UINT32_MAX, name.data() + name.size() );
    return name;
}

std::optional<CtSerialId> parseName( std::string_view name ) {
    const std::optional<Halves> halves = parseHalves( name );
    if( !halves || halves->high > UINT32_MAX || halves->low > UINT32_MAX ) {
        return std::nullopt;
    }
    const CtSerialId id = makeId( halves->high, halves->low );
    return makeName( id ) == name ? std::optional( id ) : std::nullopt;
}

std::optional<Halves> parseHalves( std::string_view name ) {
    const auto high = takeNumber( name );
    if( !high || !name.starts_with( '-' ) ) {
        return std::nullopt;
    }
    name.remove_prefix( 1 );
    const auto low = takeNumber( name );
    return low && name.empty() ? std::optional( Halves{ *high, *low } ) : std::nullopt;
}

bool isProbe( std::string_view name ) {
    if( !name.ends_with( PROBE ) ) {
        return false;
    }
    name.remove_suffix( std::string_view( PROBE ).size() );
    return name.empty() || isUuid( name );
}

bool isLevel( std::string_view name ) {
    std::string_view rest = name;
    const auto number = takeNumber( rest );
    return number && rest.empty() && *number < 1U << MOST_BITS && std::to_string( *number ) == name;
}

} // namespace Qv::CtTileNames
