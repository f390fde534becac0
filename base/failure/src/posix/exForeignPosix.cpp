#include <base/failure/src/exForeign.h>
#include <base/text/typeName.h>

#include <cxxabi.h>

#include <typeinfo>

namespace Qv {

std::string currentExceptionType() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    return type != nullptr ? TypeName::get( *type ) : "unknown type";
}

} // namespace Qv
