#include <base/text/wideStringUtil.h>

#include <base/text/utf.h>

namespace Qv {

std::wstring WideStringUtil::widen( std::string_view text ) {
    return Utf::widen<wchar_t>( text );
}

std::wstring WideStringUtil::widen( std::u16string_view text ) {
    std::wstring result;
    result.reserve( text.size() );
    for( std::size_t position = 0; position < text.size(); ) {
        Utf::appendWide( result, Utf::takeWide( text, position ) );
    }
    return result;
}

std::string WideStringUtil::narrowMB( std::wstring_view text ) {
    return Utf::narrowRestoring( text );
}

std::string WideStringUtil::narrowMB( std::u16string_view text ) {
    return Utf::narrowRestoring( text );
}

std::string WideStringUtil::narrowReplace( std::wstring_view text, char replacement ) {
    return Utf::narrow( text,
                        [replacement]( std::string& result, char32_t ) { result += replacement; } );
}

} // namespace Qv
