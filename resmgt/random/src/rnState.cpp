#include <resmgt/random/src/rnState.h>

#include <resmgt/random/rnEx.h>

#include <base/failure/qvHere.h>

#include <charconv>

namespace Qv {

std::string writeRnState( const char* name, const std::uint64_t* numbers, std::size_t nbNumbers ) {
    std::string text = name;
    text += ':';
    for( std::size_t i = 0; i < nbNumbers; ++i ) {
        text += ' ' + std::to_string( numbers[i] );
    }
    return text;
}

RnStateReader::RnStateReader( const char* name, std::string_view text )
    : _name( name )
    , _text( text )
    , _rest( text ) {
    const std::string begin = writeRnState( name, nullptr, 0 );
    if( !text.starts_with( begin ) ) {
        refuse();
    }
    _rest.remove_prefix( begin.size() );
}

std::uint64_t RnStateReader::next( std::uint64_t min, std::uint64_t max ) {
    if( !_rest.starts_with( ' ' ) ) {
        refuse();
    }
    const char* const begin = _rest.data() + 1;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars( begin, _rest.data() + _rest.size(), number );
    const bool isPadded = end - begin > 1 && *begin == '0';
    if( error != std::errc() || isPadded || number < min || number > max ) {
        refuse();
    }
    _rest.remove_prefix( static_cast<std::size_t>( end - _rest.data() ) );
    return number;
}

std::uint32_t RnStateReader::next32( std::uint32_t min, std::uint32_t max ) {
    return static_cast<std::uint32_t>( next( min, max ) );
}

void RnStateReader::end() const {
    if( !_rest.empty() ) {
        refuse();
    }
}

void RnStateReader::refuse() const {
    throw RnEx::ExBadState( QV_HERE, _name, std::string( _text ) );
}

} // namespace Qv
