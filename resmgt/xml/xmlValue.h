#pragma once

#include <resmgt/resmgtApi.h>

#include <string>
#include <string_view>

namespace Qv {

/// A value as XML holds it, as a text; the parameter of operations that write values.
///
/// Booleans: "True" and "False".
/// Numbers:  in decimal, as LiStringUtil::convertNb writes them, in every locale alike; characters
///           and small integers as the `int` that they are. Infinities and what is no number become
///           "inf" and "nan", which aren't read back.
/// Text:     narrow text as it is; wide text becomes UTF-8 by WideStringUtil. A C string that is
///           null is an assertion.
/// Pointers: to anything else, as their address: "0x" and its hexadecimal digits.
/// Lifetime: narrow text isn't copied: it must outlive this object, which is meant to be a
///           temporary.
class QV_RESMGT_API XmlValue {
public:
    XmlValue( bool value );
    XmlValue( int value );
    XmlValue( unsigned int value );
    XmlValue( long value );
    XmlValue( unsigned long value );
    XmlValue( long long value );
    XmlValue( unsigned long long value );
    XmlValue( float value );
    XmlValue( double value );
    XmlValue( const char* value );
    XmlValue( const std::string& value );
    XmlValue( std::string_view value );
    XmlValue( const wchar_t* value );
    XmlValue( const std::wstring& value );
    XmlValue( const void* value );
    XmlValue( const XmlValue& ) = delete;
    XmlValue& operator=( const XmlValue& ) = delete;

    std::string_view getText() const noexcept { return _text; }

private:
    explicit XmlValue( std::string&& made );

    const std::string _made;
    const std::string_view _text;
};

} // namespace Qv
