#include <resmgt/messages/msgProtocol.h>

#include <base/text/ascii.h>
#include <base/text/printable.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/messages/msgSubscription.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <ostream>

namespace Qv {

namespace {

/// Without an exponent as long as people read it so.
std::string toText( double value ) {
    const double magnitude = std::abs( value );
    const bool isFixed = value == 0 || ( magnitude >= 1e-4 && magnitude < 1e15 );
    char text[32];
    char* const end =
        isFixed ? std::to_chars( text, std::end( text ), value, std::chars_format::fixed ).ptr
                : std::to_chars( text, std::end( text ), value ).ptr;
    return std::string( text, end );
}

bool canBeginName( char c ) {
    return Ascii::isLetter( c ) || c == '_';
}

/// The name that begins at `place` and ends with "%"; empty when none does.
std::string readName( const std::string& text, std::size_t place ) {
    std::size_t end = place;
    while( end < text.size() && ( canBeginName( text[end] ) || Ascii::isDigit( text[end] ) ) ) {
        ++end;
    }
    const bool isName = end < text.size() && text[end] == '%' && canBeginName( text[place] );
    return isName ? text.substr( place, end - place ) : "";
}

} // namespace

MsgProtocol::MsgProtocol( const MsgSubscription& subscription, MsgTypes::Level level )
    : _template( subscription.hasText() ? subscription.getText() : subscription.getTag() )
    , _hasText( subscription.hasText() )
    , _level( level ) {}

MsgProtocol::MsgProtocol( const std::string& text, MsgTypes::Level level )
    : _template( text )
    , _hasText( true )
    , _level( level ) {}

MsgProtocol::~MsgProtocol() = default;

MsgProtocol& MsgProtocol::substitute( int value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( unsigned int value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( long value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( unsigned long value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( long long value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( unsigned long long value ) {
    return substitute( std::to_string( value ) );
}

MsgProtocol& MsgProtocol::substitute( double value ) {
    return substitute( toText( value ) );
}

MsgProtocol& MsgProtocol::substitute( const std::string& value ) {
    _values.push_back( value );
    return *this;
}

MsgProtocol& MsgProtocol::substitute( const char* name, const char* value ) {
    _namedValues[name] = value;
    return *this;
}

std::string MsgProtocol::getText() const {
    return _hasText ? expandTemplate() : listValues();
}

std::string MsgProtocol::expandTemplate() const {
    std::string text;
    for( std::size_t i = 0; i < _template.size(); ) {
        if( _template[i] == '%' ) {
            i += expandPlaceHolder( i, text );
        } else {
            text += _template[i++];
        }
    }
    return text;
}

/// Appends what the percent sign at `place` begins, and returns how long that is in the template.
std::size_t MsgProtocol::expandPlaceHolder( std::size_t place, std::string& text ) const {
    const char next = place + 1 < _template.size() ? _template[place + 1] : '\0';
    const std::string* value = nullptr;
    std::size_t length = 1;
    if( next == '%' ) {
        text += '%';
        return 2;
    }
    if( next >= '1' && next <= '9' ) {
        const auto index = static_cast<std::size_t>( next - '1' );
        value = index < _values.size() ? &_values[index] : nullptr;
        length = 2;
    } else if( const std::string name = readName( _template, place + 1 ); !name.empty() ) {
        const auto found = _namedValues.find( name );
        value = found != _namedValues.end() ? &found->second : nullptr;
        length = name.size() + 2;
    }
    text += value != nullptr ? *value : _template.substr( place, length );
    return length;
}

std::string MsgProtocol::listValues() const {
    std::string text = _template;
    for( const std::string& value : _values ) {
        text += " \"" + value + '"';
    }
    for( const auto& [name, value] : _namedValues ) {
        text += ' ' + name + "=\"" + value + '"';
    }
    return text;
}

void MsgProtocol::dump( std::ostream& stream ) const {
    stream << "level " << static_cast<int>( _level ) << " text \""
           << Printable::makeLine( getText() ) << '"';
}

void MsgProtocol::display() const {
    if( MsgManager* const manager = MsgServer::getInstance().getManager() ) {
        manager->display( getText().c_str(), _level );
    }
}

MsgInformation::MsgInformation( const MsgSubscription& subscription )
    : MsgProtocol( subscription, MsgTypes::INFORMATION ) {}

MsgInformation::MsgInformation( const std::string& text )
    : MsgProtocol( text, MsgTypes::INFORMATION ) {}

MsgWarning::MsgWarning( const MsgSubscription& subscription )
    : MsgProtocol( subscription, MsgTypes::WARNING ) {}

MsgWarning::MsgWarning( const std::string& text )
    : MsgProtocol( text, MsgTypes::WARNING ) {}

MsgError::MsgError( const MsgSubscription& subscription )
    : MsgProtocol( subscription, MsgTypes::ERROR ) {}

MsgError::MsgError( const std::string& text )
    : MsgProtocol( text, MsgTypes::ERROR ) {}

MsgFatalError::MsgFatalError( const MsgSubscription& subscription )
    : MsgProtocol( subscription, MsgTypes::FATAL_ERROR ) {}

MsgFatalError::MsgFatalError( const std::string& text )
    : MsgProtocol( text, MsgTypes::FATAL_ERROR ) {}

} // namespace Qv
