#include <resmgt/content/ctTileId.h>

#include <ostream>
#include <string>

namespace Qv {

void CtStTileId::dump( std::ostream& stream ) const {
    stream << "Storage tile id: " << _id << ", size = " << std::to_string( _size );
}

void CtPxTileId::dump( std::ostream& stream ) const {
    stream << "Processing tile id: " << _id << ", offset = " << std::to_string( _offset )
           << ", size = " << std::to_string( _size );
}

} // namespace Qv
