#include <resmgt/osal/osEnv.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/text/wideStringUtil.h>
#include <base/trace/trace.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace Qv {

namespace {

using WideStringUtil::narrowMB;
using WideStringUtil::widen;

constexpr char END = '\0';

/// The system would find the variable A with the value "B=c" under the name "A=B", and would end
/// the name at a zero character.
bool isName( const std::string& text ) {
    return !text.empty() && text.find( '=' ) == std::string::npos &&
           text.find( END ) == std::string::npos;
}

const char* find( const std::string& name ) {
    return isName( name ) ? std::getenv( name.c_str() ) : nullptr;
}

} // namespace

bool OsEnv::getVariable( std::string& value, const std::string& name ) {
    const char* const text = find( name );
    if( text != nullptr ) {
        value = text;
    }
    return text != nullptr;
}

bool OsEnv::getVariable( std::wstring& value, const std::wstring& name ) {
    const char* const text = find( narrowMB( name ) );
    if( text != nullptr ) {
        value = widen( text );
    }
    return text != nullptr;
}

bool OsEnv::isSet( const std::string& name ) {
    return find( name ) != nullptr;
}

bool OsEnv::isSet( const std::wstring& name ) {
    return isSet( narrowMB( name ) );
}

void OsEnv::getVariables( HashMap<std::wstring, std::wstring>& variables ) {
    HashMap<std::wstring, std::wstring> snapshot;
    for( const char* const* next = performGetAll(); next != nullptr && *next != nullptr; ++next ) {
        const std::string_view assignment( *next );
        const std::size_t end = assignment.find( '=' );
        if( end != std::string_view::npos && end != 0 ) {
            snapshot.emplace( widen( assignment.substr( 0, end ) ),
                              widen( assignment.substr( end + 1 ) ) );
        }
    }
    variables.swap( snapshot );
}

void OsEnv::change( const char* where, const std::string& name, const std::string* value ) {
    const bool isLegal =
        isName( name ) && ( value == nullptr || value->find( END ) == std::string::npos );
    if( !isLegal ) {
        errno = EINVAL;
    }
    if( !isLegal || !performChange( name.c_str(), value == nullptr ? nullptr : value->c_str() ) ) {
        throw ExSysErrorANSI( QV_HERE, where, name.c_str() );
    }
}

void OsEnv::setVariable( const std::string& name, const std::string& value ) {
    change( "OsEnv::setVariable", name, &value );
}

void OsEnv::setVariable( const std::wstring& name, const std::wstring& value ) {
    setVariable( narrowMB( name ), narrowMB( value ) );
}

void OsEnv::unsetVariable( const std::string& name ) {
    change( "OsEnv::unsetVariable", name, nullptr );
}

void OsEnv::unsetVariable( const std::wstring& name ) {
    unsetVariable( narrowMB( name ) );
}

void OsEnv::putVariable( const std::wstring& assignment ) {
    const std::string text = narrowMB( assignment );
    const std::size_t end = text.find( '=' );
    // Without "=" no name is legal.
    const std::string name = end == std::string::npos ? std::string() : text.substr( 0, end );
    const std::string value = end == std::string::npos ? std::string() : text.substr( end + 1 );
    change( "OsEnv::putVariable: Could not set environment variable", name, &value );
}

void OsEnv::prependToVariable( const std::string& name, const std::string& value ) {
    std::string present;
    static_cast<void>( getVariable( present, name ) );
    const bool isJoined = !present.empty() && !value.empty();
    setVariable( name, value + ( isJoined ? performGetSeparator( name ) : "" ) + present );
}

void OsEnv::prependToVariable( const std::wstring& name, const std::wstring& value ) {
    prependToVariable( narrowMB( name ), narrowMB( value ) );
}

void OsEnv::appendToVariable( const std::string& name, const std::string& value ) {
    std::string present;
    static_cast<void>( getVariable( present, name ) );
    const bool isJoined = !present.empty() && !value.empty();
    setVariable( name, present + ( isJoined ? performGetSeparator( name ) : "" ) + value );
}

void OsEnv::appendToVariable( const std::wstring& name, const std::wstring& value ) {
    appendToVariable( narrowMB( name ), narrowMB( value ) );
}

OsEnv::VariableGuard::VariableGuard( const std::string& name, const std::string& value,
                                     EditMode editMode )
    : _name( name )
    , _wasSet( getVariable( _formerValue, name ) ) {
    switch( editMode ) {
    case SET:
        setVariable( name, value );
        break;
    case APPEND:
        appendToVariable( name, value );
        break;
    case PREPEND:
        prependToVariable( name, value );
        break;
    default:
        Assertions::throwProgramAborted( QV_HERE, "Unknown environment variable edit mode." );
    }
}

OsEnv::VariableGuard::VariableGuard( const std::wstring& name, const std::wstring& value,
                                     EditMode editMode )
    : VariableGuard( narrowMB( name ), narrowMB( value ), editMode ) {}

OsEnv::VariableGuard::~VariableGuard() {
    try {
        if( _wasSet ) {
            setVariable( _name, _formerValue );
        } else {
            unsetVariable( _name );
        }
    } catch( ... ) {
        Trace::printCurrentException( "OsEnv::VariableGuard", QV_HERE );
    }
}

} // namespace Qv
