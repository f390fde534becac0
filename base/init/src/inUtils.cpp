#include <base/init/inUtils.h>
#include <base/init/inVariable.h>

#include <cstdlib>
#include <cstring>

namespace Qv {

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
    const char* const text = std::getenv( "QV_INIT_DEBUG" );
    int enabledBits = 0;
    return text != nullptr && InVariableText::parse( text, enabledBits ) &&
           ( static_cast<unsigned int>( enabledBits ) & bits ) != 0;
}

} // namespace Qv
