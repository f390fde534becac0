#include <resmgt/initVars/envVar.h>
#include <resmgt/initVars/envVarRegistry.h>
#include <resmgt/initVars/src/envNumber.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>

namespace Qv {

namespace {

const char* orNil( const char* text ) {
    return text != nullptr ? text : "NIL";
}

int readInt( const char* text ) {
    // strtoll clamps to its own range, which holds int's.
    return static_cast<int>( std::clamp<long long>( std::strtoll( text, nullptr, 10 ),
                                                    std::numeric_limits<int>::min(),
                                                    std::numeric_limits<int>::max() ) );
}

unsigned long long readUInt64( const char* text ) {
    std::istringstream stream( text );
    stream.imbue( std::locale::classic() );
    unsigned long long result = 0;
    stream >> result;
    return result;
}

} // namespace

EnvVar::EnvVar( const char* fileName, const char* name, const char* defaultValue )
    : _fileName( fileName )
    , _name( name )
    , _value( std::getenv( name ) )
    , _defaultValue( defaultValue ) {
    EnvVarRegistry::enroll( *this );
}

EnvVar::~EnvVar() {
    EnvVarRegistry::withdraw( *this );
}

void EnvVar::refresh() {
    _value = std::getenv( _name );
}

void EnvVar::dumpName( std::ostream& stream ) const {
    stream << "name " << std::setw( 25 ) << _name;
}

void EnvVar::dump( std::ostream& stream ) const {
    dumpName( stream );
    stream << " value \"" << orNil( _value ) << "\" default \"" << orNil( _defaultValue ) << '"';
}

std::ostream& operator<<( std::ostream& stream, const EnvVar& variable ) {
    variable.dump( stream );
    return stream;
}

EnvIntVar::EnvIntVar( const char* fileName, const char* name, int defaultValue )
    : EnvVar( fileName, name, nullptr )
    , _defaultNumber( defaultValue ) {
    EnvIntVar::refresh();
}

void EnvIntVar::refresh() {
    EnvVar::refresh();
    _number = getText() != nullptr ? readInt( getText() ) : _defaultNumber;
}

void EnvIntVar::dump( std::ostream& stream ) const {
    dumpName( stream );
    stream << " value " << _number << " default " << _defaultNumber;
}

EnvUInt64Var::EnvUInt64Var( const char* fileName, const char* name,
                            unsigned long long defaultValue )
    : EnvVar( fileName, name, nullptr )
    , _defaultNumber( defaultValue ) {
    EnvUInt64Var::refresh();
}

void EnvUInt64Var::refresh() {
    EnvVar::refresh();
    _number = getText() != nullptr ? readUInt64( getText() ) : _defaultNumber;
}

void EnvUInt64Var::dump( std::ostream& stream ) const {
    dumpName( stream );
    stream << " value " << _number << " default " << _defaultNumber;
}

EnvDoubleVar::EnvDoubleVar( const char* fileName, const char* name, double defaultValue )
    : EnvVar( fileName, name, nullptr )
    , _defaultNumber( defaultValue ) {
    EnvDoubleVar::refresh();
}

void EnvDoubleVar::refresh() {
    EnvVar::refresh();
    _number = getText() != nullptr ? readDouble( getText() ) : _defaultNumber;
}

void EnvDoubleVar::dump( std::ostream& stream ) const {
    dumpName( stream );
    stream << " value " << _number << " default " << _defaultNumber;
}

} // namespace Qv
