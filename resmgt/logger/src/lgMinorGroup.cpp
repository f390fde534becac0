#include <resmgt/logger/lgMinorGroup.h>

#include <base/failure/assertions.h>
#include <resmgt/logger/src/lgPrefix.h>

#include <algorithm>

namespace Qv {

LgMinorGroup::LgMinorGroup( const LgMajorGroup& majorGroup, const char* name )
    : _majorGroup( &majorGroup )
    , _name( name ) {
    QV_ASSERT( name );
}

std::string LgMinorGroup::getFormattedName( int width ) const {
    return LgPrefix::padRight( _name, static_cast<std::size_t>( std::max( width, 0 ) ) );
}

} // namespace Qv
