#include <resmgt/literals/liStringUtil.h>

#include <base/failure/assertions.h>
#include <base/text/ascii.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/osal/osFileUtils.h>

#include <algorithm>
#include <cwctype>
#include <string_view>

namespace Qv {

namespace {

// Characters that names of components can't have; empty until the package starts.
std::wstring& componentForbidden() {
    static std::wstring characters;
    return characters;
}

// What the two kinds of text know of a character: wide text goes by the locale.
using Ascii::isSpace;
using Ascii::toLower;
using Ascii::toUpper;

bool isSpace( wchar_t c ) {
    return std::iswspace( static_cast<std::wint_t>( c ) ) != 0;
}
wchar_t toLower( wchar_t c ) {
    return static_cast<wchar_t>( std::towlower( static_cast<std::wint_t>( c ) ) );
}
wchar_t toUpper( wchar_t c ) {
    return static_cast<wchar_t>( std::towupper( static_cast<std::wint_t>( c ) ) );
}

template <class Text>
Text lowered( Text text ) {
    for( auto& c : text ) {
        c = toLower( c );
    }
    return text;
}

template <class Text>
Text uppered( Text text ) {
    for( auto& c : text ) {
        c = toUpper( c );
    }
    return text;
}

template <class Text>
Text mixed( Text text ) {
    bool isAtStart = true;
    for( auto& c : text ) {
        const bool isBlank = isSpace( c );
        c = isAtStart ? toUpper( c ) : toLower( c );
        isAtStart = isBlank;
    }
    return text;
}

template <class Text>
Text trimmed( const Text& text, bool isLeading, bool isTrailing ) {
    auto begin = text.begin();
    auto end = text.end();
    while( isLeading && begin != end && isSpace( *begin ) ) {
        ++begin;
    }
    while( isTrailing && begin != end && isSpace( end[-1] ) ) {
        --end;
    }
    return Text( begin, end );
}

template <class Text>
void substituteIn( Text& text, const Text& from, const Text& to ) {
    if( from.empty() ) {
        return;
    }
    Text result;
    std::size_t begin = 0;
    std::size_t found = text.find( from );
    while( found != Text::npos ) {
        result.append( text, begin, found - begin ).append( to );
        begin = found + from.size();
        found = text.find( from, begin );
    }
    result.append( text, begin );
    text = std::move( result );
}

} // namespace

std::string LiStringUtil::toLowerCase( std::string text ) {
    return lowered( std::move( text ) );
}

std::string LiStringUtil::toUpperCase( std::string text ) {
    return uppered( std::move( text ) );
}

std::string LiStringUtil::toMixedCase( std::string text ) {
    return mixed( std::move( text ) );
}

std::wstring LiStringUtil::toLowerCaseW( std::wstring text ) {
    return lowered( std::move( text ) );
}

std::wstring LiStringUtil::toUpperCaseW( std::wstring text ) {
    return uppered( std::move( text ) );
}

std::wstring LiStringUtil::toMixedCaseW( std::wstring text ) {
    return mixed( std::move( text ) );
}

int LiStringUtil::compareNoCase( const std::string& a, const std::string& b ) {
    return lowered( a ).compare( lowered( b ) );
}

int LiStringUtil::compareNoCaseW( const std::wstring& a, const std::wstring& b ) {
    return lowered( a ).compare( lowered( b ) );
}

std::string LiStringUtil::trimLeadingSpaces( const std::string& text ) {
    return trimmed( text, true, false );
}

std::string LiStringUtil::trimTrailingSpaces( const std::string& text ) {
    return trimmed( text, false, true );
}

std::string LiStringUtil::trimLeadingAndTrailingSpaces( const std::string& text ) {
    return trimmed( text, true, true );
}

std::wstring LiStringUtil::trimLeadingSpacesW( const std::wstring& text ) {
    return trimmed( text, true, false );
}

std::wstring LiStringUtil::trimTrailingSpacesW( const std::wstring& text ) {
    return trimmed( text, false, true );
}

std::wstring LiStringUtil::trimLeadingAndTrailingSpacesW( const std::wstring& text ) {
    return trimmed( text, true, true );
}

void LiStringUtil::substitute( std::string& text, const std::string& from, const std::string& to ) {
    substituteIn( text, from, to );
}

void LiStringUtil::substituteW( std::wstring& text, const std::wstring& from,
                                const std::wstring& to ) {
    substituteIn( text, from, to );
}

std::string LiStringUtil::escapeBackslashes( const std::string& text ) {
    std::string result = text;
    substitute( result, "\\", "\\\\" );
    return result;
}

void LiStringUtil::initialize() {
    std::wstring& forbidden = componentForbidden();
    forbidden = OsFileUtils::getFileInvalidChars();
    // The control characters of ASCII, and those of Unicode that follow them.
    for( wchar_t control = 0; control < 0xa0; ++control ) {
        if( control < 0x20 || control >= 0x7f ) {
            forbidden += control;
        }
    }
}

std::wstring LiStringUtil::sanitizeImp( const std::wstring& text, const std::wstring& forbidden,
                                        wchar_t replacement, bool isTrimmed ) {
    auto begin = text.begin();
    auto end = text.end();
    if( isTrimmed ) {
        begin = std::find_if_not( begin, end, Ascii::isSpace<wchar_t> );
        end = std::find_if_not( text.rbegin(), std::make_reverse_iterator( begin ),
                                Ascii::isSpace<wchar_t> )
                  .base();
    }
    std::wstring result( begin, end );
    for( wchar_t& c : result ) {
        if( forbidden.find( c ) != std::wstring::npos ) {
            c = replacement;
        }
    }
    return result;
}

std::string LiStringUtil::sanitise( const std::string& text, const std::string& forbidden ) {
    return WideStringUtil::narrowMB( sanitizeImp( WideStringUtil::widen( text ),
                                                  WideStringUtil::widen( forbidden ),
                                                  getReplacementCharW(), false ) );
}

std::wstring LiStringUtil::sanitiseW( const std::wstring& text, const std::wstring& forbidden ) {
    return sanitizeImp( text, forbidden, getReplacementCharW(), false );
}

std::string LiStringUtil::sanitizeComponentName( const std::string& name ) {
    const std::wstring& forbidden = componentForbidden();
    QV_ASSERT_TEXT( !forbidden.empty(), "LiStringUtil::initialize has run" );
    return WideStringUtil::narrowMB(
        sanitizeImp( WideStringUtil::widen( name ), forbidden, getReplacementCharW(), true ) );
}

bool LiStringUtil::checkComponentNameValidity( const std::string& name ) {
    return sanitizeComponentName( name ) == name;
}

} // namespace Qv
