#pragma once

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/xml/xmlEx.h>

#include <string>

/// Text to the values of XML.
namespace Qv::XmlConversion {

inline void toValue( const std::string& text, std::string& value ) {
    value = text;
}
inline void toValue( const std::string& text, std::wstring& value ) {
    value = WideStringUtil::widen( text );
}
inline void toValue( const std::string& text, bool& value ) {
    value = Ascii::equalsIgnoringCase( text, "true" );
}

inline void parse( const std::string& text, int& value ) {
    value = LiStringUtil::convertToInt( text );
}
inline void parse( const std::string& text, unsigned int& value ) {
    value = LiStringUtil::convertToUInt( text );
}
inline void parse( const std::string& text, long long& value ) {
    value = LiStringUtil::convertToLong( text );
}
inline void parse( const std::string& text, float& value ) {
    value = LiStringUtil::convertToFloat( text );
}
inline void parse( const std::string& text, double& value ) {
    value = LiStringUtil::convertToDouble( text );
}

/// Errors: XmlEx::ExConversionError.
template <class Number>
void toValue( const std::string& text, Number& value ) {
    try {
        parse( text, value );
    } catch( const LiEx::ExConversionError& ) {
        throw XmlEx::ExConversionError( QV_HERE );
    }
}

} // namespace Qv::XmlConversion
