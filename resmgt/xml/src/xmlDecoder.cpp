#include <resmgt/xml/src/xmlDecoder.h>

#include <base/text/ascii.h>
#include <base/text/utf.h>

#include <algorithm>

namespace Qv {

namespace {

/// More than any declaration needs. Until its end is seen, the document is held back.
constexpr std::size_t LARGEST_DECLARATION = 4096;

constexpr std::string_view DECLARATION_START = "<?xml";
constexpr std::string_view WHITE_SPACE = " \t\r\n";

bool isStartOf( std::string_view piece, std::string_view whole ) {
    return piece.size() < whole.size() && whole.starts_with( piece );
}

/// The quoted text behind `name` and "=" in a declaration; empty where there is none.
std::string findPseudoAttribute( std::string_view declaration, std::string_view name ) {
    for( std::size_t at = declaration.find( name ); at != std::string_view::npos;
         at = declaration.find( name, at + 1 ) ) {
        std::string_view rest = Ascii::trimFront( declaration.substr( at + name.size() ) );
        const bool isWord = at > 0 && Ascii::isSpace( declaration[at - 1] );
        if( !isWord || !rest.starts_with( '=' ) ) {
            continue;
        }
        rest = Ascii::trimFront( rest.substr( 1 ) );
        if( rest.starts_with( '"' ) || rest.starts_with( '\'' ) ) {
            const std::size_t end = rest.find( rest.front(), 1 );
            return std::string( rest.substr( 1, end == std::string_view::npos ? end : end - 1 ) );
        }
    }
    return {};
}

void appendLatin1( std::string& result, std::string_view bytes ) {
    const auto isAscii = []( char byte ) { return static_cast<unsigned char>( byte ) < 0x80; };
    while( !bytes.empty() ) {
        const auto end = std::ranges::find_if_not( bytes, isAscii );
        result.append( bytes.begin(), end );
        bytes.remove_prefix( static_cast<std::size_t>( end - bytes.begin() ) );
        if( !bytes.empty() ) {
            Utf::appendNarrow( result, static_cast<unsigned char>( bytes.front() ) );
            bytes.remove_prefix( 1 );
        }
    }
}

} // namespace

XmlDecoder::Decoded XmlDecoder::decode( std::string_view piece ) {
    const bool isLast = piece.empty();
    if( isPassing() ) {
        return { piece, {} };
    }
    if( _isDeclarationKnown ) {
        _text.clear();
    }
    if( _form == Form::UNKNOWN ) {
        _rest += piece;
        if( !findForm( isLast ) ) {
            return {};
        }
        const std::string first = std::move( _rest );
        _rest.clear();
        convert( first, isLast );
    } else {
        convert( piece, isLast );
    }
    if( !_isDeclarationKnown ) {
        checkDeclaration( isLast );
        if( !_isDeclarationKnown ) {
            return {};
        }
    }
    return { _text, _fault };
}

/// Takes what `_rest` has of a mark. False while more bytes are needed.
bool XmlDecoder::findForm( bool isLast ) {
    struct Start {
        std::string_view bytes;
        Form form;
        std::size_t markSize;
    };
    // Those of four bytes, which are refused, begin as those of two.
    static constexpr Start STARTS[] = {
        { { "\xFF\xFE\0\0", 4 }, Form::UNKNOWN, 0 }, { { "\0\0\xFE\xFF", 4 }, Form::UNKNOWN, 0 },
        { "\xEF\xBB\xBF", Form::BYTES, 3 },          { "\xFF\xFE", Form::UTF_16_LITTLE, 2 },
        { "\xFE\xFF", Form::UTF_16_BIG, 2 },         { { "<\0?\0", 4 }, Form::UTF_16_LITTLE, 0 },
        { { "\0<\0?", 4 }, Form::UTF_16_BIG, 0 },
    };
    for( const Start& start : STARTS ) {
        if( _rest.starts_with( start.bytes ) ) {
            _form = start.form;
            _hasMark = start.markSize != 0;
            _rest.erase( 0, start.markSize );
            if( _form == Form::UNKNOWN ) {
                _fault = "Encoding \"UTF-32\" isn't supported";
                _form = Form::BYTES;
                _isDeclarationKnown = true;
                _rest.clear();
            }
            return true;
        }
        if( !isLast && isStartOf( _rest, start.bytes ) ) {
            return false;
        }
    }
    _form = Form::BYTES;
    return true;
}

void XmlDecoder::convert( std::string_view piece, bool isLast ) {
    if( _form != Form::BYTES ) {
        convertUtf16( piece, isLast );
    } else if( _isLatin1 ) {
        appendLatin1( _text, piece );
    } else {
        _text += piece;
    }
}

void XmlDecoder::convertUtf16( std::string_view piece, bool isLast ) {
    const bool isBig = _form == Form::UTF_16_BIG;
    for( const char byte : piece ) {
        if( _rest.empty() ) {
            _rest += byte;
            continue;
        }
        const auto first = static_cast<unsigned char>( _rest.front() );
        const auto second = static_cast<unsigned char>( byte );
        _rest.clear();
        takeUnit( static_cast<char32_t>( isBig ? first << 8U | second : second << 8U | first ) );
        if( !_fault.empty() ) {
            return;
        }
    }
    if( isLast && ( !_rest.empty() || _highSurrogate != 0 ) ) {
        _fault = "Ill-formed UTF-16";
    }
}

void XmlDecoder::takeUnit( char32_t unit ) {
    if( ( _highSurrogate != 0 ) != Utf::isLowSurrogate( unit ) ) {
        _fault = "Ill-formed UTF-16";
    } else if( Utf::isHighSurrogate( unit ) ) {
        _highSurrogate = unit;
    } else if( _highSurrogate != 0 ) {
        const char16_t pair[] = { static_cast<char16_t>( _highSurrogate ),
                                  static_cast<char16_t>( unit ) };
        std::size_t at = 0;
        Utf::appendNarrow( _text, Utf::takeWide( std::u16string_view( pair, 2 ), at ) );
        _highSurrogate = 0;
    } else {
        Utf::appendNarrow( _text, unit );
    }
}

/// Looks for the declaration at the start of `_text`, which has all that came so far.
void XmlDecoder::checkDeclaration( bool isLast ) {
    const std::string_view text = _text;
    if( text.starts_with( DECLARATION_START ) ) {
        const std::size_t end = text.find( '>' );
        const bool isWhole = end != std::string_view::npos && end < LARGEST_DECLARATION;
        if( !isWhole && text.size() < LARGEST_DECLARATION && !isLast && _fault.empty() ) {
            return;
        }
        _isDeclarationKnown = true;
        if( isWhole ) {
            const bool isName =
                WHITE_SPACE.find( text[DECLARATION_START.size()] ) != std::string_view::npos;
            checkEncoding( isName ? findPseudoAttribute( text.substr( 0, end ), "encoding" ) : "" );
        } else if( text.size() >= LARGEST_DECLARATION ) {
            _text.clear();
            _fault = "Error in XML declaration, ?> not found.";
        }
    } else if( isLast || !_fault.empty() || !isStartOf( text, DECLARATION_START ) ) {
        _isDeclarationKnown = true;
    }
}

void XmlDecoder::checkEncoding( const std::string& name ) {
    const auto is = [&name]( std::string_view other ) {
        return Ascii::equalsIgnoringCase( name, other );
    };
    const bool isUtf16 = _form != Form::BYTES;
    if( name.empty() || is( isUtf16 ? "UTF-16" : "UTF-8" ) ) {
        return;
    }
    if( !is( "UTF-8" ) && !is( "UTF-16" ) && !is( "ISO-8859-1" ) ) {
        _fault = "Encoding \"" + name + "\" isn't supported";
    } else if( isUtf16 || _hasMark || !is( "ISO-8859-1" ) ) {
        _fault = "The document isn't in its encoding \"" + name + "\"";
    } else {
        _isLatin1 = true;
        const std::string bytes = std::move( _text );
        _text.clear();
        appendLatin1( _text, bytes );
        return;
    }
    _text.clear();
}

} // namespace Qv
