#include <resmgt/initVars/src/inTextFileParser.h>

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <resmgt/initVars/inTextFile.h>
#include <resmgt/initVars/inTextFileEx.h>
#include <resmgt/osal/osFileUtils.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace Qv {

namespace {

constexpr std::size_t MAX_LINE = InTextFile::MAX_LINE;
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";
constexpr std::string_view SEPARATORS = "= \t";
/// What a backslash makes another character of.
constexpr std::string_view ESCAPED = "bfnrtv#";

constexpr auto NAME_CHARACTERS = [] {
    std::array<bool, 256> result{};
    for( int i = 0; i < 128; ++i ) {
        const char c = static_cast<char>( i );
        result[static_cast<unsigned char>( i )] =
            Ascii::isLetter( c ) || Ascii::isDigit( c ) || c == '_' || c == '.' || c == ':';
    }
    return result;
}();

constexpr bool isNameCharacter( char c ) noexcept {
    return NAME_CHARACTERS[static_cast<unsigned char>( c )];
}

bool endsInEscape( std::string_view text ) noexcept {
    return text.size() > 1 && text[text.size() - 2] == '\\' &&
           ESCAPED.find( text.back() ) != std::string_view::npos;
}

} // namespace

bool isName( std::string_view text ) noexcept {
    return !text.empty() && std::ranges::all_of( text, isNameCharacter );
}

std::string_view stripComment( std::string_view value ) noexcept {
    for( std::size_t i = value.find( '#', 1 ); i != std::string_view::npos;
         i = value.find( '#', i + 1 ) ) {
        if( value[i - 1] != '\\' ) {
            return Ascii::trim( value.substr( 0, i ) );
        }
    }
    return value;
}

InTextLineReader::InTextLineReader( const char* file )
    : _file( file ) {
    std::optional<std::string> text;
    try {
        OsFileUtils::readRegularFile( file, InTextFile::MAX_SIZE, text );
    } catch( const ExBase& failure ) {
        if( !text ) {
            throw InTextFileEx::ExCannotOpen( QV_HERE, file, failure.getReason() );
        }
        const auto nbRead = static_cast<int>( std::ranges::count( *text, '\n' ) );
        throw InTextFileEx::ExFileError( QV_HERE, file, nbRead + 1, failure.getReason() );
    }
    _text = std::move( *text );
    _rest = _text;
    if( _rest.starts_with( BYTE_ORDER_MARK ) ) {
        _rest.remove_prefix( BYTE_ORDER_MARK.size() );
        _byteOrderMark = BYTE_ORDER_MARK;
    }
}

bool InTextLineReader::read( std::string_view& line ) {
    if( _rest.empty() ) {
        return false;
    }
    ++_number;
    line = _rest.substr( 0, _rest.find( '\n' ) );
    _rest.remove_prefix( std::min( line.size() + 1, _rest.size() ) );
    if( line.size() > MAX_LINE ) {
        throw InTextFileEx::ExLineTooLong( QV_HERE, _file, _number );
    }
    return true;
}

bool InTextPairParser::take( std::string_view line ) {
    if( line.starts_with( '#' ) ) {
        finish();
        return false;
    }
    std::string_view text = Ascii::trim( line );
    if( _isContinued ) {
        append( text );
        text = _text;
    }
    if( text.ends_with( '\\' ) ) {
        awaitMore( text );
        return false;
    }
    _isContinued = false;
    if( text.empty() ) {
        return false;
    }
    split( text );
    return true;
}

void InTextPairParser::finish() const {
    if( _isContinued ) {
        throw InTextFileEx::ExInvalidFormat( QV_HERE, _source.getFile(), _source.getNumber() );
    }
}

void InTextPairParser::append( std::string_view line ) {
    if( _text.size() + line.size() >= MAX_LINE ) {
        throw InTextFileEx::ExLineTooLong( QV_HERE, _source.getFile(), _source.getNumber() );
    }
    _text += line;
}

/// The backslash at the end of `text`, which may be _text, becomes a blank; behind an escape
/// sequence, which is a separation itself, it goes.
void InTextPairParser::awaitMore( std::string_view text ) {
    text.remove_suffix( 1 );
    const bool isSeparated = endsInEscape( text );
    _text = std::string( text );
    _text.append( isSeparated ? "" : " " );
    _isContinued = true;
}

void InTextPairParser::split( std::string_view text ) {
    text = Ascii::trim( text );
    const auto end = std::ranges::find_if_not( text, isNameCharacter );
    _name = text.substr( 0, static_cast<std::size_t>( end - text.begin() ) );
    if( end != text.end() && SEPARATORS.find( *end ) == std::string_view::npos ) {
        throw InTextFileEx::ExInvalidToken(
            QV_HERE, _source.getFile(), _source.getNumber(),
            std::string( text.substr( 0, text.find_first_of( SEPARATORS ) ) ) );
    }
    if( _name.empty() ) {
        throw InTextFileEx::ExInvalidFormat( QV_HERE, _source.getFile(), _source.getNumber() );
    }
    _value = Ascii::trim( text.substr( _name.size() ) );
    if( _value.starts_with( '=' ) ) {
        _value = Ascii::trim( _value.substr( 1 ) );
    }
    if( std::memchr( _value.data(), 0, _value.size() ) != nullptr ) {
        throw InTextFileEx::ExInvalidFormat( QV_HERE, _source.getFile(), _source.getNumber() );
    }
}

} // namespace Qv
