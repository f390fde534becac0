#include <resmgt/memoryBuffers/src/mbTypeName.h>

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Qv {

std::string mbTypeName( const std::type_info& type ) {
    int status = 0;
    const std::unique_ptr<char, void ( * )( void* )> name(
        abi::__cxa_demangle( type.name(), nullptr, nullptr, &status ), &std::free );
    return name ? name.get() : type.name();
}

} // namespace Qv
