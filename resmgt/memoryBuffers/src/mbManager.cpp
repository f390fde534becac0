#include <resmgt/memoryBuffers/mbManager.h>

#include <ostream>

namespace Qv {

MbManager::~MbManager() = default;

std::ostream& operator<<( std::ostream& stream, const MbManager& manager ) {
    manager.dump( stream );
    return stream;
}

} // namespace Qv
