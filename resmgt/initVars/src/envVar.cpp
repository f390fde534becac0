#include <resmgt/initVars/envVar.h>

#include <base/text/printable.h>
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

std::string orNil( const char* text ) {
    return text != nullptr ? Printable::makeLine( text ) : "NIL";
}

void read( const char* text, int& number ) {
    // strtoll clamps to its own range, which holds int's.
    number = static_cast<int>( std::clamp<long long>( std::strtoll( text, nullptr, 10 ),
                                                      std::numeric_limits<int>::min(),
                                                      std::numeric_limits<int>::max() ) );
}

void read( const char* text, unsigned long long& number ) {
    std::istringstream stream( text );
    stream.imbue( std::locale::classic() );
    number = 0;
    stream >> number;
}

void read( const char* text, double& number ) {
    number = readDouble( text );
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

template <class Number>
EnvNumberVar<Number>::EnvNumberVar( const char* fileName, const char* name, Number defaultValue )
    : EnvVar( fileName, name, nullptr )
    , _defaultNumber( defaultValue ) {
    EnvNumberVar::refresh();
}

template <class Number>
void EnvNumberVar<Number>::refresh() {
    EnvVar::refresh();
    if( getText() != nullptr ) {
        read( getText(), _number );
    } else {
        _number = _defaultNumber;
    }
}

template <class Number>
void EnvNumberVar<Number>::dump( std::ostream& stream ) const {
    dumpName( stream );
    stream << " value " << _number << " default " << _defaultNumber;
}

template class QV_INSTANCE_API EnvNumberVar<int>;
template class QV_INSTANCE_API EnvNumberVar<unsigned long long>;
template class QV_INSTANCE_API EnvNumberVar<double>;

} // namespace Qv
