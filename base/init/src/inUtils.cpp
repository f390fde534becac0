#include <base/init/inUtils.h>
#include <base/init/inVariable.h>

#include <cstdlib>
#include <cstring>

namespace Qv {

namespace {

unsigned int readDebugBits() {
    const char* const text = std::getenv( "QV_INIT_DEBUG" );
    int bits = 0;
    if( text != nullptr ) {
        InVariableText::parse( text, bits );
    }
    return static_cast<unsigned int>( bits );
}

} // namespace

APtrRet<char> InUtils::strdup( const char* text ) {
    const std::size_t size = std::strlen( text ) + 1;
    APtr<char> copy( new char[size] );
    std::memcpy( copy.get(), text, size );
    return copy;
}

bool InUtils::LtStr::operator()( const char* lhs, const char* rhs ) const noexcept {
    return std::strcmp( lhs, rhs ) < 0;
}

bool InUtils::isDebuggingEnabled( unsigned int bits ) {
    static const unsigned int enabledBits = readDebugBits();
    return ( enabledBits & bits ) != 0;
}

} // namespace Qv
