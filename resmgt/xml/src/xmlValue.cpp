#include <resmgt/xml/xmlValue.h>

#include <base/failure/assertions.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/literals/liStringUtil.h>

#include <charconv>
#include <cstdint>

namespace Qv {

namespace {

template <class Char>
const Char* checked( const Char* text ) {
    QV_ASSERT( text != nullptr );
    return text;
}

std::string toAddress( const void* pointer ) {
    constexpr int HEXADECIMAL = 16;
    char digits[2 * sizeof( pointer )];
    char* const end = std::to_chars( digits, digits + sizeof( digits ),
                                     reinterpret_cast<std::uintptr_t>( pointer ), HEXADECIMAL )
                          .ptr;
    return std::string( "0x" ).append( digits, end );
}

} // namespace

XmlValue::XmlValue( std::string&& made )
    : _made( std::move( made ) )
    , _text( _made ) {}

XmlValue::XmlValue( bool value )
    : _text( value ? "True" : "False" ) {}

XmlValue::XmlValue( int value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( unsigned int value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( long value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( unsigned long value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( long long value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( unsigned long long value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( float value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( double value )
    : XmlValue( LiStringUtil::convertNb( value ) ) {}

XmlValue::XmlValue( const char* value )
    : _text( checked( value ) ) {}

XmlValue::XmlValue( const std::string& value )
    : _text( value ) {}

XmlValue::XmlValue( std::string_view value )
    : _text( value ) {}

XmlValue::XmlValue( const wchar_t* value )
    : XmlValue( WideStringUtil::narrowMB( checked( value ) ) ) {}

XmlValue::XmlValue( const std::wstring& value )
    : XmlValue( WideStringUtil::narrowMB( value ) ) {}

XmlValue::XmlValue( const void* value )
    : XmlValue( toAddress( value ) ) {}

} // namespace Qv
