#include <base/text/typeName.h>

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Qv {

std::string TypeName::makeReadable( const char* name ) {
    int status = 0;
    const std::unique_ptr<char, decltype( &std::free )> readable(
        abi::__cxa_demangle( name, nullptr, nullptr, &status ), &std::free );
    return readable ? readable.get() : name;
}

} // namespace Qv
