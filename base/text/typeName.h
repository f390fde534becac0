#pragma once

#include <base/qvBaseApi.h>

#include <string>
#include <typeinfo>

namespace Qv::TypeName {

/// A type's name as it is written in a program, from the one that the compiler gives it; what isn't
/// one of these is returned as it is.
QV_BASE_API std::string makeReadable( const char* name );

/// The name as a programmer writes it.
inline std::string get( const std::type_info& type ) {
    return makeReadable( type.name() );
}

} // namespace Qv::TypeName
