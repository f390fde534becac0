#include <resmgt/logger/lgMinorGroup.h>

#include <base/failure/assertions.h>

#include <algorithm>

namespace Qv {

LgMinorGroup::LgMinorGroup( const LgMajorGroup& majorGroup, const char* name )
    : _majorGroup( &majorGroup )
    , _name( name ) {
    QV_ASSERT( name );
}

std::string LgMinorGroup::getFormattedName( int width ) const {
    std::string text = _name;
    text.resize( std::max( text.size(), static_cast<std::size_t>( std::max( width, 0 ) ) ), ' ' );
    return text;
}

} // namespace Qv
